#include <QarnUVAtlas/Foundation.h>
#include <QarnUVAtlas/Threads.h>

#include <new>
#include <system_error>

namespace ORVO {

namespace {

void WorkerEntry(Thread* thread) {
    if (thread != nullptr) thread->Run();
}

// Task code is the caller's; an exception escaping it must neither end the
// process nor leave the pool waiting for a task that never finishes.
void RunGuarded(TaskBase* task) {
    try {
        task->Run();
    } catch (...) {
    }
}

void CompleteGuarded(TaskBase* task) {
    try {
        task->OnComplete();
    } catch (...) {
    }
}

}  // namespace

Thread::Thread(ThreadPool* pool) : mpPool(pool), mpHandle(nullptr) {}

Thread::~Thread() {
    Join();
    delete mpHandle;
}

int Thread::Start() {
    if (mpHandle != nullptr) return STATUS_FAILED;
    try {
        mpHandle = new std::thread(WorkerEntry, this);
    } catch (const std::system_error&) {
        mpHandle = nullptr;
        return STATUS_FAILED;
    } catch (const std::bad_alloc&) {
        mpHandle = nullptr;
        return STATUS_FAILED;
    }
    return STATUS_SUCCESS;
}

void Thread::Join() {
    if (mpHandle == nullptr || !mpHandle->joinable()) return;
    // A worker that destroys its own Thread cannot join itself.
    if (mpHandle->get_id() == std::this_thread::get_id()) {
        mpHandle->detach();
        return;
    }
    try {
        mpHandle->join();
    } catch (const std::system_error&) {
    }
}

int Thread::Run() {
    if (mpPool == nullptr) return STATUS_FAILED;
    for (;;) {
        TaskBase* task = mpPool->GetTask();
        if (task == nullptr) break;
        const TaskType type = task->GetType();
        if (type == TASK_TYPE_EXIT) {
            CompleteGuarded(task);
            mpPool->FinishATask();
            break;
        }
        if (type == TASK_TYPE_WORK) {
            RunGuarded(task);
            CompleteGuarded(task);
            mpPool->FinishATask();
            continue;
        }
        // Any other type is dropped unrun and stays counted as pending, so
        // WaitUntilAllDone keeps blocking: a malformed task must not pass for
        // finished work. It is freed here since nobody else holds it any more.
        delete task;
    }
    return STATUS_SUCCESS;
}

}  // namespace ORVO
