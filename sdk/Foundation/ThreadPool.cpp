#include "ThreadPool.h"

#include <algorithm>
#include <atomic>
#include <thread>

namespace {
std::atomic<int> g_livePools{0};
}  // namespace

// The thread entry takes an untyped pointer, so that no instantiation of the standard thread
// machinery names the internal pool class in the shared library's exported symbols.
void ThreadPool::WorkerEntry(void* pool) { static_cast<ThreadPool*>(pool)->WorkerLoop(); }

ThreadPool::ThreadPool(uint32_t minThreads, uint32_t maxThreads)
    : minThreads_(minThreads),
      maxThreads_(std::max(minThreads, maxThreads) == 0 ? 1u : std::max(minThreads, maxThreads)),
      semaphore_(std::make_shared<ThreadPoolSemaphore>()) {
    g_livePools.fetch_add(1);
}

ThreadPool::~ThreadPool() {
    // Queued work is dropped unrun. Released before the pool counts as gone, so that whoever
    // watches the count sees every task object already destroyed.
    tasks_.clear();
    semaphore_.reset();
    g_livePools.fetch_sub(1);
}

void ThreadPool::AddTask(std::function<void()> function, std::string name) {
    std::shared_ptr<ThreadPoolSemaphore> semaphore;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (state_ != Running) return;
        tasks_.push_back(ThreadPoolTask{std::move(function), std::move(name)});
        const bool belowMinimum = threadCount_ < minThreads_;
        const bool queueOutgrowsIdle = threadCount_ - busyCount_ < tasks_.size();
        if (belowMinimum || (queueOutgrowsIdle && threadCount_ < maxThreads_)) {
            // Throws std::system_error with the task queued and no token posted for it.
            StartWorker();
        }
        semaphore = semaphore_;
    }
    // Posted with the pool's mutex free: the woken worker's first step is to take it. A worker
    // that finds the task before its token came takes the token later as one without a task,
    // as after CancelTask.
    semaphore->Post();
}

void ThreadPool::StartWorker() {
    std::thread worker(&ThreadPool::WorkerEntry, static_cast<void*>(this));
    worker.detach();
    ++threadCount_;
}

void ThreadPool::CancelTask(const std::string& name) {
    // The removed task is destroyed outside the lock, so that whatever it captured may call
    // back into the pool from its destructor.
    std::list<ThreadPoolTask> removed;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        auto match = std::find_if(tasks_.begin(), tasks_.end(), [&name](const ThreadPoolTask& t) {
            return t.name.size() == name.size() && t.name == name;
        });
        if (match != tasks_.end()) removed.splice(removed.begin(), tasks_, match);
        // The token posted for it stays: the worker that takes it finds nothing and waits again.
    }
}

void ThreadPool::ClearTasks() {
    std::list<ThreadPoolTask> removed;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        removed.swap(tasks_);
    }
}

void ThreadPool::Stop() {
    bool destroy = false;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (state_ == Running) {
            discardQueued_ = true;
            state_ = Stopping;
            if (threadCount_ > 0) {
                // One token per worker, so that each wakes, including those inside a task.
                for (uint32_t i = 0; i < threadCount_; ++i) semaphore_->Post();
            } else {
                state_ = Stopped;
                stoppedCondition_.notify_all();
            }
        }
        destroy = ClaimDestruction();
    }
    if (destroy) delete this;
}

bool ThreadPool::ClaimDestruction() {
    // Both Stop and the last worker reach this point; deciding under the mutex, with a flag
    // that can be set once, makes exactly one of them free the pool.
    if ((state_ == Stopping || state_ == Stopped) && threadCount_ == 0 && !destructionClaimed_) {
        destructionClaimed_ = true;
        return true;
    }
    return false;
}

void ThreadPool::SetIdleTimeoutSeconds(uint32_t seconds) {
    std::lock_guard<std::mutex> lock(mutex_);
    idleTimeoutSeconds_ = seconds;
}

void ThreadPool::WorkerLoop() {
    for (;;) {
        uint32_t timeout = 0;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            timeout = idleTimeoutSeconds_;
        }
        // The semaphore is never replaced, and the pool outlives every worker.
        const bool timedOut = semaphore_->Wait(timeout);

        ThreadPoolTask task;
        bool leave = false;
        bool destroy = false;
        {
            std::unique_lock<std::mutex> lock(mutex_);
            const std::size_t queued = tasks_.size();
            const uint32_t threads = threadCount_;
            const bool shrink = timedOut && queued == 0 && threads > minThreads_;
            const bool abort = state_ == Stopping && discardQueued_;
            const bool drained = state_ == Stopping && queued == 0;

            if (threads > maxThreads_) {
                leave = true;
            } else if (queued != 0 && !abort) {
                task = std::move(tasks_.front());
                tasks_.pop_front();
                ++busyCount_;
            } else if (shrink || abort || drained) {
                leave = true;
            } else {
                continue;  // a token without a task: wait again
            }

            if (leave) {
                --threadCount_;
                if (threadCount_ == 0 && state_ == Stopping) {
                    state_ = Stopped;
                    stoppedCondition_.notify_all();
                }
                destroy = ClaimDestruction();
            }
        }

        if (leave) {
            task = ThreadPoolTask();
            if (destroy) delete this;
            return;
        }

        task.function();
        {
            std::lock_guard<std::mutex> lock(mutex_);
            --busyCount_;
        }
        // The task's captures are released here, with no lock held.
    }
}

uint32_t ThreadPool::MinThreads() const { return minThreads_; }

uint32_t ThreadPool::MaxThreads() const { return maxThreads_; }

uint32_t ThreadPool::ThreadCount() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return threadCount_;
}

uint32_t ThreadPool::BusyCount() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return busyCount_;
}

std::size_t ThreadPool::QueueLength() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return tasks_.size();
}

ThreadPool::State ThreadPool::CurrentState() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return state_;
}

int ThreadPool::LivePoolCount() { return g_livePools.load(); }
