#include "WaitSlot.h"

#include <chrono>
#include <map>
#include <memory>

#include "WordWait.h"

namespace {

// One slot and the number of callers that acquired it and have not released it yet.
struct SlotEntry {
    // Shared with a post in progress, which wakes the waiter after the registry's mutex is
    // free: a waiter woken while the poster still held it would only block on it.
    std::shared_ptr<WaitSlot> slot;
    int holders = 0;
};

struct Registry {
    std::mutex mutex;  // guards slots; never held together with a slot's mutex
    std::map<std::string, SlotEntry> slots;
};

// Never destroyed: a signing task that outlived its caller may post during process exit.
Registry& TheRegistry() {
    static Registry* registry = new Registry();
    return *registry;
}

}  // namespace

WaitSlot* WaitSlotRegistry::AcquireWaitSlot(const std::string& key) {
    Registry& registry = TheRegistry();
    std::lock_guard<std::mutex> lock(registry.mutex);
    SlotEntry& entry = registry.slots[key];
    if (!entry.slot) entry.slot = std::make_shared<WaitSlot>();
    ++entry.holders;
    return entry.slot.get();
}

bool WaitSlotRegistry::PostWaitSlot(const std::string& key, const std::string& text) {
    Registry& registry = TheRegistry();
    std::shared_ptr<WaitSlot> slot;
    {
        std::lock_guard<std::mutex> lock(registry.mutex);
        auto found = registry.slots.find(key);
        if (found == registry.slots.end()) return false;
        slot = found->second.slot;
    }
    {
        // The text is stored under the slot's mutex too, so a reader holding only that mutex
        // never races with this write.
        std::lock_guard<std::mutex> slotLock(slot->mutex);
        slot->result = text;
        slot->state -= 1;
        slot->wakeWord.fetch_add(1);
    }
    // Woken with both mutexes free, so the waiter does not wake only to block on one of them
    // (its release of the slot takes the registry's). The shared hold keeps the slot alive.
    quil::platform::WakeWord(slot->wakeWord, false);
    return true;
}

void WaitSlotRegistry::WaitOnSlot(WaitSlot* slot, int seconds) {
    if (seconds != -1) {
        WaitOnSlotFor(slot, std::chrono::seconds(seconds));
        return;
    }
    std::unique_lock<std::mutex> lock(slot->mutex);
    while (slot->state == 0) {
        const uint32_t seen = slot->wakeWord.load();
        lock.unlock();
        quil::platform::WaitOnWord(slot->wakeWord, seen, -1);
        lock.lock();
    }
}

void WaitSlotRegistry::WaitOnSlotFor(WaitSlot* slot, std::chrono::milliseconds limit) {
    // One deadline for the whole wait: a spurious wake-up waits again for the time that is
    // left, instead of ending the wait early or starting the limit over.
    const auto deadline = std::chrono::steady_clock::now() + limit;
    std::unique_lock<std::mutex> lock(slot->mutex);
    while (slot->state == 0) {
        const int64_t left = std::chrono::duration_cast<std::chrono::nanoseconds>(
                                 deadline - std::chrono::steady_clock::now())
                                 .count();
        if (left <= 0) return;
        const uint32_t seen = slot->wakeWord.load();
        lock.unlock();
        quil::platform::WaitOnWord(slot->wakeWord, seen, left);
        lock.lock();
    }
}

void WaitSlotRegistry::WakeSpuriouslyForTesting(WaitSlot* slot) {
    {
        std::lock_guard<std::mutex> lock(slot->mutex);
        slot->wakeWord.fetch_add(1);
    }
    quil::platform::WakeWord(slot->wakeWord, true);
}

std::string WaitSlotRegistry::ReadWaitSlot(WaitSlot* slot) {
    std::lock_guard<std::mutex> lock(slot->mutex);
    return slot->result;
}

void WaitSlotRegistry::ReleaseWaitSlot(const std::string& key) {
    Registry& registry = TheRegistry();
    std::lock_guard<std::mutex> lock(registry.mutex);
    auto found = registry.slots.find(key);
    if (found == registry.slots.end()) return;
    if (--found->second.holders <= 0) registry.slots.erase(found);
}
