#include "WaitSlot.h"

#include <chrono>
#include <map>
#include <memory>

namespace {

// One slot and the number of callers that acquired it and have not released it yet.
struct SlotEntry {
    std::unique_ptr<WaitSlot> slot;
    int holders = 0;
};

struct Registry {
    std::mutex mutex;  // guards slots; taken before any slot's mutex
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
    if (!entry.slot) entry.slot.reset(new WaitSlot());
    ++entry.holders;
    return entry.slot.get();
}

bool WaitSlotRegistry::PostWaitSlot(const std::string& key, const std::string& text) {
    Registry& registry = TheRegistry();
    std::lock_guard<std::mutex> lock(registry.mutex);
    auto found = registry.slots.find(key);
    if (found == registry.slots.end()) return false;
    WaitSlot* slot = found->second.slot.get();
    {
        // The text is stored under the slot's mutex too, so a reader holding only that mutex
        // never races with this write.
        std::lock_guard<std::mutex> slotLock(slot->mutex);
        slot->result = text;
        slot->state -= 1;
    }
    // Woken after the slot's mutex is free, so the waiter does not wake only to block on it.
    // The registry's mutex, still held, keeps the slot alive: releasing it needs that mutex.
    slot->condition.notify_one();
    return true;
}

void WaitSlotRegistry::WaitOnSlot(WaitSlot* slot, int seconds) {
    if (seconds != -1) {
        WaitOnSlotFor(slot, std::chrono::seconds(seconds));
        return;
    }
    std::unique_lock<std::mutex> lock(slot->mutex);
    slot->condition.wait(lock, [slot] { return slot->state != 0; });
}

void WaitSlotRegistry::WaitOnSlotFor(WaitSlot* slot, std::chrono::milliseconds limit) {
    // One deadline for the whole wait: a spurious wake-up waits again for the time that is
    // left, instead of ending the wait early or starting the limit over.
    const auto deadline = std::chrono::steady_clock::now() + limit;
    std::unique_lock<std::mutex> lock(slot->mutex);
    slot->condition.wait_until(lock, deadline, [slot] { return slot->state != 0; });
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
