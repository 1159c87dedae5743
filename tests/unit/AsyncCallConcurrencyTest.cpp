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

#include "FilterManager.h"
#include "NetworkPoolBarrier.h"
#include "PipelineReentry.h"
#include "QuilCancelRelease.h"
#include "QuilRequestImpl.h"
#include "QuilServiceImpl.h"
#include "ScriptedFilters.h"
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

// The service, with no log sink (thousands of calls would only slow the sanitizers down) and a
// client that answers every send with a success.
QuilServiceImpl* InstallQuietSucceedingService() {
    QuilServiceImpl* service = ServiceTestHost::Install();
    QuilConfig::GetInstance()->RegisterQuilLog(nullptr);
    ServiceTestHost::Client().SetDefault(
        ServiceTestHost::GatewayAnswer("SUCCESS::ok", "x-retcode: SUCCESS\r\n"));
    return service;
}

}  // namespace

TEST(AsyncCallConcurrency, CancelsRacingCompletionsLeaveEachCallExactlyOneEnd) {
    QuilServiceImpl* service = InstallQuietSucceedingService();
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
    { EXPECT_EQ(service->calls.InFlightCount(), 0u); }
    // Every measurement was reported or dropped; nothing stays keyed by a freed request.
    EXPECT_EQ(UTDataSet::GetInstance()->Size(), 0u);
    EXPECT_EQ(ServiceTestHost::Statistics().PerformanceReports().size(),
              static_cast<std::size_t>(kTotal - cancelledCount));
    ServiceTestHost::Client().SetDelay(std::chrono::milliseconds(0));
    QuilConfig::GetInstance()->RegisterUTStatistics(nullptr);
    std::printf("withdrawn: %d of %d\n", cancelledCount, kTotal);
}

