#include "ThreadPoolSemaphore.h"

#include <chrono>

#include "WordWait.h"

void ThreadPoolSemaphore::Post() {
    bool wake = false;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        ++count_;
        if (count_ <= 0) {
            ++wakeups_;
            wakeWord_.fetch_add(1);
            wake = true;
        }
    }
    // Woken with the mutex free, so the waiter does not wake only to block on it. The poster
    // keeps this semaphore alive meanwhile.
    if (wake) quil::platform::WakeWord(wakeWord_, false);
}

bool ThreadPoolSemaphore::Wait(uint32_t timeoutSeconds) {
    std::unique_lock<std::mutex> lock(mutex_);
    --count_;
    if (count_ >= 0) return false;
    // One deadline for the whole wait: a spurious wake-up sleeps again for the time that is
    // left. Waiting on the handed-out wakeups rather than on any wake keeps a spurious wake-up
    // from costing a token.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(timeoutSeconds);
    for (;;) {
        if (wakeups_ > 0) {
            --wakeups_;
            return false;
        }
        int64_t left = -1;
        if (timeoutSeconds != 0) {
            left = std::chrono::duration_cast<std::chrono::nanoseconds>(
                       deadline - std::chrono::steady_clock::now())
                       .count();
            if (left <= 0) {
                // Nobody posted for us: give the token we reserved back.
                ++count_;
                return true;
            }
        }
        const uint32_t seen = wakeWord_.load();
        lock.unlock();
        quil::platform::WaitOnWord(wakeWord_, seen, left);
        lock.lock();
    }
}

int32_t ThreadPoolSemaphore::Count() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return count_;
}

void ThreadPoolSemaphore::WakeWaitersForTesting() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        wakeWord_.fetch_add(1);
    }
    quil::platform::WakeWord(wakeWord_, true);
}
