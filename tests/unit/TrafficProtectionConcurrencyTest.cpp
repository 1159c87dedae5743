// Bans, resends and cookie reads from many threads at once: every call ends exactly once, the
// ban table stays whole, and nothing leaks.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "FakeCookieStorage.h"
#include "FilterManager.h"
#include "NetworkPoolBarrier.h"
#include "QuilCallbackRecorder.h"
#include "QuilConfig.h"
#include "QuilRequestImpl.h"
#include "QuilResponseImpl.h"
#include "QuilServiceImpl.h"
#include "ServiceTestHost.h"
#include "ThresholdBeforeFilter.h"
#include "UTDataSet.h"

using quil::test::NetworkPoolBarrier;
using quil::test::QuilCallbackRecorder;
using quil::test::ScriptedResponse;
using quil::test::ServiceTestHost;
using quil::test::Verdict;

namespace {

ScriptedResponse Challenge(int status) {
    ScriptedResponse response;
    response.statusCode = status;
    response.header = "HTTP/1.1 " + std::to_string(status) + " Challenge\r\n";
    response.body = "{\"ret\":[\"FAIL_SYS_TRAFFIC_LIMIT::busy\"]}";
    return response;
}

}  // namespace

TEST(TrafficProtectionConcurrency, AHostRegisteringWhileTheChainsAreBuiltKeepsItsStorage) {
    // Whichever comes first, the host's storage is the one in place afterwards: the default
    // goes in only where none is, and a later registration replaces it.
    quil::test::FakeCookieStorage host("host=1");
    std::atomic<bool> go{false};
    std::thread builder([&] {
        while (!go.load()) std::this_thread::yield();
        FilterManager::GetInstance();
    });
    std::thread registrar([&] {
        while (!go.load()) std::this_thread::yield();
        QuilConfig::GetInstance()->RegisterCookieStorage(&host);
    });
    go.store(true);
    builder.join();
    registrar.join();
    EXPECT_EQ(QuilConfig::GetInstance()->cookieStorage.load(), &host);
}

TEST(TrafficProtectionConcurrency, BansAreAddedAndReadFromManyThreadsAtOnce) {
    ThresholdBeforeFilter filter;
    std::unique_ptr<QuilResponseImpl> cause(new QuilResponseImpl());
    cause->statusCode = 419;
    constexpr int kThreads = 8;
    constexpr int kRounds = 200;
    std::atomic<int> refused{0};
    std::atomic<int> passed{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < kRounds; ++i) {
                if (t % 2 == 0) {
                    // Zero-second and long bans in turn: entries are replaced and erased.
                    filter.AddFlowControl("mtop.hot", "1.0", cause.get(), (i % 2) * 60);
                    continue;
                }
                std::unique_ptr<QuilRequestImpl> request(new QuilRequestImpl("mtop.hot", "1.0"));
                request->SetId(t * kRounds + i);
                FilterResult result;
                filter.HandleRequest(request.get(), &result);
                if (result.response != nullptr) {
                    request.release();  // the refused response owns it
                    delete result.response;
                    ++refused;
                } else {
                    ++passed;
                }
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(refused + passed, (kThreads / 2) * kRounds);
    EXPECT_LE(filter.EntryCount(), 1u);
}

TEST(TrafficProtectionConcurrency, BansResendsAndCookieReadsEndEveryCallExactlyOnce) {
    QuilServiceImpl* service = ServiceTestHost::Install();
    ServiceTestHost::Client().SetDefault(ServiceTestHost::GatewayAnswer("SUCCESS::ok"));
    NetworkPoolBarrier barrier(&ServiceTestHost::Client());
    QuilConfig::GetInstance()->RegisterHttpClient(&barrier);
    ServiceTestHost::Sign().SetCookies("kv=1");

    // One ban first, so that the banned API is refused locally throughout.
    ServiceTestHost::Client().Enqueue(Challenge(419));
    ServiceTestHost::Sign().EnqueueVerdict(Verdict(1, 4, "{\"kv-sleep\":\"600000\"}"));
    std::unique_ptr<QuilResponse> first(
        service->SendSyncRequest(QuilRequest::Create("mtop.banned", "1.0")));
    ASSERT_NE(first, nullptr);
    ASSERT_EQ(first->GetStatusCode(), 419);

    // Then as many resend challenges as resend verdicts: each 420 takes one verdict.
    constexpr int kResends = 16;
    for (int i = 0; i < kResends; ++i) {
        ServiceTestHost::Client().Enqueue(Challenge(420));
        ServiceTestHost::Sign().EnqueueVerdict(Verdict(4, 0, "token"));
    }
    constexpr int kThreads = 8;
    constexpr int kCallsPerThread = 6;
    QuilCallbackRecorder recorder;
    std::atomic<int> syncAnswers{0};
    std::atomic<int> syncRefused{0};
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < kCallsPerThread; ++i) {
                const bool banned = (i % 3 == 0);
                QuilRequest* request =
                    QuilRequest::Create(banned ? "mtop.banned" : "mtop.open", "1.0");
                if (t % 2 == 0) {
                    recorder.Attach(request);
                    if (service->SendAsyncRequest(request) != 0) ++failures;
                    continue;
                }
                std::unique_ptr<QuilResponse> response(service->SendSyncRequest(request));
                if (!response) {
                    ++failures;
                } else if (response->GetStatusCode() == 419) {
                    ++syncRefused;
                } else if (response->GetStatusCode() == 200) {
                    ++syncAnswers;
                } else {
                    ++failures;
                }
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    constexpr int kAsyncCalls = (kThreads / 2) * kCallsPerThread;
    ASSERT_TRUE(recorder.WaitFor(kAsyncCalls));
    ASSERT_TRUE(barrier.Drain());

    EXPECT_EQ(failures.load(), 0);
    EXPECT_EQ(recorder.Count(), static_cast<std::size_t>(kAsyncCalls));
    constexpr int kBannedPerThread = 2;  // i = 0 and 3
    EXPECT_EQ(syncRefused.load(), (kThreads / 2) * kBannedPerThread);
    EXPECT_EQ(syncAnswers.load(), (kThreads / 2) * (kCallsPerThread - kBannedPerThread));
    int asyncRefused = 0;
    for (const quil::test::Delivery& delivery : recorder.Deliveries()) {
        if (delivery.statusCode == 419) ++asyncRefused;
        EXPECT_TRUE(delivery.statusCode == 419 || delivery.statusCode == 200);
    }
    EXPECT_EQ(asyncRefused, (kThreads / 2) * kBannedPerThread);
    // Only the open API went out: its calls, plus one resend for each challenge, plus the first.
    const std::size_t openCalls = kThreads * (kCallsPerThread - kBannedPerThread);
    EXPECT_EQ(ServiceTestHost::Client().SendCount(), 1 + openCalls + kResends);
    EXPECT_EQ(ServiceTestHost::Sign().CookieUrls().size(), 1 + openCalls + kResends);
    EXPECT_EQ(UTDataSet::GetInstance()->Size(), 0u);
    QuilConfig::GetInstance()->RegisterQuilLog(nullptr);
    QuilConfig::GetInstance()->RegisterUTStatistics(nullptr);
}