TEST(AsyncCallConcurrency, PassesHandedOnByFiltersStillEndExactlyOnce) {
    QuilServiceImpl* service = InstallQuietSucceedingService();
    NetworkPoolBarrier barrier(&ServiceTestHost::Client());
    QuilConfig::GetInstance()->RegisterHttpClient(&barrier);
    constexpr int kCalls = 1200;

    // Every fourth call is parked by the before chain on its first pass, as for a login, and
    // the stand-in pool runs it again from another thread at once; every third call is sent
    // round again by an after filter on its first answer.
    std::mutex parkedMutex;  // guards parked and parkingDone
    std::condition_variable parkedChanged;
    std::deque<QuilRequest*> parked;
    bool parkingDone = false;
    std::vector<std::atomic<int>> reentered(kCalls + 1);

    FilterManager::BeforeChain before;
    before.emplace_back(new quil::test::ScriptedBeforeFilter("b_ut", nullptr));
    before.emplace_back(new quil::test::ScriptedBeforeFilter("b_setup_request", nullptr));
    before.emplace_back(new quil::test::ScriptedBeforeFilter(
        "b_login", nullptr, [&](QuilRequest* request, FilterResult* result) {
            QuilRequestImpl* impl = dynamic_cast<QuilRequestImpl*>(request);
            if (impl->GetId() % 4 != 0 || impl->retryTime != 0) return;
            result->waiting = true;
            result->code = 1;
            std::lock_guard<std::mutex> lock(parkedMutex);
            parked.push_back(request);
            parkedChanged.notify_one();
        }));
    FilterManager::AfterChain after;
    after.emplace_back(new quil::test::ScriptedAfterFilter(
        "a_time_calibration", nullptr,
        [&](QuilRequest* request, QuilResponse* response, FilterResult* result) {
            const int id = request->GetId();
            if (id % 3 != 0 || reentered[id].fetch_add(1) != 0) return;
            PipelineReentry::Reenter(request, response, result);
        }));
    FilterManager manager(std::move(before), std::move(after));
    service->filterManager = &manager;

    std::thread pool([&] {
        for (;;) {
            QuilRequest* request = nullptr;
            {
                std::unique_lock<std::mutex> lock(parkedMutex);
                parkedChanged.wait(lock, [&] { return !parked.empty() || parkingDone; });
                if (parked.empty()) return;
                request = parked.front();
                parked.pop_front();
            }
            service->RetryRequest(request);
        }
    });

    Outcomes outcomes;
    std::vector<std::thread> senders;
    for (int s = 0; s < kSenders; ++s) {
        senders.emplace_back([&, s] {
            for (int id = s + 1; id <= kCalls; id += kSenders) {
                QuilRequest* request = QuilRequest::Create("mtop.concurrent.handover", "1.0");
                request->SetId(id);
                request->SetCallback(&Outcomes::Callback);
                request->SetUserData(&outcomes);
                EXPECT_EQ(service->SendAsyncRequest(request), 0);
            }
        });
    }
    for (std::thread& sender : senders) sender.join();
    const bool allEnded = quil::test::WaitUntil([&] { return outcomes.ended.load() >= kCalls; },
                                                std::chrono::seconds(120));
    {
        std::lock_guard<std::mutex> lock(parkedMutex);
        parkingDone = true;
        parkedChanged.notify_one();
    }
    pool.join();
    ASSERT_TRUE(allEnded);
    ASSERT_TRUE(barrier.Drain());

    for (int id = 1; id <= kCalls; ++id) {
        EXPECT_EQ(outcomes.delivered[id].load(), 1) << id;
        EXPECT_EQ(outcomes.failed[id].load(), 0) << id;
    }
    // One report per call, whose retry count adds up the two ways round.
    std::vector<quil::test::StatisticsCall> reports =
        ServiceTestHost::Statistics().PerformanceReports();
    ASSERT_EQ(reports.size(), static_cast<std::size_t>(kCalls));
    int retries = 0;
    for (quil::test::StatisticsCall& report : reports) {
        retries += std::stoi(report.dimensions["retryTime"]);
    }
    int expected = 0;
    for (int id = 1; id <= kCalls; ++id) {
        expected += (id % 4 == 0 ? 1 : 0) + (id % 3 == 0 ? 1 : 0);
    }
    EXPECT_EQ(retries, expected);
    EXPECT_EQ(UTDataSet::GetInstance()->Size(), 0u);
    service->filterManager = FilterManager::GetInstance();
    QuilConfig::GetInstance()->RegisterUTStatistics(nullptr);
}

// A host that polls IsCancelled on one thread while another thread cancels the call: the flag
// is written by CancelCall and read by the host with no lock between them.
TEST(AsyncCallConcurrency, AHostPollingIsCancelledSeesAConcurrentCancel) {
    QuilServiceImpl* service = InstallQuietSucceedingService();
    NetworkPoolBarrier barrier(&ServiceTestHost::Client());
    QuilConfig::GetInstance()->RegisterHttpClient(&barrier);
    ServiceTestHost::Client().CloseGate();

    Outcomes outcomes;
    QuilRequestImpl* request = new QuilRequestImpl("quil.cancel.poll", "1.0");
    request->SetCallback(&Outcomes::Callback);
    request->SetUserData(&outcomes);
    ASSERT_EQ(service->SendAsyncRequest(request), 0);
    ASSERT_TRUE(ServiceTestHost::Client().WaitForSends(1));

    std::atomic<bool> seen{false};
    std::thread poller([&] {
        seen.store(quil::test::WaitUntil([&] { return request->IsCancelled(); },
                                         std::chrono::seconds(10)));
    });
    std::thread canceller([&] { service->CancelCall(request); });
    canceller.join();
    poller.join();
    EXPECT_TRUE(seen.load());

    ServiceTestHost::Client().OpenGate();
    ASSERT_TRUE(barrier.Drain());
    // Withdrawn, no callback came, and the answer that came late found no entry; nothing of
    // the library holds the request any more, so the test frees it.
    EXPECT_EQ(outcomes.ended.load(), 0);
    delete request;
}
