// The rendezvous across threads: posts from other threads wake their own waiter only.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "WaitSlot.h"

namespace {

TEST(WaitSlotRegistryConcurrency, APostFromAnotherThreadWakesTheWaiterWithItsText) {
    WaitSlot* slot = WaitSlotRegistry::AcquireWaitSlot("5_sign6.2");
    std::thread poster([] { WaitSlotRegistry::PostWaitSlot("5_sign6.2", "answer"); });
    // Either the post came first (no wait) or it wakes the wait; a spurious wake-up is the
    // only way to miss it, so look again after the join.
    WaitSlotRegistry::WaitOnSlot(slot, 30);
    poster.join();
    EXPECT_EQ(WaitSlotRegistry::ReadWaitSlot(slot), "answer");
    WaitSlotRegistry::ReleaseWaitSlot("5_sign6.2");
}

TEST(WaitSlotRegistryConcurrency, ManyKeysAtOnceEachGetTheirOwnText) {
    constexpr int kCallers = 8;
    std::vector<std::string> seen(kCallers);
    std::vector<std::thread> callers;
    for (int i = 0; i < kCallers; ++i) {
        callers.emplace_back([i, &seen] {
            const std::string key = std::to_string(i) + "_processContent";
            WaitSlot* slot = WaitSlotRegistry::AcquireWaitSlot(key);
            std::thread poster([key] { WaitSlotRegistry::PostWaitSlot(key, "text " + key); });
            WaitSlotRegistry::WaitOnSlot(slot, 30);
            poster.join();
            seen[i] = WaitSlotRegistry::ReadWaitSlot(slot);
            WaitSlotRegistry::ReleaseWaitSlot(key);
        });
    }
    for (std::thread& caller : callers) caller.join();
    for (int i = 0; i < kCallers; ++i) {
        EXPECT_EQ(seen[i], "text " + std::to_string(i) + "_processContent");
    }
}

TEST(WaitSlotRegistryConcurrency, PostsRacingWithTheReleaseAreDroppedOrDelivered) {
    for (int round = 0; round < 50; ++round) {
        WaitSlot* slot = WaitSlotRegistry::AcquireWaitSlot("race");
        std::thread poster([] { WaitSlotRegistry::PostWaitSlot("race", "late"); });
        WaitSlotRegistry::ReadWaitSlot(slot);
        WaitSlotRegistry::ReleaseWaitSlot("race");
        poster.join();
    }
    EXPECT_FALSE(WaitSlotRegistry::PostWaitSlot("race", "after"));
}

}  // namespace
