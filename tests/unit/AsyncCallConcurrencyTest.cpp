#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "NetworkPoolBarrier.h"
#include "QuilCancelRelease.h"
#include "QuilServiceImpl.h"
#include "ServiceTestHost.h"
#include "TestSync.h"
#include "UTDataSet.h"

using quil::test::NetworkPoolBarrier;
using quil::test::ServiceTestHost;

namespace {

constexpr int kSenders = 4;
constexpr int kCallsPerSender = 500;
constexpr int kTotal = kSenders * kCallsPerSender;

// What happened to each call, by id (1 to kTotal).
struct Outcomes {
    Outcomes() : delivered(kTotal + 1), cancelled(kTotal + 1), failed(kTotal + 1) {}
    std::vector<std::atomic<int>> delivered;
    std::vector<std::atomic<int>> cancelled;
    std::vector<std::atomic<int>> failed;  // delivered with something other than SUCCESS
    std::atomic<int> ended{0};             // deliveries plus successful cancels

    static void Callback(QuilResponse* response, void* userData) {
        Outcomes* outcomes = static_cast<Outcomes*>(userData);
        const int id = response->GetRequest()->GetId();
        if (id >= 1 && id <= kTotal) {
            outcomes->delivered[id].fetch_add(1);
            if (response->GetRetInfo()->retCode != "SUCCESS") outcomes->failed[id].fetch_add(1);
        }
        delete response;
        outcomes->ended.fetch_add(1);
    }

    void Cancel(int id) {
        if (quil::CancelCallAndRelease(id)) {
            cancelled[id].fetch_add(1);
            ended.fetch_add(1);
        }
    }
};

}  // namespace

TEST(AsyncCallConcurrency, CancelsRacingCompletionsLeaveEachCallExactlyOneEnd) {
    QuilServiceImpl* service = ServiceTestHost::Install();
    // The log is left out: thousands of calls would only slow the sanitizers down.
    QuilConfig::GetInstance()->RegisterQuilLog(nullptr);
    ServiceTestHost::Client().SetDefault(
        ServiceTestHost::GatewayAnswer("SUCCESS::ok", "x-retcode: SUCCESS\r\n"));
    // A short exchange keeps sends on the network long enough for cancels to meet them.
    ServiceTestHost::Client().SetDelay(std::chrono::milliseconds(1));
    NetworkPoolBarrier barrier(&ServiceTestHost::Client());
    QuilConfig::GetInstance()->RegisterHttpClient(&barrier);

    Outcomes outcomes;
    std::atomic<int> refused{0};

    // Sweeps over recent ids, withdrawing whatever is on the network at that moment.
    // Every second send, once it reaches the client, is handed to the canceller, whose cancel
    // then races the answer that the client gives after its short delay.
    std::mutex pendingMutex;  // guards pending
    std::condition_variable pendingChanged;
    std::deque<int> pending;
    ServiceTestHost::Client().SetOnSend([&](HttpRequest* httpRequest) {
        if (httpRequest->requestId % 2 != 0) return;
        std::lock_guard<std::mutex> lock(pendingMutex);
        pending.push_back(httpRequest->requestId);
        pendingChanged.notify_one();
    });
    std::thread canceller([&] {
        for (;;) {
            int id = 0;
            {
                std::unique_lock<std::mutex> lock(pendingMutex);
                pendingChanged.wait_for(lock, std::chrono::milliseconds(100),
                                        [&] { return !pending.empty(); });
                if (pending.empty()) {
                    if (outcomes.ended.load() >= kTotal) return;
                    continue;
                }
                id = pending.front();
                pending.pop_front();
            }
            outcomes.Cancel(id);
        }
    });

    std::vector<std::thread> senders;
    for (int s = 0; s < kSenders; ++s) {
        senders.emplace_back([&, s] {
            for (int i = 0; i < kCallsPerSender; ++i) {
                const int id = s * kCallsPerSender + i + 1;
                QuilRequest* request = QuilRequest::Create("mtop.concurrent.async", "1.0");
                request->SetId(id);
                request->SetCallback(&Outcomes::Callback);
                request->SetUserData(&outcomes);
                if (service->SendAsyncRequest(request) != 0) {
                    refused.fetch_add(1);
                    continue;
                }
                // Every third call is withdrawn by its own sender at once: usually too early,
                // sometimes just after its entry went in.
                if (i % 3 == 0) outcomes.Cancel(id);
            }
        });
    }
    for (std::thread& sender : senders) sender.join();
    ASSERT_EQ(refused.load(), 0);
    const bool allEnded = quil::test::WaitUntil([&] { return outcomes.ended.load() >= kTotal; },
                                                std::chrono::seconds(120));
    {
        // Wakes the canceller for good, whatever happened.
        std::lock_guard<std::mutex> lock(pendingMutex);
        outcomes.ended.fetch_add(allEnded ? 0 : kTotal);
    }
    canceller.join();
    ServiceTestHost::Client().SetOnSend(nullptr);
    ASSERT_TRUE(allEnded);
    ASSERT_TRUE(barrier.Drain());

    int cancelledCount = 0;
    for (int id = 1; id <= kTotal; ++id) {
        const int cancelled = outcomes.cancelled[id].load();
        const int delivered = outcomes.delivered[id].load();
        EXPECT_LE(cancelled, 1) << id;
        if (cancelled == 1) {
            ++cancelledCount;
            EXPECT_EQ(delivered, 0) << "a withdrawn call was answered: " << id;
        } else {
            EXPECT_EQ(delivered, 1) << "a call did not end exactly once: " << id;
        }
        EXPECT_EQ(outcomes.failed[id].load(), 0) << id;
    }
    EXPECT_EQ(outcomes.ended.load(), kTotal);
    {
        std::lock_guard<std::recursive_mutex> lock(service->mutex);
        EXPECT_TRUE(service->inFlight.empty());
    }
    // Every measurement was reported or dropped; nothing stays keyed by a freed request.
    EXPECT_EQ(UTDataSet::GetInstance()->Size(), 0u);
    EXPECT_EQ(ServiceTestHost::Statistics().PerformanceReports().size(),
              static_cast<std::size_t>(kTotal - cancelledCount));
    ServiceTestHost::Client().SetDelay(std::chrono::milliseconds(0));
    QuilConfig::GetInstance()->RegisterUTStatistics(nullptr);
    std::printf("withdrawn: %d of %d\n", cancelledCount, kTotal);
}
