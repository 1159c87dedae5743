#include "ThreadPoolSemaphore.h"

#include <chrono>

void ThreadPoolSemaphore::Post() {
    bool wake = false;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        ++count_;
        if (count_ <= 0) {
            ++wakeups_;
            wake = true;
        }
    }
    // Woken with the mutex free, so the waiter does not wake only to block on it. The pool
    // posts under its own mutex, which keeps the pool, and this semaphore, alive meanwhile.
    if (wake) condition_.notify_one();
}

bool ThreadPoolSemaphore::Wait(uint32_t timeoutSeconds) {
    std::unique_lock<std::mutex> lock(mutex_);
    --count_;
    if (count_ >= 0) return false;
    auto woken = [this] { return wakeups_ > 0; };
    if (timeoutSeconds == 0) {
        condition_.wait(lock, woken);
        --wakeups_;
        return false;
    }
    if (condition_.wait_for(lock, std::chrono::seconds(timeoutSeconds), woken)) {
        --wakeups_;
        return false;
    }
    // Nobody posted for us: give the token we reserved back.
    ++count_;
    return true;
}

int32_t ThreadPoolSemaphore::Count() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return count_;
}

void ThreadPoolSemaphore::WakeWaitersForTesting() {
    std::lock_guard<std::mutex> lock(mutex_);
    condition_.notify_all();
}
