// Named tasks run in the order they were added, on detached worker threads.
// Build with new and never delete: Stop hands the pool over, and the pool frees itself (the last
// worker out, or Stop when no worker exists). Every operation may be called from any thread.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>

#include "ThreadPoolSemaphore.h"
#include "ThreadPoolTask.h"

class ThreadPool {
public:
    enum State : uint32_t { Running = 0, Stopping = 1, Stopped = 2 };

    // Starts no thread. maxThreads becomes the larger bound, or 1 when both are 0.
    ThreadPool(uint32_t minThreads, uint32_t maxThreads);
    ThreadPool(const ThreadPool&) = delete;
    ThreadPool& operator=(const ThreadPool&) = delete;

    // Queues function under name and wakes a worker, starting one when the bounds call for it.
    // A task added after Stop is dropped silently. A failure to start a thread throws
    // std::system_error; the task then stays queued.
    void AddTask(std::function<void()> function, std::string name);

    // Removes the oldest queued task of this name; a task a worker has taken is out of reach.
    void CancelTask(const std::string& name);

    // Removes every queued task.
    void ClearTasks();

    // Begins shutdown: queued tasks are discarded, running ones finish, every worker leaves.
    // The pool may be gone when Stop returns; the caller must not touch it again.
    void Stop();

    // Nothing in the library sets this (idle workers wait for ever); tests use it to exercise
    // the shrinking of a pool above its minimum.
    void SetIdleTimeoutSeconds(uint32_t seconds);

    // Read-only views for tests.
    uint32_t MinThreads() const;
    uint32_t MaxThreads() const;
    uint32_t ThreadCount() const;
    uint32_t BusyCount() const;
    std::size_t QueueLength() const;
    State CurrentState() const;
    // Pools built and not yet freed, process-wide.
    static int LivePoolCount();

private:
    // Only the pool frees itself.
    ~ThreadPool();

    void StartWorker();
    static void WorkerEntry(void* pool);
    void WorkerLoop();
    // Called with mutex_ held by whoever may be the last user: true when the caller has just
    // become the one party that frees the pool.
    bool ClaimDestruction();

    // Guards every field below except the semaphore's own state. Lock order: this mutex, then
    // the semaphore's.
    mutable std::mutex mutex_;
    State state_ = Running;
    const uint32_t minThreads_;
    const uint32_t maxThreads_;
    uint32_t threadCount_ = 0;
    uint32_t busyCount_ = 0;
    uint32_t idleTimeoutSeconds_ = 0;
    bool discardQueued_ = false;
    // Set once, by the one party (Stop or the last worker) that frees the pool.
    bool destructionClaimed_ = false;
    // Broadcast when the pool becomes Stopped; nothing waits on it.
    std::condition_variable stoppedCondition_;
    // Shared with an AddTask in progress, which posts after mutex_ is free (a worker woken
    // while the poster still held it would only block on it) and may outlive the pool.
    std::shared_ptr<ThreadPoolSemaphore> semaphore_;
    std::list<ThreadPoolTask> tasks_;
};
