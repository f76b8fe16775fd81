#include <QarnUVAtlas/Foundation.h>
#include <QarnUVAtlas/Threads.h>

#include "TestFiles.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using testfiles::ReadFile;

// Records which of its hooks ran and sums the values of the tasks that ran;
// `type` may be any value.
struct HookCounts {
    std::atomic<int> runs{0};
    std::atomic<int> completions{0};
    std::atomic<int> destructions{0};
    std::atomic<long long> sum{0};
};

class ProbeTask : public ORVO::TaskBase {
public:
    ProbeTask(ORVO::TaskType type, HookCounts& counts, int value = 0) : TaskBase(type), mCounts(counts), mValue(value) {}
    ~ProbeTask() override { ++mCounts.destructions; }
    int Run() override {
        mCounts.sum += mValue;
        ++mCounts.runs;
        return 0;
    }
    void OnComplete() override {
        ++mCounts.completions;
        TaskBase::OnComplete();  // frees the task
    }

private:
    HookCounts& mCounts;
    int mValue;
};

// Blocks its worker until the pool's pending count reaches `target`.
class GateTask : public ORVO::TaskBase {
public:
    GateTask(ORVO::ThreadPool& pool, int target)
        : TaskBase(ORVO::TASK_TYPE_WORK), mPool(pool), mTarget(target) {}
    int Run() override {
        while (mPool.GetPendingCount() < mTarget) std::this_thread::yield();
        return 0;
    }

private:
    ORVO::ThreadPool& mPool;
    int mTarget;
};

TEST(TaskBase, BaseBehaviour) {
    ORVO::TaskBase workTask(ORVO::TASK_TYPE_WORK);
    EXPECT_EQ(workTask.Run(), 0);

    HookCounts counts;
    ORVO::TaskBase* heapTask = new ProbeTask(ORVO::TASK_TYPE_WORK, counts);
    heapTask->OnComplete();  // the base completion deletes through the virtual destructor
    EXPECT_EQ(counts.completions.load(), 1);
    EXPECT_EQ(counts.destructions.load(), 1);
}

TEST(ThreadPool, RunsThousandsOfTasksOnSeveralWorkers) {
    constexpr int kTasks = 5000;
    HookCounts counts;
    ORVO::ThreadPool pool;
    ASSERT_EQ(pool.Init(4), 4);
    for (int i = 1; i <= kTasks; ++i)
        ASSERT_EQ(pool.InsertTask(new ProbeTask(ORVO::TASK_TYPE_WORK, counts, i)), ORVO::STATUS_SUCCESS);
    pool.WaitUntilAllDone();
    EXPECT_EQ(pool.GetPendingCount(), 0);
    EXPECT_EQ(counts.completions.load(), kTasks);
    EXPECT_EQ(counts.destructions.load(), kTasks);
    EXPECT_EQ(counts.sum.load(), static_cast<long long>(kTasks) * (kTasks + 1) / 2);

    // The pool is reusable after a wait.
    for (int i = 0; i < 100; ++i) pool.InsertTask(new ProbeTask(ORVO::TASK_TYPE_WORK, counts, 1));
    pool.WaitUntilAllDone();
    EXPECT_EQ(counts.completions.load(), kTasks + 100);
}

TEST(ThreadPool, InitAddsWorkersOnEachCallAndIdleWaitReturns) {
    ORVO::ThreadPool pool;
    EXPECT_EQ(pool.Init(0), 0);
    EXPECT_EQ(pool.Init(2), 2);
    EXPECT_EQ(pool.Init(1), 3);
    EXPECT_EQ(pool.Init(-4), 3);
    // Waiting with nothing pending returns, with or without workers.
    pool.WaitUntilAllDone();
    EXPECT_EQ(pool.GetPendingCount(), 0);
    ORVO::ThreadPool idle;
    idle.WaitUntilAllDone();
}

TEST(ThreadPool, NullTaskIsRejectedAndLogged) {
    ORVO::LogSystem::SetLogFileName("test_threads_null_task.txt");
    ORVO::ThreadPool pool;
    pool.Init(1);
    EXPECT_EQ(pool.InsertTask(nullptr), ORVO::STATUS_INVALID_INPUT);
    EXPECT_EQ(pool.GetPendingCount(), 0);
    EXPECT_EQ(ReadFile("test_threads_null_task.txt"),
              "Error: ThreadPool::InsertTask NULL input.\n");
}

TEST(ThreadPool, DestructionRunsQueuedWorkFirst) {
    constexpr int kQueued = 100;
    HookCounts counts;
    {
        auto pool = std::make_unique<ORVO::ThreadPool>();
        ASSERT_EQ(pool->Init(1), 1);
        // The single worker is held by the gate until the destructor has queued
        // its exit task behind the work (gate + work + exit pending).
        pool->InsertTask(new GateTask(*pool, 1 + kQueued + 1));
        for (int i = 0; i < kQueued; ++i) pool->InsertTask(new ProbeTask(ORVO::TASK_TYPE_WORK, counts, 2));
        EXPECT_EQ(counts.completions.load(), 0);
        pool.reset();
    }
    EXPECT_EQ(counts.completions.load(), kQueued);
    EXPECT_EQ(counts.sum.load(), 2 * kQueued);
}

