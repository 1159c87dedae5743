#include "ThreadPool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "TestSync.h"

using quil::test::Gate;
using quil::test::Latch;
using quil::test::WaitUntil;

namespace {

// Records task names in the order they ran.
class RunLog {
public:
    void Add(const std::string& name) {
        std::lock_guard<std::mutex> lock(mutex_);
        names_.push_back(name);
    }
    std::vector<std::string> Names() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return names_;
    }

private:
    mutable std::mutex mutex_;  // guards names_
    std::vector<std::string> names_;
};

// Occupies the only worker of a (1, 1) pool until the gate opens.
void OccupyWorker(ThreadPool* pool, Latch& started, Gate& release) {
    pool->AddTask(
        [&started, &release] {
            started.CountDown();
            release.Pass();
        },
        "blocker");
    ASSERT_TRUE(started.Wait());
}

// Stops the pool and waits until it has freed itself, so that nothing outlives the test.
void StopAndWaitFreed(ThreadPool* pool) {
    pool->Stop();
    ASSERT_TRUE(WaitUntil([] { return ThreadPool::LivePoolCount() == 0; }));
}

}  // namespace

TEST(ThreadPool, ZeroBoundsGiveMinimumZeroAndMaximumOne) {
    auto* pool = new ThreadPool(0, 0);
    EXPECT_EQ(pool->MinThreads(), 0u);
    EXPECT_EQ(pool->MaxThreads(), 1u);
    EXPECT_EQ(pool->ThreadCount(), 0u);
    StopAndWaitFreed(pool);
}

TEST(ThreadPool, ZeroBoundsFirstTaskStartsOneWorkerThroughTheQueueTest) {
    auto* pool = new ThreadPool(0, 0);
    Latch ran(1);
    pool->AddTask([&ran] { ran.CountDown(); }, "first");
    EXPECT_EQ(pool->ThreadCount(), 1u);
    EXPECT_TRUE(ran.Wait());
    StopAndWaitFreed(pool);
}

TEST(ThreadPool, LargerBoundBecomesTheMaximum) {
    auto* pool = new ThreadPool(5, 2);
    EXPECT_EQ(pool->MinThreads(), 5u);
    EXPECT_EQ(pool->MaxThreads(), 5u);
    StopAndWaitFreed(pool);
}

TEST(ThreadPool, ConstructorStartsNoThread) {
    auto* pool = new ThreadPool(5, 5);
    EXPECT_EQ(pool->ThreadCount(), 0u);
    EXPECT_EQ(pool->CurrentState(), ThreadPool::Running);
    StopAndWaitFreed(pool);
}

TEST(ThreadPool, EqualBoundsStartOneWorkerPerCallUpToTheMinimumThenNone) {
    auto* pool = new ThreadPool(5, 5);
    for (uint32_t i = 1; i <= 5; ++i) {
        Latch ran(1);
        pool->AddTask([&ran] { ran.CountDown(); }, "task");
        ASSERT_TRUE(ran.Wait());
        // The task has finished, and still each call below the minimum started a worker.
        ASSERT_TRUE(WaitUntil([pool] { return pool->BusyCount() == 0; }));
        EXPECT_EQ(pool->ThreadCount(), i);
    }
    Latch ran(1);
    pool->AddTask([&ran] { ran.CountDown(); }, "sixth");
    EXPECT_EQ(pool->ThreadCount(), 5u);
    EXPECT_TRUE(ran.Wait());
    EXPECT_EQ(pool->ThreadCount(), 5u);
    StopAndWaitFreed(pool);
}

TEST(ThreadPool, TasksRunInTheOrderTheyWereAdded) {
    auto* pool = new ThreadPool(1, 1);
    RunLog log;
    Latch done(5);
    for (int i = 0; i < 5; ++i) {
        const std::string name = "t" + std::to_string(i);
        pool->AddTask(
            [&log, &done, name] {
                log.Add(name);
                done.CountDown();
            },
            name);
    }
    ASSERT_TRUE(done.Wait());
    EXPECT_EQ(log.Names(), (std::vector<std::string>{"t0", "t1", "t2", "t3", "t4"}));
    StopAndWaitFreed(pool);
}

