// Asynchronous calls end to end: answers arrive through the request's callback on a network
// thread, a failed exchange arrives the same way, and a call withdrawn while its exchange is on
// the network gets no callback although the gateway still answers it.
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "E2eHost.h"
#include "QuilCancelRelease.h"

namespace quil {
namespace test {
namespace {

constexpr std::chrono::seconds kLimit(10);

// Collects the responses that callbacks hand over; the collector owns them from then on.
class CallbackCollector {
public:
    // What a request carries as its user data: the collector and the call's number.
    struct Tag {
        CallbackCollector* collector;
        int index;
    };

    struct Delivery {
        int index = -1;
        std::thread::id thread;
        ResponsePtr response;
    };

    static void OnResponse(QuilResponse* response, void* userData) {
        Tag* tag = static_cast<Tag*>(userData);
        Delivery delivery;
        delivery.index = tag->index;
        delivery.thread = std::this_thread::get_id();
        delivery.response.reset(response);
        CallbackCollector* self = tag->collector;
        std::lock_guard<std::mutex> lock(self->mutex_);
        self->deliveries_.push_back(std::move(delivery));
        self->changed_.notify_all();
    }

    bool WaitFor(std::size_t count) {
        std::unique_lock<std::mutex> lock(mutex_);
        return changed_.wait_for(lock, kLimit, [&] { return deliveries_.size() >= count; });
    }

    std::size_t Count() {
        std::lock_guard<std::mutex> lock(mutex_);
        return deliveries_.size();
    }

    // The deliveries so far, taken out of the collector.
    std::vector<Delivery> Take() {
        std::lock_guard<std::mutex> lock(mutex_);
        return std::move(deliveries_);
    }

private:
    // Guards deliveries_.
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Delivery> deliveries_;
};

class AsyncCall : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(host.Start()); }
    // A callback comes before its completion has returned; the host (and the client the
    // completion reports to) must outlive every completion of an exchange that was made.
    void TearDown() override {
        EXPECT_TRUE(host.Client().WaitForCompletions(host.Client().Count(), kLimit));
    }

    QuilRequest* NewCall(CallbackCollector::Tag* tag) {
        QuilRequest* request = QuilRequest::Create("e2e.echo", "1.0");
        request->AddData("call", tag->index);
        request->SetCallback(&CallbackCollector::OnResponse);
        request->SetUserData(tag);
        return request;
    }