TEST(ThreadPool, TaskOfUnknownTypeIsDroppedAndStaysPending) {
    HookCounts unknown, work;
    ORVO::ThreadPool pool;
    ASSERT_EQ(pool.Init(1), 1);
    // One worker, FIFO: the odd task is taken before any of the work behind it.
    pool.InsertTask(new ProbeTask(static_cast<ORVO::TaskType>(7), unknown));
    for (int i = 0; i < 20; ++i) pool.InsertTask(new ProbeTask(ORVO::TASK_TYPE_WORK, work));

    // Every real task finishes, yet one task stays counted.
    while (work.completions.load() < 20 || pool.GetPendingCount() > 1) std::this_thread::yield();
    EXPECT_EQ(work.runs.load(), 20);
    EXPECT_EQ(work.completions.load(), 20);
    EXPECT_EQ(pool.GetPendingCount(), 1);
    EXPECT_EQ(unknown.runs.load(), 0);
    EXPECT_EQ(unknown.completions.load(), 0);
    EXPECT_EQ(unknown.destructions.load(), 1);  // freed by the pool, not leaked

    // Only an explicit FinishATask releases waiters (and lets the pool be destroyed).
    pool.FinishATask();
    pool.WaitUntilAllDone();
    EXPECT_EQ(pool.GetPendingCount(), 0);
}

TEST(ThreadPool, ExitTaskStopsOneWorker) {
    HookCounts exitHooks, work;
    ORVO::ThreadPool pool;
    ASSERT_EQ(pool.Init(2), 2);
    // An exit task is completed, never run, and counts as finished.
    pool.InsertTask(new ProbeTask(ORVO::TASK_TYPE_EXIT, exitHooks));
    pool.WaitUntilAllDone();
    EXPECT_EQ(exitHooks.runs.load(), 0);
    EXPECT_EQ(exitHooks.completions.load(), 1);
    EXPECT_EQ(exitHooks.destructions.load(), 1);
    // The remaining worker still serves the queue.
    for (int i = 0; i < 50; ++i) pool.InsertTask(new ProbeTask(ORVO::TASK_TYPE_WORK, work));
    pool.WaitUntilAllDone();
    EXPECT_EQ(work.completions.load(), 50);
    // The destructor queues one exit task per started worker, but only one
    // worker is left to take them; one count is released here in advance so
    // that destruction ends, and the untaken exit task is freed with the queue.
    pool.FinishATask();
}

TEST(Thread, WithoutAPoolTheLoopFails) {
    ORVO::Thread orphan(nullptr);
    EXPECT_EQ(orphan.Run(), ORVO::STATUS_FAILED);
    // Starting it creates a thread whose loop ends at once; a second start is refused.
    EXPECT_EQ(orphan.Start(), ORVO::STATUS_SUCCESS);
    EXPECT_EQ(orphan.Start(), ORVO::STATUS_FAILED);
    orphan.Join();
}

TEST(Mutex, ScopedLockSerialisesWriters) {
    ORVO::Mutex mutex;
    ASSERT_NE(mutex.GetHandle(), nullptr);
    long long counter = 0;  // deliberately not atomic: only the lock protects it
    std::vector<std::thread> writers;
    for (int t = 0; t < 4; ++t) {
        writers.emplace_back([&] {
            for (int i = 0; i < 10000; ++i) {
                ORVO::ScopedLock lock(mutex);
                ++counter;
            }
        });
    }
    for (std::thread& w : writers) w.join();
    EXPECT_EQ(counter, 40000);
    // The lock is free again once every ScopedLock is gone.
    ASSERT_TRUE(mutex.GetHandle()->try_lock());
    mutex.GetHandle()->unlock();
}

TEST(ThreadSettings, ThreadCountOverridesTheProcessorCount) {
    const unsigned int hardware = std::thread::hardware_concurrency();
    const int processors = hardware >= 1 ? static_cast<int>(hardware) : 1;
    // A positive count wins; zero or negative falls back to the processors.
    for (auto [set, expected] : {std::pair<int, int>{3, 3}, {1, 1}, {0, processors}, {-2, processors}}) {
        ORVO::SetThreadCount(set);
        EXPECT_EQ(ORVO::GetProcessorCount(), expected) << "set " << set;
    }
    ORVO::SetThreadCount(0);
}

TEST(ThreadSettings, SleepThreadWaitsAtLeastTheGivenTime) {
    const double t0 = ORVO::Profiler::GetTime();
    ORVO::SleepThread(0.0);
    ORVO::SleepThread(-1.0);
    const double t1 = ORVO::Profiler::GetTime();
    ORVO::SleepThread(0.01);
    const double t2 = ORVO::Profiler::GetTime();
    // Zero and negative waits return without spinning for any set time.
    EXPECT_LT(t1 - t0, 0.5);
    EXPECT_GE(t2 - t1, 0.01);
}

}  // namespace