TEST(ThreadPool, CancelTaskOfUnknownNameDoesNothing) {
    auto* pool = new ThreadPool(1, 1);
    Latch started(1);
    Gate release;
    OccupyWorker(pool, started, release);
    Latch ran(1);
    pool->AddTask([&ran] { ran.CountDown(); }, "queued");
    pool->CancelTask("other");
    pool->CancelTask("queue");
    pool->CancelTask("queuedx");
    EXPECT_EQ(pool->QueueLength(), 1u);
    release.Open();
    EXPECT_TRUE(ran.Wait());
    StopAndWaitFreed(pool);
}

TEST(ThreadPool, CancelTaskOfARunningTaskLetsItRunToItsEnd) {
    auto* pool = new ThreadPool(1, 1);
    Latch started(1);
    Gate release;
    Latch finished(1);
    pool->AddTask(
        [&] {
            started.CountDown();
            release.Pass();
            finished.CountDown();
        },
        "running");
    ASSERT_TRUE(started.Wait());
    pool->CancelTask("running");
    release.Open();
    EXPECT_TRUE(finished.Wait());
    StopAndWaitFreed(pool);
}

TEST(ThreadPool, CancelTaskRemovesOldestOfSameName) {
    auto* pool = new ThreadPool(1, 1);
    Latch started(1);
    Gate release;
    OccupyWorker(pool, started, release);
    RunLog log;
    Latch done(2);
    for (const char* label : {"older", "other", "newer"}) {
        const std::string what = label;
        const std::string name = what == "other" ? "other" : "same";
        pool->AddTask(
            [&log, &done, what] {
                log.Add(what);
                done.CountDown();
            },
            name);
    }
    pool->CancelTask("same");
    EXPECT_EQ(pool->QueueLength(), 2u);
    release.Open();
    ASSERT_TRUE(done.Wait());
    EXPECT_EQ(log.Names(), (std::vector<std::string>{"other", "newer"}));
    StopAndWaitFreed(pool);
}

TEST(ThreadPool, CancelTaskComparesWholeNamesIncludingEmbeddedZeroBytes) {
    auto* pool = new ThreadPool(1, 1);
    Latch started(1);
    Gate release;
    OccupyWorker(pool, started, release);
    const std::string withZero("ab\0c", 4);
    pool->AddTask([] {}, withZero);
    pool->CancelTask("ab");
    EXPECT_EQ(pool->QueueLength(), 1u);
    pool->CancelTask(withZero);
    EXPECT_EQ(pool->QueueLength(), 0u);
    release.Open();
    StopAndWaitFreed(pool);
}

TEST(ThreadPool, AfterCancelTaskWorkersWakeFindNothingAndWaitAgain) {
    auto* pool = new ThreadPool(1, 1);
    Latch started(1);
    Gate release;
    OccupyWorker(pool, started, release);
    std::atomic<bool> cancelledRan{false};
    pool->AddTask([&cancelledRan] { cancelledRan = true; }, "cancelled");
    pool->CancelTask("cancelled");
    release.Open();
    // The worker takes the spare token, finds an empty queue and stays.
    ASSERT_TRUE(WaitUntil([pool] { return pool->BusyCount() == 0; }));
    EXPECT_EQ(pool->ThreadCount(), 1u);
    // It still serves the next task.
    Latch ran(1);
    pool->AddTask([&ran] { ran.CountDown(); }, "next");
    EXPECT_TRUE(ran.Wait());
    EXPECT_EQ(pool->ThreadCount(), 1u);
    EXPECT_FALSE(cancelledRan);
    StopAndWaitFreed(pool);
}

