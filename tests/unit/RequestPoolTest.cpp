#include "RequestPool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "QuilCallbackRecorder.h"
#include "QuilConfig.h"
#include "QuilRequestImpl.h"
#include "ServiceTestFixture.h"
#include "ServiceTestHost.h"
#include "TestSync.h"

using quil::test::QuilCallbackRecorder;
using quil::test::ServiceTestHost;

namespace {

class RequestPoolTest : public quil::test::ServiceTestFixture {
protected:
    QuilRequestImpl* Make(const std::string& userInfo, int id) {
        QuilRequestImpl* request = new QuilRequestImpl("mtop.pool.api", "1.0");
        request->SetUserInfo(userInfo);
        request->SetId(id);
        request->isAsync = 1;
        recorder.Attach(request);
        service->OpenMetrics(request);
        return request;
    }

    void Park(const std::string& userInfo, int id) {
        RequestPool::addToRequestPool(Make(userInfo, id));
    }

    // The ids of the retries that the log shows, in order.
    static std::vector<int> RetriedIds() {
        std::vector<int> ids;
        for (const std::string& message : ServiceTestHost::Log().Messages()) {
            int id = 0;
            if (std::sscanf(message.c_str(), "retry async QuilRequest id = %d,", &id) == 1) {
                ids.push_back(id);
            }
        }
        return ids;
    }
};

}  // namespace

TEST_F(RequestPoolTest, NullIsNotParked) {
    RequestPool::addToRequestPool(nullptr);
    EXPECT_EQ(RequestPool::Size(), 0u);
}

TEST_F(RequestPoolTest, RetryTakesTheAccountsRequestsOldestFirstAndLeavesTheOthers) {
    Park("alice", 1);
    Park("bob", 2);
    Park("alice", 3);
    Park("", 4);
    EXPECT_EQ(RequestPool::Size(), 4u);
    RequestPool::retryAllRequest("alice");
    EXPECT_EQ(RetriedIds(), (std::vector<int>{1, 3}));
    EXPECT_EQ(RequestPool::Size(), 2u);
    ASSERT_TRUE(recorder.WaitFor(2));
    RequestPool::retryAllRequest("Default");
    RequestPool::retryAllRequest("bob");
    EXPECT_EQ(RetriedIds(), (std::vector<int>{1, 3, 4, 2}));
    ASSERT_TRUE(recorder.WaitFor(4));
    EXPECT_EQ(RequestPool::Size(), 0u);
    for (const quil::test::Delivery& delivery : recorder.Deliveries()) {
        EXPECT_EQ(delivery.retCode, "SUCCESS");
    }
}

TEST_F(RequestPoolTest, TheAccountIsComparedExactly) {
    Park("", 5);
    Park("Alice", 6);
    // An empty request account reads "Default"; only that text matches it.
    RequestPool::retryAllRequest("");
    RequestPool::failAllRequest("alice");
    EXPECT_EQ(RequestPool::Size(), 2u);
    RequestPool::failAllRequest("Default");
    RequestPool::failAllRequest("Alice");
    EXPECT_EQ(recorder.Count(), 2u);
    EXPECT_EQ(RequestPool::Size(), 0u);
}

TEST_F(RequestPoolTest, AFailedRequestEndsWithTheRetryLimitBelowTheLimit) {
    QuilRequestImpl* request = Make("alice", 7);
    request->retryTime = 1;
    RequestPool::addToRequestPool(request);
    Park("bob", 8);
    RequestPool::failAllRequest("alice");
    ASSERT_EQ(recorder.Count(), 1u);
    EXPECT_EQ(recorder.Deliveries()[0].id, 7);
    EXPECT_EQ(recorder.Deliveries()[0].retCode, "FAIL_SYS_RETRY_LIMIT");
    EXPECT_EQ(recorder.Deliveries()[0].retMsg, "request retry many times");
    EXPECT_EQ(ServiceTestHost::Statistics().LastPerformanceReport().dimensions["retryTime"], "1");
    // The other account's request still waits.
    EXPECT_EQ(RequestPool::Size(), 1u);
    RequestPool::failAllRequest("bob");
    EXPECT_EQ(recorder.Count(), 2u);
}

TEST_F(RequestPoolTest, ARequestAtTheLimitIsNotRunAgainAfterASuccessfulLogin) {
    QuilRequestImpl* request = Make("alice", 9);
    request->retryTime = 3;
    RequestPool::addToRequestPool(request);
    RequestPool::retryAllRequest("alice");
    ASSERT_EQ(recorder.Count(), 1u);
    EXPECT_EQ(recorder.Deliveries()[0].retCode, "FAIL_SYS_RETRY_LIMIT");
    EXPECT_EQ(ServiceTestHost::Client().SendCount(), 0u);
}

TEST_F(RequestPoolTest, ACallbackMayUseThePoolWithoutDeadlock) {
    Park("alice", 10);
    Park("alice", 11);
    // The host's callback parks another request of the account and asks the pool again, as a
    // host that starts a new call from its callback makes the library do.
    std::atomic<int> parked{0};
    recorder.SetOnDeliver([this, &parked](QuilResponse*) {
        if (parked.fetch_add(1) == 0) {
            Park("alice", 12);
        }
        RequestPool::Size();
    });
    quil::test::Latch done(1);
    std::thread failing([&done] {
        RequestPool::failAllRequest("alice");
        done.CountDown();
    });
    const bool ended = done.Wait();
    if (!ended) {
        failing.detach();  // a deadlocked thread cannot be joined; the test fails below
    } else {
        failing.join();
    }
    ASSERT_TRUE(ended);
    EXPECT_EQ(recorder.Count(), 2u);
    // The request parked during the walk waits for the next login's end.
    EXPECT_EQ(RequestPool::Size(), 1u);
    recorder.SetOnDeliver(nullptr);
    RequestPool::failAllRequest("alice");
    EXPECT_EQ(recorder.Count(), 3u);
}
