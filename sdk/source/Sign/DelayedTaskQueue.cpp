#include "DelayedTaskQueue.h"

#include <atomic>
#include <chrono>
#include <utility>

namespace {

// Ids of every queue in the process; the first is 1.
std::atomic<int32_t> g_nextTaskId{0};

std::chrono::steady_clock::time_point DeadlineTimePoint(int64_t deadline) {
    return std::chrono::steady_clock::time_point(
        std::chrono::duration_cast<std::chrono::steady_clock::duration>(
            std::chrono::nanoseconds(deadline)));
}

}  // namespace

DelayedTaskQueue& DelayedTaskQueue::Instance() {
    // Never destroyed: a caller waiting on a traffic judgement may add or remove a task while
    // the process exits, and a destroyed queue would be touched after its end. The thread runs
    // until the process ends.
    static DelayedTaskQueue* queue = new DelayedTaskQueue();
    return *queue;
}

DelayedTaskQueue::DelayedTaskQueue() : thread([this] { Run(); }) {}

DelayedTaskQueue::~DelayedTaskQueue() {
    {
        std::lock_guard<std::mutex> lock(mutex);
        if (stopping) return;
        stopping = true;
    }
    condition.notify_all();
    if (thread.joinable()) thread.join();
    std::lock_guard<std::mutex> lock(mutex);
    tasks.clear();
}

int64_t DelayedTaskQueue::Now() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

int32_t DelayedTaskQueue::AddTask(std::function<void()> function, int64_t deadline) {
    const int32_t id = ++g_nextTaskId;
    {
        std::lock_guard<std::mutex> lock(mutex);
        // Before the first later deadline, so that an equal deadline goes behind the older ones.
        auto position = tasks.begin();
        while (position != tasks.end() && position->deadline <= deadline) ++position;
        tasks.insert(position, Task{id, std::move(function), deadline});
    }
    condition.notify_all();
    return id;
}

bool DelayedTaskQueue::RemoveTask(int32_t id) {
    std::lock_guard<std::mutex> lock(mutex);
    for (auto task = tasks.begin(); task != tasks.end(); ++task) {
        if (task->id == id) {
            tasks.erase(task);
            return true;
        }
    }
    return false;
}

std::size_t DelayedTaskQueue::PendingCount() {
    std::lock_guard<std::mutex> lock(mutex);
    return tasks.size();
}

void DelayedTaskQueue::Run() {
    for (;;) {
        std::function<void()> function;
        bool run = false;
        {
            std::unique_lock<std::mutex> lock(mutex);
            condition.wait(lock, [this] { return stopping || !tasks.empty(); });
            if (stopping) return;
            for (;;) {
                const int64_t deadline = tasks.front().deadline;
                if (deadline > Now()) {
                    // Wakes for a new task too: an earlier one may now stand first, or this one
                    // may have been removed.
                    condition.wait_until(lock, DeadlineTimePoint(deadline));
                    if (stopping || tasks.empty()) break;
                    continue;
                }
                function = std::move(tasks.front().function);
                tasks.pop_front();
                run = !stopping;
                break;
            }
        }
        // Run with no lock held: a report may take its time, and may add tasks itself.
        if (run && function) function();
    }
}