TEST(ThreadPool, AfterClearTasksWorkersWakeFindNothingAndWaitAgain) {
    auto* pool = new ThreadPool(2, 2);
    Latch started(1);
    Gate release;
    OccupyWorker(pool, started, release);
    std::atomic<int> clearedRan{0};
    // The second worker starts on the first of these (below the minimum).
    Latch secondBusy(1);
    Gate secondRelease;
    pool->AddTask(
        [&] {
            secondBusy.CountDown();
            secondRelease.Pass();
        },
        "second");
    ASSERT_TRUE(secondBusy.Wait());
    for (int i = 0; i < 3; ++i) pool->AddTask([&clearedRan] { ++clearedRan; }, "cleared");
    EXPECT_EQ(pool->QueueLength(), 3u);
    pool->ClearTasks();
    EXPECT_EQ(pool->QueueLength(), 0u);
    release.Open();
    secondRelease.Open();
    ASSERT_TRUE(WaitUntil([pool] { return pool->BusyCount() == 0; }));
    EXPECT_EQ(pool->ThreadCount(), 2u);
    Latch ran(1);
    pool->AddTask([&ran] { ran.CountDown(); }, "next");
    EXPECT_TRUE(ran.Wait());
    EXPECT_EQ(pool->ThreadCount(), 2u);
    EXPECT_EQ(clearedRan, 0);
    StopAndWaitFreed(pool);
}

TEST(ThreadPool, StopLetsRunningTasksFinishAndNeverRunsQueuedOnes) {
    auto* pool = new ThreadPool(1, 1);
    Latch started(1);
    Gate release;
    Latch finished(1);
    pool->AddTask(
        [&] {
            started.CountDown();
            release.Pass();
            finished.CountDown();
        },
        "running");
    ASSERT_TRUE(started.Wait());
    std::atomic<int> queuedRan{0};
    auto sentinel = std::make_shared<int>(0);
    for (int i = 0; i < 3; ++i) {
        pool->AddTask([&queuedRan, sentinel] { ++queuedRan; }, "queued");
    }
    EXPECT_EQ(sentinel.use_count(), 4);
    pool->Stop();
    release.Open();
    EXPECT_TRUE(finished.Wait());
    ASSERT_TRUE(WaitUntil([] { return ThreadPool::LivePoolCount() == 0; }));
    EXPECT_EQ(queuedRan, 0);
    // The queued tasks were destroyed with the pool.
    EXPECT_EQ(sentinel.use_count(), 1);
}

TEST(ThreadPool, StopOnAPoolThatNeverReceivedATaskDestroysItAtOnce) {
    auto* pool = new ThreadPool(5, 5);
    EXPECT_EQ(ThreadPool::LivePoolCount(), 1);
    pool->Stop();
    EXPECT_EQ(ThreadPool::LivePoolCount(), 0);
}

TEST(ThreadPool, StoppedPoolIsFreedByItsLastWorker) {
    auto* pool = new ThreadPool(3, 3);
    Latch ran(3);
    for (int i = 0; i < 3; ++i) pool->AddTask([&ran] { ran.CountDown(); }, "t");
    ASSERT_TRUE(ran.Wait());
    EXPECT_EQ(ThreadPool::LivePoolCount(), 1);
    pool->Stop();
    EXPECT_TRUE(WaitUntil([] { return ThreadPool::LivePoolCount() == 0; }));
}

TEST(ThreadPool, AddTaskAfterStopIsDroppedSilently) {
    auto* pool = new ThreadPool(1, 1);
    Latch started(1);
    Gate stopped;
    Latch added(1);
    std::atomic<bool> lateRan{false};
    // The running task keeps the pool alive after Stop and adds a task to the stopping pool.
    pool->AddTask(
        [&, pool] {
            started.CountDown();
            stopped.Pass();
            pool->AddTask([&lateRan] { lateRan = true; }, "late");
            EXPECT_EQ(pool->QueueLength(), 0u);
            EXPECT_EQ(pool->CurrentState(), ThreadPool::Stopping);
            added.CountDown();
        },
        "running");
    ASSERT_TRUE(started.Wait());
    pool->Stop();
    stopped.Open();
    EXPECT_TRUE(added.Wait());
    ASSERT_TRUE(WaitUntil([] { return ThreadPool::LivePoolCount() == 0; }));
    EXPECT_FALSE(lateRan);
}

TEST(ThreadPool, ATaskMayAddTasksToItsOwnPool) {
    auto* pool = new ThreadPool(1, 1);
    Latch inner(1);
    pool->AddTask([pool, &inner] { pool->AddTask([&inner] { inner.CountDown(); }, "inner"); },
                  "outer");
    EXPECT_TRUE(inner.Wait());
    StopAndWaitFreed(pool);
}

