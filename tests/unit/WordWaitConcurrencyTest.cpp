#include "WordWait.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <thread>

#include "TestSync.h"
#include "WordWaitParking.h"

namespace {

using quil::platform::WaitOnWord;
using quil::platform::WakeWord;

constexpr int64_t kLimitNs = 20LL * 1000 * 1000 * 1000;

TEST(WordWait, AWaitOnAWordThatDiffersReturnsAtOnce) {
    std::atomic<uint32_t> word{7};
    // No limit: the test hangs (and the suite's time-out fails it) if this sleeps.
    WaitOnWord(word, 6, -1);
    SUCCEED();
}

TEST(WordWait, AWaitWithALimitEndsWithoutAWake) {
    std::atomic<uint32_t> word{0};
    WaitOnWord(word, 0, 1000 * 1000);
    EXPECT_EQ(word.load(), 0u);
}

TEST(WordWait, AWakeAfterTheWordChangedEndsTheSleep) {
    std::atomic<uint32_t> word{0};
    std::atomic<bool> woke{false};
    std::thread waiter([&] {
        while (word.load() == 0) WaitOnWord(word, 0, kLimitNs);
        woke = true;
    });
    word.store(1);
    WakeWord(word, false);
    waiter.join();
    EXPECT_TRUE(woke.load());
}

// Two threads hand a turn back and forth, the way a caller and the signing worker do: state
// under a mutex, sleeps on the word with the mutex released, the wake after the mutex is free.
// A lost wake-up would leave one side asleep for the whole limit, which is counted.
using WaitFn = void (*)(const std::atomic<uint32_t>&, uint32_t, int64_t);
using WakeFn = void (*)(const std::atomic<uint32_t>&);

void WakeOne(const std::atomic<uint32_t>& word) { WakeWord(word, false); }

void HandOffBackAndForth(WaitFn wait, WakeFn wake) {
    constexpr int kRounds = 2000;
    std::mutex mutex;
    int turn = 0;  // guarded by mutex: even for the first thread, odd for the second
    std::atomic<uint32_t> word{0};
    std::atomic<int> timedOut{0};
    std::atomic<int> lost{0};
    auto player = [&](int parity) {
        for (int round = 0; round < kRounds; ++round) {
            std::unique_lock<std::mutex> lock(mutex);
            const auto deadline = std::chrono::steady_clock::now() + quil::test::kWaitLimit;
            while (turn % 2 != parity) {
                if (std::chrono::steady_clock::now() >= deadline) {
                    ++timedOut;
                    return;
                }
                const uint32_t seen = word.load();
                lock.unlock();
                const auto slept = std::chrono::steady_clock::now();
                wait(word, seen, kLimitNs);
                // Only a lost wake-up sleeps out the limit: the other side wakes it at once.
                if (std::chrono::steady_clock::now() - slept >= quil::test::kWaitLimit) ++lost;
                lock.lock();
            }
            ++turn;
            word.fetch_add(1);
            lock.unlock();
            wake(word);
        }
    };
    std::thread first(player, 0);
    std::thread second(player, 1);
    first.join();
    second.join();
    EXPECT_EQ(timedOut.load(), 0);
    EXPECT_EQ(lost.load(), 0);
    EXPECT_EQ(turn, 2 * kRounds);
}

TEST(WordWait, AHandOffBackAndForthLosesNoWakeUp) { HandOffBackAndForth(WaitOnWord, WakeOne); }

// The portable buckets that stand in where the platform has no word wait of its own.
TEST(WordWait, TheBucketFormLosesNoWakeUpEither) {
    HandOffBackAndForth(quil::platform::parking::Wait, quil::platform::parking::Wake);
}

TEST(WordWait, TheBucketFormReturnsAtOnceOnAChangedWordAndEndsAtItsLimit) {
    std::atomic<uint32_t> word{1};
    quil::platform::parking::Wait(word, 0, -1);
    quil::platform::parking::Wait(word, 1, 1000 * 1000);
    EXPECT_EQ(word.load(), 1u);
}

TEST(WordWait, WakingAllEndsEverySleeper) {
    std::atomic<uint32_t> word{0};
    std::atomic<int> woke{0};
    std::thread sleepers[3];
    for (std::thread& sleeper : sleepers) {
        sleeper = std::thread([&] {
            while (word.load() == 0) WaitOnWord(word, 0, kLimitNs);
            ++woke;
        });
    }
    word.store(1);
    WakeWord(word, true);
    for (std::thread& sleeper : sleepers) sleeper.join();
    EXPECT_EQ(woke.load(), 3);
}

}  // namespace
