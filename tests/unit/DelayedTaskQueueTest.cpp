// The timer thread that reports overlong traffic judgements: deadline order, removal, teardown.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <mutex>
#include <vector>

#include "DelayedTaskQueue.h"

namespace {

constexpr int64_t kMillisecond = 1000000;

// Records the order in which tasks run, and lets a test wait for a number of them.
class RunOrder {
public:
    std::function<void()> Task(int label) {
        return [this, label] {
            std::lock_guard<std::mutex> lock(mutex_);
            order_.push_back(label);
            if (order_.size() == expected_) done_.set_value();
        };
    }
    void Expect(std::size_t count) { expected_ = count; }
    bool Wait() {
        return done_.get_future().wait_for(std::chrono::seconds(10)) == std::future_status::ready;
    }
    std::vector<int> Order() {
        std::lock_guard<std::mutex> lock(mutex_);
        return order_;
    }

private:
    std::mutex mutex_;  // guards order_
    std::vector<int> order_;
    std::size_t expected_ = 0;
    std::promise<void> done_;
};

TEST(DelayedTaskQueue, TwoEqualDeadlinesFireInTheOrderOfAdding) {
    RunOrder run;
    run.Expect(3);
    DelayedTaskQueue queue;
    const int64_t deadline = DelayedTaskQueue::Now() + 50 * kMillisecond;
    queue.AddTask(run.Task(1), deadline);
    queue.AddTask(run.Task(2), deadline);
    queue.AddTask(run.Task(3), deadline);
    ASSERT_TRUE(run.Wait());
    EXPECT_EQ(run.Order(), (std::vector<int>{1, 2, 3}));
}

TEST(DelayedTaskQueue, AnEarlierTaskAddedLaterFiresFirst) {
    RunOrder run;
    run.Expect(3);
    DelayedTaskQueue queue;
    const int64_t now = DelayedTaskQueue::Now();
    queue.AddTask(run.Task(1), now + 300 * kMillisecond);
    queue.AddTask(run.Task(2), now + 200 * kMillisecond);
    queue.AddTask(run.Task(3), now + 100 * kMillisecond);
    ASSERT_TRUE(run.Wait());
    EXPECT_EQ(run.Order(), (std::vector<int>{3, 2, 1}));
}

TEST(DelayedTaskQueue, ATaskWhoseDeadlineHasPassedRunsAtOnce) {
    RunOrder run;
    run.Expect(1);
    DelayedTaskQueue queue;
    queue.AddTask(run.Task(1), DelayedTaskQueue::Now() - kMillisecond);
    ASSERT_TRUE(run.Wait());
}

TEST(DelayedTaskQueue, ARemovedTaskNeverRuns) {
    RunOrder run;
    run.Expect(1);
    DelayedTaskQueue queue;
    const int64_t now = DelayedTaskQueue::Now();
    // Two seconds: no pause of a loaded machine between adding and removing comes near it. The
    // marker shares the deadline and was added later, so it would run second if the removed
    // task were still there.
    const int64_t deadline = now + 2000 * kMillisecond;
    const int32_t removed = queue.AddTask(run.Task(1), deadline);
    queue.AddTask(run.Task(2), deadline);
    EXPECT_TRUE(queue.RemoveTask(removed));
    EXPECT_FALSE(queue.RemoveTask(removed));
    EXPECT_EQ(queue.PendingCount(), 1u);
    ASSERT_TRUE(run.Wait());
    EXPECT_EQ(run.Order(), (std::vector<int>{2}));
}

TEST(DelayedTaskQueue, ATaskThatHasRunCannotBeRemoved) {
    RunOrder run;
    run.Expect(1);
    DelayedTaskQueue queue;
    const int32_t id = queue.AddTask(run.Task(1), DelayedTaskQueue::Now());
    ASSERT_TRUE(run.Wait());
    EXPECT_FALSE(queue.RemoveTask(id));
}

TEST(DelayedTaskQueue, IdsComeFromOneProcessWideCounterStartingAtOne) {
    DelayedTaskQueue first;
    DelayedTaskQueue second;
    const int64_t later = DelayedTaskQueue::Now() + 3600LL * 1000 * kMillisecond;
    EXPECT_EQ(first.AddTask([] {}, later), 1);
    EXPECT_EQ(second.AddTask([] {}, later), 2);
    EXPECT_EQ(first.AddTask([] {}, later), 3);
}

TEST(DelayedTaskQueue, TeardownStopsTheThreadAndDropsWhatRemainsUnrun) {
    auto ran = std::make_shared<std::atomic<bool>>(false);
    {
        DelayedTaskQueue queue;
        queue.AddTask([ran] { ran->store(true); },
                      DelayedTaskQueue::Now() + 3600LL * 1000 * kMillisecond);
    }
    EXPECT_FALSE(ran->load());
}

TEST(DelayedTaskQueue, TheProcessWideQueueIsOneObject) {
    EXPECT_EQ(&DelayedTaskQueue::Instance(), &DelayedTaskQueue::Instance());
    RunOrder run;
    run.Expect(1);
    DelayedTaskQueue::Instance().AddTask(run.Task(1), DelayedTaskQueue::Now());
    ASSERT_TRUE(run.Wait());
}

}  // namespace