TEST(ThreadPool, WorkersAboveTheMinimumStartWhenTheQueueOutgrowsIdleWorkers) {
    auto* pool = new ThreadPool(0, 3);
    Latch started(1);
    Gate release;
    OccupyWorker(pool, started, release);
    EXPECT_EQ(pool->ThreadCount(), 1u);
    pool->AddTask([] {}, "second");
    EXPECT_EQ(pool->ThreadCount(), 2u);
    release.Open();
    StopAndWaitFreed(pool);
}

TEST(ThreadPool, IdleWorkerAboveTheMinimumLeavesWhenItsWaitTimesOut) {
    auto* pool = new ThreadPool(0, 2);
    pool->SetIdleTimeoutSeconds(1);
    Latch ran(1);
    pool->AddTask([&ran] { ran.CountDown(); }, "only");
    ASSERT_TRUE(ran.Wait());
    EXPECT_TRUE(WaitUntil([pool] { return pool->ThreadCount() == 0; }));
    // The pool lives on and starts a worker again for new work.
    Latch again(1);
    pool->AddTask([&again] { again.CountDown(); }, "again");
    EXPECT_TRUE(again.Wait());
    StopAndWaitFreed(pool);
}

TEST(ThreadPool, IdleWorkerAtTheMinimumStaysWhenItsWaitTimesOut) {
    auto* pool = new ThreadPool(1, 1);
    pool->SetIdleTimeoutSeconds(1);
    Latch ran(1);
    pool->AddTask([&ran] { ran.CountDown(); }, "only");
    ASSERT_TRUE(ran.Wait());
    // Let at least two timeouts pass: the worker at the minimum stays.
    Latch never(1);
    EXPECT_FALSE(never.Wait(std::chrono::milliseconds(2500)));
    EXPECT_EQ(pool->ThreadCount(), 1u);
    StopAndWaitFreed(pool);
}

TEST(ThreadPoolSemaphore, TimedWaitWithoutPostReportsTimeoutAndGivesTheTokenBack) {
    ThreadPoolSemaphore semaphore;
    EXPECT_TRUE(semaphore.Wait(1));
    EXPECT_EQ(semaphore.Count(), 0);
}

TEST(ThreadPoolSemaphore, PostedTokenIsTakenWithoutWaiting) {
    ThreadPoolSemaphore semaphore;
    semaphore.Post();
    EXPECT_EQ(semaphore.Count(), 1);
    EXPECT_FALSE(semaphore.Wait(0));
    EXPECT_EQ(semaphore.Count(), 0);
}

namespace {
// Wakes the semaphore's waiters many times without a post, as spurious wake-ups would, until
// one of them returns or the rounds run out.
void WakeSpuriously(ThreadPoolSemaphore& semaphore, const std::atomic<int>& returned, int before) {
    for (int i = 0; i < 2000 && returned.load() == before; ++i) {
        semaphore.WakeWaitersForTesting();
        std::this_thread::yield();
    }
}
}  // namespace

TEST(ThreadPoolSemaphore, ASpuriousWakeUpNeitherEndsAWaitNorCostsAToken) {
    ThreadPoolSemaphore semaphore;
    std::atomic<int> returned{0};
    std::thread first([&] {
        semaphore.Wait(0);
        ++returned;
    });
    std::thread second([&] {
        semaphore.Wait(0);
        ++returned;
    });
    ASSERT_TRUE(WaitUntil([&] { return semaphore.Count() == -2; }));
    WakeSpuriously(semaphore, returned, 0);
    EXPECT_EQ(returned.load(), 0);
    EXPECT_EQ(semaphore.Count(), -2);

    // One token wakes exactly one waiter; the other waits on through more wake-ups.
    semaphore.Post();
    ASSERT_TRUE(WaitUntil([&] { return returned.load() == 1; }));
    WakeSpuriously(semaphore, returned, 1);
    EXPECT_EQ(returned.load(), 1);
    EXPECT_EQ(semaphore.Count(), -1);

    semaphore.Post();
    first.join();
    second.join();
    EXPECT_EQ(returned.load(), 2);
    EXPECT_EQ(semaphore.Count(), 0);
}
