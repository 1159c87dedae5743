#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "QuilLogger.h"
#include "RecordingLog.h"

TEST(QuilLoggerConcurrency, ConcurrentWritersEachReachTheSink) {
    quil::test::RecordingLog log;
    QuilLogger::SetSink(&log);
    constexpr int kThreads = 8;
    constexpr int kLines = 500;
    std::vector<std::thread> writers;
    for (int t = 0; t < kThreads; ++t) {
        writers.emplace_back([t] {
            for (int i = 0; i < kLines; ++i) QUIL_LOG(QUIL_LOG_INFO, "writer %d line %d", t, i);
        });
    }
    // The host may change the level and the sink while others write.
    std::thread changer([&log] {
        for (int i = 0; i < 100; ++i) {
            QuilLogger::SetMinimumLevel(0);
            QuilLogger::SetSink(&log);
        }
    });
    for (auto& writer : writers) writer.join();
    changer.join();
    QuilLogger::SetSink(nullptr);
    EXPECT_EQ(log.Count(), static_cast<std::size_t>(kThreads * kLines));
    EXPECT_EQ(log.CountOf("writer 3 line 499"), 1u);
}