    E2eHost host;
    CallbackCollector collector;
};

TEST_F(AsyncCall, CallbacksDeliverEachAnswerOnANetworkThread) {
    const int kCalls = 3;
    std::vector<CallbackCollector::Tag> tags;
    for (int i = 0; i < kCalls; ++i) {
        tags.push_back({&collector, i});
    }
    for (int i = 0; i < kCalls; ++i) {
        ASSERT_EQ(QuilService::GetInstance()->SendAsyncRequest(NewCall(&tags[i])), 0);
    }
    ASSERT_TRUE(collector.WaitFor(kCalls));

    std::vector<CallbackCollector::Delivery> deliveries = collector.Take();
    ASSERT_EQ(deliveries.size(), static_cast<std::size_t>(kCalls));
    std::vector<bool> seen(kCalls, false);
    for (const CallbackCollector::Delivery& delivery : deliveries) {
        ASSERT_GE(delivery.index, 0);
        ASSERT_LT(delivery.index, kCalls);
        seen[delivery.index] = true;
        EXPECT_NE(delivery.thread, std::this_thread::get_id());
        ASSERT_NE(delivery.response, nullptr);
        EXPECT_EQ(delivery.response->GetStatusCode(), 200);
        EXPECT_TRUE(delivery.response->IsSuccess());
        EXPECT_EQ(delivery.response->GetRetInfo()->retCode, "SUCCESS");
        // Each callback has the answer to its own call.
        EXPECT_EQ(delivery.response->GetBody(),
                  "{\"api\":\"e2e.echo\",\"data\":{\"call\":" + std::to_string(delivery.index) +
                      "},\"ret\":[\"SUCCESS::call succeeded\"],\"v\":\"1.0\"}");
    }
    EXPECT_EQ(seen, std::vector<bool>(kCalls, true));
    const std::vector<ReceivedRequest> received = host.Gateway().Requests();
    ASSERT_EQ(received.size(), static_cast<std::size_t>(kCalls));
    for (const ReceivedRequest& request : received) {
        EXPECT_EQ(request.answerCode, "SUCCESS");
    }
    // Each call reported once, as an asynchronous one.
    const std::vector<StatisticsCall> reports =
        host.Statistics().Calls("CommitPoint", "performance");
    ASSERT_EQ(reports.size(), static_cast<std::size_t>(kCalls));
    for (const StatisticsCall& report : reports) {
        EXPECT_EQ(report.Dimension("isSync"), "false");
        EXPECT_EQ(report.Dimension("errorCode"), "SUCCESS");
    }
}

TEST_F(AsyncCall, NetworkFailureArrivesThroughTheCallback) {
    host.Gateway().Stop();
    CallbackCollector::Tag tag{&collector, 0};
    ASSERT_EQ(QuilService::GetInstance()->SendAsyncRequest(NewCall(&tag)), 0);
    ASSERT_TRUE(collector.WaitFor(1));

    std::vector<CallbackCollector::Delivery> deliveries = collector.Take();
    ASSERT_EQ(deliveries.size(), 1u);
    QuilResponse* response = deliveries[0].response.get();
    ASSERT_NE(response, nullptr);
    ASSERT_EQ(host.Client().Count(), 1u);
    const std::string transportMessage = host.Client().Exchanges().at(0).errorMessage;
    EXPECT_FALSE(transportMessage.empty());
    EXPECT_EQ(response->GetStatusCode(), 0);
    EXPECT_EQ(response->GetRetInfo()->retCode, "FAIL_NETWORK_CONNECT_ERROR");
    EXPECT_EQ(response->GetRetInfo()->retMsg,
              "http connect with error message =  " + transportMessage + ", responseCode = 0");
    EXPECT_EQ(response->GetRetInfo()->errorType, 2);
}

// Holds the call's exchange in the transport, withdraws the call with cancel, then lets the
// exchange run: the gateway answers, the completion drops the answer, no callback comes.
void ExpectCancelledCallGetsNoCallback(E2eHost& host, CallbackCollector& collector, bool byId) {
    CallbackCollector::Tag tag{&collector, 0};
    QuilRequest* request = QuilRequest::Create("e2e.echo", "1.0");
    request->SetCallback(&CallbackCollector::OnResponse);
    request->SetUserData(&tag);
    host.Client().HoldExchanges(true);
    ASSERT_EQ(QuilService::GetInstance()->SendAsyncRequest(request), 0);
    // From here until the hold ends, the call is on the network and in the service's hands.
    ASSERT_TRUE(host.Client().WaitForHeld(1, kLimit));
    const int id = host.Client().HeldRequestIds().at(0);
    ASSERT_NE(id, -1);
    const bool withdrawn = byId ? CancelCallAndRelease(id) : CancelCallAndRelease(request);
    host.Client().HoldExchanges(false);
    EXPECT_TRUE(withdrawn);

    // A running exchange goes on: the gateway answers it, and the completion runs to its end.
    ASSERT_TRUE(host.Gateway().WaitForRequests(1, kLimit));
    ASSERT_TRUE(host.Client().WaitForCompletions(1, kLimit));
    EXPECT_EQ(host.Gateway().Requests().at(0).answerCode, "SUCCESS");
    EXPECT_EQ(collector.Count(), 0u);
    EXPECT_TRUE(host.Statistics().Calls("CommitPoint", "performance").empty());

    // The service goes on serving.
    CallbackCollector::Tag next{&collector, 1};
    QuilRequest* later = QuilRequest::Create("e2e.echo", "1.0");
    later->SetCallback(&CallbackCollector::OnResponse);
    later->SetUserData(&next);
    ASSERT_EQ(QuilService::GetInstance()->SendAsyncRequest(later), 0);
    ASSERT_TRUE(collector.WaitFor(1));
    std::vector<CallbackCollector::Delivery> deliveries = collector.Take();
    ASSERT_EQ(deliveries.size(), 1u);
    EXPECT_EQ(deliveries[0].index, 1);
    EXPECT_TRUE(deliveries[0].response->IsSuccess());
}

TEST_F(AsyncCall, CancelOfTheRequestOnTheNetworkGivesNoCallback) {
    ExpectCancelledCallGetsNoCallback(host, collector, false);
}

TEST_F(AsyncCall, CancelOfTheIdOnTheNetworkGivesNoCallback) {
    ExpectCancelledCallGetsNoCallback(host, collector, true);
}

}  // namespace
}  // namespace test
}  // namespace quil
