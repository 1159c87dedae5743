// The portable form of WaitOnWord and WakeWord, for platforms without a word wait the SDK calls
// directly: words hash onto a fixed set of buckets, each a mutex and a condition variable. A
// wake takes the bucket's mutex after the word changed, so a waiter that read the old value
// under that mutex is already asleep in the bucket and gets the notification. Included by one
// platform source only.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>

namespace quil {
namespace platform {
namespace parking {

struct Bucket {
    std::mutex mutex;  // guards nothing but the sleep itself: see the note above
    std::condition_variable condition;
};

inline Bucket& BucketOf(const std::atomic<uint32_t>& word) {
    // Never destroyed: a wake may come from a thread that outlives static destruction.
    static Bucket* const buckets = new Bucket[64];
    const auto address = reinterpret_cast<std::uintptr_t>(&word);
    return buckets[(address >> 4) % 64];
}

inline void Wait(const std::atomic<uint32_t>& word, uint32_t expected, int64_t timeoutNanoseconds) {
    Bucket& bucket = BucketOf(word);
    std::unique_lock<std::mutex> lock(bucket.mutex);
    if (word.load() != expected) return;
    // One wait: other words of the bucket may wake it too, which callers treat as spurious.
    if (timeoutNanoseconds < 0) {
        bucket.condition.wait(lock);
    } else {
        bucket.condition.wait_for(lock, std::chrono::nanoseconds(timeoutNanoseconds));
    }
}

inline void Wake(const std::atomic<uint32_t>& word) {
    Bucket& bucket = BucketOf(word);
    { std::lock_guard<std::mutex> lock(bucket.mutex); }
    // Every sleeper of the bucket: the waiters of other words just check again.
    bucket.condition.notify_all();
}

}  // namespace parking
}  // namespace platform
}  // namespace quil
