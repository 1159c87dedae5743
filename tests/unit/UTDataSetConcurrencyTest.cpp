#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "RecordingLog.h"
#include "RecordingStatistics.h"
#include "StartUseTime.h"
#include "StatisticsSlot.h"
#include "UTDataSet.h"

using quil::test::ScopedRecordingLog;
using quil::test::ScopedRecordingStatistics;
using quil::test::StatisticsCall;

namespace {

constexpr int kThreads = 8;
constexpr int kRequestsPerThread = 50;

const QuilRequest* RequestKey(int index) {
    static char storage[kThreads * kRequestsPerThread];
    return reinterpret_cast<const QuilRequest*>(&storage[index]);
}

// Releases all threads at once so that they meet at first use. Waits at most ten seconds, so
// a thread that never arrives fails the test instead of hanging it.
class StartGate {
public:
    void Arrive() {
        std::unique_lock<std::mutex> lock(mutex_);
        ++arrived_;
        if (arrived_ == kThreads) {
            open_.notify_all();
            return;
        }
        bool opened =
            open_.wait_for(lock, std::chrono::seconds(10), [this] { return arrived_ >= kThreads; });
        EXPECT_TRUE(opened);
    }

private:
    std::mutex mutex_;  // guards arrived_
    std::condition_variable open_;
    int arrived_ = 0;
};

}  // namespace

TEST(UTDataSetConcurrency, ConcurrentFirstUseRegistersThePointOnce) {
    ScopedRecordingStatistics statistics;
    StartGate gate;
    std::vector<UTDataSet*> seen(kThreads, nullptr);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            gate.Arrive();
            seen[t] = UTDataSet::GetInstance();
        });
    }
    for (std::thread& thread : threads) thread.join();
    for (UTDataSet* dataSet : seen) EXPECT_EQ(dataSet, seen[0]);
    EXPECT_EQ(statistics->CountOf("RegisterPoint", "performance"), 1u);
}

TEST(UTDataSetConcurrency, ManyThreadsOpenMarkAndCloseTheirOwnRequests) {
    ScopedRecordingLog log;
    ScopedRecordingStatistics statistics;
    StartGate gate;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            gate.Arrive();
            UTDataSet* dataSet = UTDataSet::GetInstance();
            for (int i = 0; i < kRequestsPerThread; ++i) {
                int index = t * kRequestsPerThread + i;
                const QuilRequest* request = RequestKey(index);
                dataSet->OpenMetrics(request, index, "api." + std::to_string(index), "1.0",
                                     "gw.quil.example", true);
                MetricsEntity* entity = dataSet->GetExistMetricsEntity(request, index);
                entity->signStartTime = MetricsEntity::Now();
                entity->signEndTime = MetricsEntity::Now();
                entity->requestBodySize = index;
                MetricsOutcome outcome;
                outcome.errorType = index % 2;
                dataSet->CloseMetrics(request, index, outcome);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();

    const std::size_t total = kThreads * kRequestsPerThread;
    std::vector<StatisticsCall> reports = statistics->PerformanceReports();
    ASSERT_EQ(reports.size(), total);
    std::set<std::string> apis;
    for (const StatisticsCall& report : reports) {
        apis.insert(report.dimensions.at("api"));
        EXPECT_EQ(report.dimensions.at("api"),
                  "api." + std::to_string(static_cast<int>(report.measures.at("requestBodySize"))));
    }
    EXPECT_EQ(apis.size(), total);
    EXPECT_EQ(statistics->CountOf("CommitSuccess", "successRate"), total / 2);
    EXPECT_EQ(statistics->CountOf("CommitFail", "successRate"), total / 2);
    EXPECT_EQ(UTDataSet::GetInstance()->Size(), 0u);
    EXPECT_EQ(statistics->CountOf("RegisterPoint"), 1u);
    EXPECT_FALSE(log->Has("create metrics entity conflict, seqId = 0"));
}

TEST(UTDataSetConcurrency, ConcurrentCreatesForOneRequestMakeOneEntity) {
    ScopedRecordingLog log;
    StartGate gate;
    std::atomic<int> created{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&] {
            gate.Arrive();
            if (UTDataSet::GetInstance()->CreateMetricsEntity(RequestKey(0), 1)) {
                created.fetch_add(1);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(created.load(), 1);
    EXPECT_EQ(UTDataSet::GetInstance()->Size(), 1u);
    EXPECT_EQ(log->CountOf("create metrics entity conflict, seqId = 1"),
              static_cast<std::size_t>(kThreads - 1));
}

TEST(UTDataSetConcurrency, ConcurrentConsumesOfOneRequestReportOnce) {
    ScopedRecordingStatistics statistics;
    UTDataSet::GetInstance()->CreateMetricsEntity(RequestKey(0), 1);
    StartGate gate;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&] {
            gate.Arrive();
            UTDataSet::GetInstance()->CusumeMetricsEntity(RequestKey(0), 1);
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(statistics->PerformanceReports().size(), 1u);
    EXPECT_EQ(UTDataSet::GetInstance()->Size(), 0u);
}

TEST(UTDataSetConcurrency, TheStartRunsOnceAndEveryCallerWaitsForIt) {
    ScopedRecordingStatistics statistics;
    StartGate gate;
    std::atomic<int> runs{0};
    std::atomic<bool> finished{false};
    std::atomic<int> sawUnfinished{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&] {
            gate.Arrive();
            StartUseTime::RunOnce([&] {
                runs.fetch_add(1);
                finished.store(true);
            });
            if (!finished.load()) sawUnfinished.fetch_add(1);
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(runs.load(), 1);
    EXPECT_EQ(sawUnfinished.load(), 0);
    EXPECT_EQ(statistics->CountOf("CommitPoint", "startUseTime"), 1u);
}

TEST(UTDataSetConcurrency, SettingTheSlotWhileReportsRunIsRaceFree) {
    UTDataSet* dataSet = UTDataSet::GetInstance();
    quil::test::RecordingStatistics statistics;
    std::atomic<bool> done{false};
    std::thread setter([&] {
        while (!done.load()) {
            StatisticsSlot::SetStatistics(&statistics);
            StatisticsSlot::SetStatistics(nullptr);
        }
    });
    for (int i = 0; i < 500; ++i) {
        dataSet->OpenMetrics(RequestKey(0), i, "api", "1.0", "gw", true);
        dataSet->CloseMetrics(RequestKey(0), i, MetricsOutcome());
    }
    done.store(true);
    setter.join();
    StatisticsSlot::SetStatistics(nullptr);
    EXPECT_EQ(dataSet->Size(), 0u);
    EXPECT_LE(statistics.PerformanceReports().size(), 500u);
}
