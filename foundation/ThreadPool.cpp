#include <QarnUVAtlas/Foundation.h>
#include <QarnUVAtlas/Threads.h>

#include "foundation/LogLine.h"

#include <exception>
#include <new>

namespace ORVO {

ThreadPool::ThreadPool()
    : mPendingCount(0),
      mpLock(new (std::nothrow) std::mutex()),
      mpTaskAvailable(new (std::nothrow) std::condition_variable()),
      mpAllDone(new (std::nothrow) std::condition_variable()) {}

ThreadPool::~ThreadPool() {
    // Exit tasks queue behind any pending work, so that work runs first.
    const std::size_t workerCount = mThreads.size();
    for (std::size_t i = 0; i < workerCount; ++i) {
        TaskBase* exitTask = new (std::nothrow) TaskBase(TASK_TYPE_EXIT);
        if (exitTask != nullptr) InsertTask(exitTask);
    }
    // Without workers nothing could ever lower the count, so only wait with some.
    if (workerCount > 0) WaitUntilAllDone();

    for (Thread* thread : mThreads) {
        thread->Join();
        delete thread;
    }
    mThreads.clear();

    for (TaskBase* task : mTaskQueue) delete task;
    mTaskQueue.clear();

    delete mpAllDone;
    delete mpTaskAvailable;
    delete mpLock;
}

int ThreadPool::Init(int threadCount) {
    if (threadCount <= 0) return static_cast<int>(mThreads.size());
    // Room is made first so that no started worker can fail to be recorded.
    try {
        mThreads.reserve(mThreads.size() + static_cast<std::size_t>(threadCount));
    } catch (const std::exception&) {
        return static_cast<int>(mThreads.size());
    }
    for (int i = 0; i < threadCount; ++i) {
        Thread* thread = new (std::nothrow) Thread(this);
        if (thread == nullptr) continue;
        if (thread->Start() != STATUS_SUCCESS) {
            delete thread;
            continue;
        }
        mThreads.push_back(thread);
    }
    return static_cast<int>(mThreads.size());
}

int ThreadPool::InsertTask(TaskBase* task) {
    if (task == nullptr) {
        _LogLine("Error: ThreadPool::InsertTask NULL input.");
        return STATUS_INVALID_INPUT;
    }
    std::unique_lock<std::mutex> guard;
    if (mpLock != nullptr) guard = std::unique_lock<std::mutex>(*mpLock);
    try {
        mTaskQueue.push_back(task);
    } catch (const std::bad_alloc&) {
        return STATUS_FAILED;  // not queued: the caller still holds the task
    }
    ++mPendingCount;
    if (mpTaskAvailable == nullptr) {
        _LogLine("ThreadPool::InsertTask: WakeSingle failed");
        return STATUS_FAILED;
    }
    mpTaskAvailable->notify_one();
    return STATUS_SUCCESS;
}

TaskBase* ThreadPool::GetTask() {
    if (mpLock == nullptr || mpTaskAvailable == nullptr) return nullptr;
    std::unique_lock<std::mutex> guard(*mpLock);
    mpTaskAvailable->wait(guard, [this] { return !mTaskQueue.empty(); });
    TaskBase* task = mTaskQueue.front();
    mTaskQueue.pop_front();
    return task;
}

void ThreadPool::FinishATask() {
    std::unique_lock<std::mutex> guard;
    if (mpLock != nullptr) guard = std::unique_lock<std::mutex>(*mpLock);
    --mPendingCount;
    // Every waiter is woken: the destructor and a caller may wait together.
    if (mpAllDone != nullptr) mpAllDone->notify_all();
}

void ThreadPool::WaitUntilAllDone() {
    if (mpLock == nullptr || mpAllDone == nullptr) return;
    std::unique_lock<std::mutex> guard(*mpLock);
    mpAllDone->wait(guard, [this] { return mPendingCount < 1; });
}

int ThreadPool::GetPendingCount() {
    std::unique_lock<std::mutex> guard;
    if (mpLock != nullptr) guard = std::unique_lock<std::mutex>(*mpLock);
    return mPendingCount;
}

}  // namespace ORVO
