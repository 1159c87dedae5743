// The keyed rendezvous on which a signing caller waits for its task's answer.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>

#include "SignResult.h"
#include "WaitSlot.h"

namespace {

using Clock = std::chrono::steady_clock;

TEST(WaitSlotRegistry, AcquireMakesAnEmptySlotWithStateZero) {
    WaitSlot* slot = WaitSlotRegistry::AcquireWaitSlot("1_sign6.2");
    ASSERT_NE(slot, nullptr);
    EXPECT_EQ(slot->state, 0);
    EXPECT_EQ(WaitSlotRegistry::ReadWaitSlot(slot), "");
    WaitSlotRegistry::ReleaseWaitSlot("1_sign6.2");
}

TEST(WaitSlotRegistry, TwoCallersWithOneKeyShareOneSlot) {
    WaitSlot* first = WaitSlotRegistry::AcquireWaitSlot("k");
    WaitSlot* second = WaitSlotRegistry::AcquireWaitSlot("k");
    EXPECT_EQ(first, second);
    WaitSlotRegistry::ReleaseWaitSlot("k");
    WaitSlotRegistry::ReleaseWaitSlot("k");
}

TEST(WaitSlotRegistry, ASharedSlotOutlivesTheFirstRelease) {
    WaitSlot* slot = WaitSlotRegistry::AcquireWaitSlot("shared");
    WaitSlotRegistry::AcquireWaitSlot("shared");
    WaitSlotRegistry::ReleaseWaitSlot("shared");
    EXPECT_TRUE(WaitSlotRegistry::PostWaitSlot("shared", "still here"));
    EXPECT_EQ(WaitSlotRegistry::ReadWaitSlot(slot), "still here");
    WaitSlotRegistry::ReleaseWaitSlot("shared");
    EXPECT_FALSE(WaitSlotRegistry::PostWaitSlot("shared", "gone"));
}

TEST(WaitSlotRegistry, APostToAKeyWithoutSlotIsDropped) {
    EXPECT_FALSE(WaitSlotRegistry::PostWaitSlot("9_sign6.3", "text"));
}

TEST(WaitSlotRegistry, EachPostStoresItsTextAndSubtractsOne) {
    WaitSlot* slot = WaitSlotRegistry::AcquireWaitSlot("p");
    EXPECT_TRUE(WaitSlotRegistry::PostWaitSlot("p", "first"));
    EXPECT_EQ(slot->state, -1);
    EXPECT_TRUE(WaitSlotRegistry::PostWaitSlot("p", "second"));
    EXPECT_EQ(slot->state, -2);
    EXPECT_EQ(WaitSlotRegistry::ReadWaitSlot(slot), "second");
    WaitSlotRegistry::ReleaseWaitSlot("p");
}

TEST(WaitSlotRegistry, WaitReturnsAtOnceWhenThePostCameFirst) {
    WaitSlot* slot = WaitSlotRegistry::AcquireWaitSlot("early");
    WaitSlotRegistry::PostWaitSlot("early", "{}");
    const auto start = Clock::now();
    WaitSlotRegistry::WaitOnSlot(slot, -1);
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(5));
    EXPECT_EQ(WaitSlotRegistry::ReadWaitSlot(slot), "{}");
    WaitSlotRegistry::ReleaseWaitSlot("early");
}

TEST(WaitSlotRegistry, WaitEndsAtItsLimitWhenNothingIsPosted) {
    WaitSlot* slot = WaitSlotRegistry::AcquireWaitSlot("late");
    const auto start = Clock::now();
    WaitSlotRegistry::WaitOnSlot(slot, 1);
    // The wait runs to its limit (a spurious wake-up waits again), and not much beyond it.
    EXPECT_GE(Clock::now() - start, std::chrono::seconds(1));
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(5));
    EXPECT_EQ(slot->state, 0);
    EXPECT_EQ(WaitSlotRegistry::ReadWaitSlot(slot), "");
    WaitSlotRegistry::ReleaseWaitSlot("late");
}

TEST(WaitSlotRegistry, ASpuriousWakeUpDoesNotEndTheWait) {
    WaitSlot* slot = WaitSlotRegistry::AcquireWaitSlot("spurious");
    std::atomic<bool> returned{false};
    std::atomic<int32_t> stateOnReturn{0};
    std::thread waiter([&] {
        WaitSlotRegistry::WaitOnSlotFor(slot, std::chrono::seconds(20));
        std::lock_guard<std::mutex> lock(slot->mutex);
        stateOnReturn = slot->state;
        returned = true;
    });
    // Wake the waiter many times without a post; each wake-up must send it back to waiting.
    for (int i = 0; i < 2000 && !returned; ++i) {
        WaitSlotRegistry::WakeSpuriouslyForTesting(slot);
        std::this_thread::yield();
    }
    EXPECT_FALSE(returned);
    EXPECT_TRUE(WaitSlotRegistry::PostWaitSlot("spurious", "answer"));
    waiter.join();
    EXPECT_EQ(stateOnReturn, -1);
    WaitSlotRegistry::ReleaseWaitSlot("spurious");
}

TEST(WaitSlotRegistry, AnUnlimitedWaitEndsWithThePostAndNotBefore) {
    WaitSlot* slot = WaitSlotRegistry::AcquireWaitSlot("unlimited");
    std::atomic<bool> returned{false};
    std::thread waiter([&] {
        WaitSlotRegistry::WaitOnSlot(slot, -1);
        returned = true;
    });
    for (int i = 0; i < 2000 && !returned; ++i) {
        WaitSlotRegistry::WakeSpuriouslyForTesting(slot);
        std::this_thread::yield();
    }
    EXPECT_FALSE(returned);
    EXPECT_TRUE(WaitSlotRegistry::PostWaitSlot("unlimited", "answer"));
    waiter.join();
    EXPECT_TRUE(returned);
    WaitSlotRegistry::ReleaseWaitSlot("unlimited");
}

TEST(WaitSlotRegistry, ReleaseErasesTheKeySoALatePostIsDropped) {
    WaitSlotRegistry::AcquireWaitSlot("3_sign6.2");
    WaitSlotRegistry::ReleaseWaitSlot("3_sign6.2");
    EXPECT_FALSE(WaitSlotRegistry::PostWaitSlot("3_sign6.2", "{\"errorCode\":\"0\"}"));
    WaitSlotRegistry::ReleaseWaitSlot("3_sign6.2");  // releasing a gone key does nothing
}

TEST(SignResult, StartsEmpty) {
    SignResult result;
    EXPECT_TRUE(result.sign.empty());
    EXPECT_TRUE(result.signMap.empty());
    EXPECT_TRUE(result.errorCode.empty());
}

}  // namespace
