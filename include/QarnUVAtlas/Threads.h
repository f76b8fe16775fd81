#pragma once
// Worker threads, locks and a FIFO worker pool. Work items derive from TaskBase,
// are created with new and belong to the pool once inserted.

#include <QarnUVAtlas/Export.h>

#include <condition_variable>
#include <list>
#include <mutex>
#include <thread>
#include <vector>

namespace ORVO {

// What a worker does with a task it takes from the queue.
enum TaskType : int {
    TASK_TYPE_EXIT = 0,  // the worker completes it and stops
    TASK_TYPE_WORK = 1,  // the worker runs it, completes it and goes on
};

// Base of every pool task. The pool calls Run() and then OnComplete() on a
// worker thread, outside its lock, so tasks guard any data they share.
class ORVO_API TaskBase {
public:
    // Fixes the task's type for its whole life.
    explicit TaskBase(TaskType type);
    // The work itself. Returns a status; the base returns 0.
    virtual int Run();
    // Called after Run(). The base frees the task (delete this); a task that
    // must outlive its run overrides it.
    virtual void OnComplete();
    virtual ~TaskBase();

    // The type given to the constructor.
    TaskType GetType() const;

private:
    TaskType mType;
};

class Thread;

// A FIFO queue of tasks served by worker threads, with a count of tasks
// inserted and not yet finished.
class ORVO_API ThreadPool {
public:
    // An empty pool: no workers, empty queue, nothing pending.
    ThreadPool();
    // Queues one exit task per worker, waits until nothing is pending (queued
    // work runs first, FIFO), joins the workers and deletes any task still queued.
    ~ThreadPool();
    ThreadPool(const ThreadPool&) = delete;
    ThreadPool& operator=(const ThreadPool&) = delete;

    // Starts `threadCount` more workers. Returns the number of workers now held;
    // a worker whose thread could not be created is not counted.
    int Init(int threadCount);
    // Queues `task` (the pool takes ownership) and wakes one worker. Returns 0,
    // STATUS_INVALID_INPUT (-2) for a null task, or STATUS_FAILED (-3) when the
    // pool cannot signal its workers (the task then stays queued and counted).
    int InsertTask(TaskBase* task);
    // Blocks until the queue is not empty, then removes and returns its front.
    // Returns null only when the pool has no lock or condition to wait on.
    TaskBase* GetTask();
    // Lowers the pending count by one and wakes the waiters of WaitUntilAllDone.
    void FinishATask();
    // Blocks until the pending count is below 1.
    void WaitUntilAllDone();
    // Number of tasks inserted and not yet finished (a snapshot).
    int GetPendingCount();

private:
    std::vector<Thread*> mThreads;
    std::list<TaskBase*> mTaskQueue;
    int mPendingCount;
    std::mutex* mpLock;                         // guards the queue and the count
    std::condition_variable* mpTaskAvailable;  // a task was queued
    std::condition_variable* mpAllDone;        // a task finished
};

// One worker of a pool.
class ORVO_API Thread {
public:
    // A worker bound to `pool` (which may be null); nothing runs yet.
    explicit Thread(ThreadPool* pool);
    // Joins the worker's thread if it was started.
    ~Thread();
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    // Starts the thread on the worker loop. Returns 0, or STATUS_FAILED (-3) if
    // the thread could not be created or this worker was already started.
    int Start();
    // The worker loop: takes tasks until it meets an exit task. Returns
    // STATUS_FAILED (-3) when there is no pool, 0 otherwise.
    int Run();
    // Waits for the started thread to end; does nothing if it never started.
    void Join();

private:
    ThreadPool* mpPool;
    // Kept, unlike a fire-and-forget worker, so the pool can join on destruction.
    std::thread* mpHandle;
};

// A non-recursive lock.
class ORVO_API Mutex {
public:
    Mutex();
    ~Mutex();
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    // The underlying lock object (null only if it could not be allocated).
    std::mutex* GetHandle();
    // Take and release the lock; both do nothing when the handle is null.
    void Lock();
    void Unlock();

private:
    std::mutex* mpHandle;
};

// Holds `mutex` locked for the lifetime of the object.
class ORVO_API ScopedLock {
public:
    explicit ScopedLock(Mutex& mutex);
    ~ScopedLock();
    ScopedLock(const ScopedLock&) = delete;
    ScopedLock& operator=(const ScopedLock&) = delete;

private:
    Mutex& mMutex;
};

// Stores the process-wide worker-count setting (0 or less: use the processor
// count). Not locked: set it before starting pools.
ORVO_API void SetThreadCount(int threadCount);
// The setting when it is at least 1, otherwise the number of processors (at least 1).
ORVO_API int GetProcessorCount();
// Waits `seconds` by busy polling Profiler::GetTime(); never yields the core.
// Returns at once for zero or negative values.
ORVO_API void SleepThread(double seconds);

}  // namespace ORVO
