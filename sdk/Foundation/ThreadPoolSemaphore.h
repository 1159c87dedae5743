// A counting semaphore that wakes the workers of a ThreadPool. Owned by its pool.
// Any thread may Post; the pool's workers Wait. A negative count is the number of waiters.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>

class ThreadPoolSemaphore {
public:
    ThreadPoolSemaphore() = default;
    ThreadPoolSemaphore(const ThreadPoolSemaphore&) = delete;
    ThreadPoolSemaphore& operator=(const ThreadPoolSemaphore&) = delete;

    // Adds one token and wakes one waiter when someone is waiting. The caller must keep the
    // semaphore alive until Post returns (the pool holds it shared while it posts).
    void Post();

    // Takes one token, waiting for it when none is there. timeoutSeconds 0 waits for ever.
    // Returns true when the wait timed out (the token is then given back).
    bool Wait(uint32_t timeoutSeconds);

    // The current count, for tests.
    int32_t Count() const;

    // Wakes every waiter without a post, as a spurious wake-up would, for tests.
    void WakeWaitersForTesting();

private:
    mutable std::mutex mutex_;  // guards count_ and wakeups_; the inner lock of a pool
    // Waiters sleep on this word with mutex_ released; it changes, under mutex_, with every
    // post that hands out a wakeup. A plain word rather than a condition variable: a woken
    // waiter then costs one system call less (see WordWait.h).
    std::atomic<uint32_t> wakeWord_{0};
    int32_t count_ = 0;
    // Wakeups handed out by Post and not yet taken by a waiter. Waiting on this rather than
    // waking blindly keeps a spurious wakeup from costing a token.
    int32_t wakeups_ = 0;
};
