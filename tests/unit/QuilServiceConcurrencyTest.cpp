#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

#include "QuilServiceImpl.h"
#include "ServiceTestHost.h"
#include "UTDataSet.h"

using quil::test::ServiceTestHost;

TEST(QuilServiceConcurrency, ManyThreadsCallingSyncEachGetTheirOwnIdAndAnswer) {
    QuilServiceImpl* service = ServiceTestHost::Install();
    ServiceTestHost::Client().SetDefault(ServiceTestHost::GatewayAnswer("SUCCESS::ok"));
    constexpr int kThreads = 8;
    constexpr int kCallsPerThread = 25;

    std::mutex idsMutex;  // guards ids and failures
    std::vector<int> ids;
    int failures = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < kCallsPerThread; ++i) {
                QuilRequest* request = QuilRequest::Create("mtop.concurrent", "1.0");
                std::unique_ptr<QuilResponse> response(service->SendSyncRequest(request));
                std::lock_guard<std::mutex> lock(idsMutex);
                if (!response || !response->IsSuccess()) {
                    ++failures;
                    continue;
                }
                ids.push_back(response->GetRequest()->GetId());
            }
        });
    }
    for (std::thread& thread : threads) thread.join();

    constexpr int kTotal = kThreads * kCallsPerThread;
    EXPECT_EQ(failures, 0);
    ASSERT_EQ(ids.size(), static_cast<std::size_t>(kTotal));
    std::sort(ids.begin(), ids.end());
    for (int i = 0; i < kTotal; ++i) EXPECT_EQ(ids[i], i + 1);
    EXPECT_EQ(ServiceTestHost::Sign().StartCount(), 1u);
    EXPECT_EQ(ServiceTestHost::Sign().Calls().size(), static_cast<std::size_t>(kTotal));
    EXPECT_EQ(ServiceTestHost::Client().SendCount(), static_cast<std::size_t>(kTotal));
    EXPECT_EQ(ServiceTestHost::Statistics().PerformanceReports().size(),
              static_cast<std::size_t>(kTotal));
    EXPECT_EQ(ServiceTestHost::Statistics().CountOf("CommitPoint", "startUseTime"), 1u);
    EXPECT_EQ(UTDataSet::GetInstance()->Size(), 0u);
    QuilConfig::GetInstance()->RegisterQuilLog(nullptr);
    QuilConfig::GetInstance()->RegisterUTStatistics(nullptr);
}

TEST(QuilServiceConcurrency, FirstCallsFromManyThreadsSeeOneServiceAndOneStart) {
    constexpr int kThreads = 8;
    std::vector<QuilService*> seen(kThreads, nullptr);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&seen, t] { seen[t] = QuilService::GetInstance(); });
    }
    for (std::thread& thread : threads) thread.join();
    for (QuilService* service : seen) EXPECT_EQ(service, seen[0]);
    ASSERT_NE(seen[0], nullptr);
    QuilServiceImpl* service = ServiceTestHost::Install();
    EXPECT_EQ(static_cast<QuilService*>(service), seen[0]);
    std::vector<std::thread> starters;
    for (int t = 0; t < kThreads; ++t) {
        starters.emplace_back([service] { service->LazyStart(); });
    }
    for (std::thread& thread : starters) thread.join();
    EXPECT_EQ(ServiceTestHost::Sign().StartCount(), 1u);
    EXPECT_EQ(service->sign.load(), &ServiceTestHost::Sign());
    QuilConfig::GetInstance()->RegisterQuilLog(nullptr);
    QuilConfig::GetInstance()->RegisterUTStatistics(nullptr);
}
