// A keyed rendezvous: a caller acquires the slot of a key and waits on it a bounded time while
// another thread (a signing task, the traffic callback) posts a text to the key. Every
// operation may be called from any thread. A slot lives from the first AcquireWaitSlot of its
// key to the last ReleaseWaitSlot; a post to a key without a slot is dropped.
//
// Locks: the registry mutex and a slot's mutex are never held together.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>
#include <utility>

struct WaitSlot {
    std::string result;  // the text posted; guarded by mutex
    std::mutex mutex;    // guards result and state
    // The waiter sleeps on this word with mutex released; each post changes it under mutex.
    // A plain word rather than a condition variable: a woken waiter then costs one system call
    // less (see WordWait.h).
    std::atomic<uint32_t> wakeWord{0};
    int32_t state = 0;  // 0 until a post comes; each post subtracts 1
};

class WaitSlotRegistry {
public:
    // The slot of key, made empty with state 0 if absent. Callers with one key share one slot.
    // The slot stays valid until this caller's ReleaseWaitSlot(key).
    static WaitSlot* AcquireWaitSlot(const std::string& key);

    // Stores text in the slot of key, subtracts 1 from its state and wakes its waiter.
    // Returns false, dropping the text, when the key has no slot.
    static bool PostWaitSlot(const std::string& key, const std::string& text);

    // Waits until something has been posted to the slot: at most seconds long, or without limit
    // when seconds is -1. Returns at once when a post came first. The wait loops over the
    // post's predicate, so a spurious wake-up is not mistaken for the end of the limit.
    static void WaitOnSlot(WaitSlot* slot, int seconds);

    // As WaitOnSlot, with the limit in milliseconds. Used where a limit is shortened for tests.
    static void WaitOnSlotFor(WaitSlot* slot, std::chrono::milliseconds limit);

    // Wakes every waiter of the slot without a post, as a spurious wake-up would; for tests.
    static void WakeSpuriouslyForTesting(WaitSlot* slot);

    // A copy of the posted text (empty if none).
    static std::string ReadWaitSlot(WaitSlot* slot);

    // Gives up this caller's hold on the slot of key; the last holder frees it and erases key.
    static void ReleaseWaitSlot(const std::string& key);
};

// Holds the slot of one key for a scope: acquires it on construction and releases this hold on
// destruction, so that no path out of a wait leaves the slot behind. Not copyable; lives on
// the waiting thread's stack.
class WaitSlotHold {
public:
    explicit WaitSlotHold(std::string key)
        : key_(std::move(key)), slot_(WaitSlotRegistry::AcquireWaitSlot(key_)) {}
    ~WaitSlotHold() { WaitSlotRegistry::ReleaseWaitSlot(key_); }
    WaitSlotHold(const WaitSlotHold&) = delete;
    WaitSlotHold& operator=(const WaitSlotHold&) = delete;

    WaitSlot* Slot() const { return slot_; }

private:
    const std::string key_;
    WaitSlot* const slot_;
};
