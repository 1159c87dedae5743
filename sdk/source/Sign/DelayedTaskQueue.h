// The timer thread that reports overlong waits of traffic judgements: tasks run once their
// deadline on the steady clock has passed, earliest first. One process-wide queue is built on
// first use and never destroyed, since callers on detached threads may use it while the process
// exits; its thread runs until the process ends. Any thread may add or remove tasks.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <mutex>
#include <thread>

class DelayedTaskQueue {
public:
    // The process-wide queue, built (and its thread started) on the first call; never
    // destroyed.
    static DelayedTaskQueue& Instance();

    // Starts the worker thread. Tests may build their own queue; the process uses Instance().
    DelayedTaskQueue();
    // Stops the worker, waits for it to end, and drops the tasks that remain unrun.
    ~DelayedTaskQueue();
    DelayedTaskQueue(const DelayedTaskQueue&) = delete;
    DelayedTaskQueue& operator=(const DelayedTaskQueue&) = delete;

    // Queues function to run on the worker once deadline (steady-clock nanoseconds) has passed.
    // Among equal deadlines the task added first runs first. Returns the task's id.
    int32_t AddTask(std::function<void()> function, int64_t deadline);

    // Removes the task of id if it has not been taken to run yet. True when it was removed.
    bool RemoveTask(int32_t id);

    // Nanoseconds on the steady clock, the scale of every deadline.
    static int64_t Now();

    // Tasks queued and not yet taken to run, for tests: a removed task is gone at once, so a
    // test can tell a withdrawn report without waiting for its deadline.
    std::size_t PendingCount();

private:
    struct Task {
        int32_t id;
        std::function<void()> function;
        int64_t deadline;
    };

    void Run();

    bool stopping = false;              // set at teardown; guarded by mutex
    std::mutex mutex;                   // guards stopping and tasks; never held with a slot lock
    std::condition_variable condition;  // signalled when a task is added, and at teardown
    std::list<Task> tasks;              // ordered by deadline, earliest first
    std::thread thread;                 // started last, so it sees every field built
};
