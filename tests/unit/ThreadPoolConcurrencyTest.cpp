#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "TestSync.h"
#include "ThreadPool.h"

using quil::test::Latch;
using quil::test::WaitUntil;

TEST(ThreadPoolConcurrency, ManyThreadsAddingTasksEachTaskRunsOnce) {
    auto* pool = new ThreadPool(5, 5);
    constexpr int kThreads = 8;
    constexpr int kTasks = 300;
    std::atomic<int> ran{0};
    Latch done(kThreads * kTasks);
    std::vector<std::thread> adders;
    for (int t = 0; t < kThreads; ++t) {
        adders.emplace_back([pool, &ran, &done, t] {
            for (int i = 0; i < kTasks; ++i) {
                pool->AddTask(
                    [&ran, &done] {
                        ++ran;
                        done.CountDown();
                    },
                    std::to_string(t));
            }
        });
    }
    for (auto& adder : adders) adder.join();
    ASSERT_TRUE(done.Wait());
    EXPECT_EQ(ran, kThreads * kTasks);
    EXPECT_EQ(pool->ThreadCount(), 5u);
    pool->Stop();
    EXPECT_TRUE(WaitUntil([] { return ThreadPool::LivePoolCount() == 0; }));
}

TEST(ThreadPoolConcurrency, CancelAndClearRaceWithAddingAndRunning) {
    auto* pool = new ThreadPool(3, 3);
    constexpr int kTasks = 500;
    std::atomic<int> ran{0};
    std::thread adder([pool, &ran] {
        for (int i = 0; i < kTasks; ++i) pool->AddTask([&ran] { ++ran; }, std::to_string(i % 7));
    });
    std::thread canceller([pool] {
        for (int i = 0; i < kTasks; ++i) {
            pool->CancelTask(std::to_string(i % 7));
            if (i % 50 == 0) pool->ClearTasks();
        }
    });
    adder.join();
    canceller.join();
    // Whatever survived runs; then a marker task proves the workers are still serving.
    Latch marker(1);
    pool->AddTask([&marker] { marker.CountDown(); }, "marker");
    EXPECT_TRUE(marker.Wait());
    EXPECT_LE(ran.load(), kTasks);
    EXPECT_EQ(pool->ThreadCount(), 3u);
    pool->Stop();
    EXPECT_TRUE(WaitUntil([] { return ThreadPool::LivePoolCount() == 0; }));
}

TEST(ThreadPoolConcurrency, StopRacingTheLastWorkerFreesEachPoolExactlyOnce) {
    // Stop comes while workers are finishing their tasks and leaving; whichever of Stop and
    // the last worker comes last frees the pool, and only it.
    constexpr int kPools = 150;
    std::atomic<int> ran{0};
    for (int p = 0; p < kPools; ++p) {
        auto* pool = new ThreadPool(2, 2);
        for (int i = 0; i < 4; ++i) pool->AddTask([&ran] { ++ran; }, "t");
        pool->Stop();
    }
    EXPECT_TRUE(WaitUntil([] { return ThreadPool::LivePoolCount() == 0; }));
    EXPECT_LE(ran.load(), kPools * 4);
}

TEST(ThreadPoolConcurrency, StopFromAnotherThreadWhileWorkersRun) {
    constexpr int kRounds = 50;
    std::atomic<int> ran{0};
    for (int round = 0; round < kRounds; ++round) {
        auto* pool = new ThreadPool(2, 2);
        for (int i = 0; i < 20; ++i) pool->AddTask([&ran] { ++ran; }, "t");
        // The pool is handed to another thread, which gives it up while tasks still run.
        std::thread stopper([pool] { pool->Stop(); });
        stopper.join();
    }
    EXPECT_TRUE(WaitUntil([] { return ThreadPool::LivePoolCount() == 0; }));
    EXPECT_LE(ran.load(), kRounds * 20);
}

TEST(ThreadPoolConcurrency, TasksAddedFromInsideTasksWhileStopping) {
    auto* pool = new ThreadPool(3, 3);
    std::atomic<int> ran{0};
    Latch started(3);
    quil::test::Gate release;
    for (int i = 0; i < 3; ++i) {
        pool->AddTask(
            [pool, &ran, &started, &release] {
                started.CountDown();
                release.Pass();
                // The pool is Stopping here; these are dropped.
                for (int k = 0; k < 10; ++k) pool->AddTask([&ran] { ++ran; }, "late");
            },
            "running");
    }
    ASSERT_TRUE(started.Wait());
    pool->Stop();
    release.Open();
    EXPECT_TRUE(WaitUntil([] { return ThreadPool::LivePoolCount() == 0; }));
    EXPECT_EQ(ran, 0);
}
