#include "StartUseTime.h"

#include <gtest/gtest.h>

#include "RecordingStatistics.h"

using quil::test::RecordingStatistics;
using quil::test::ScopedRecordingStatistics;
using quil::test::StatisticsCall;

TEST(StartUseTime, TheStartRunsOnceAndIsReportedOncePerProcess) {
    ScopedRecordingStatistics statistics;
    int runs = 0;
    StartUseTime::RunOnce([&runs] { ++runs; });
    StartUseTime::RunOnce([&runs] { ++runs; });
    StartUseTime::RunOnce([&runs] { ++runs; });
    EXPECT_EQ(runs, 1);
    EXPECT_EQ(statistics->CountOf("RegisterPoint", "startUseTime"), 1u);
    EXPECT_EQ(statistics->CountOf("CommitPoint", "startUseTime"), 1u);
}

TEST(StartUseTime, RegistersThePointWithNoDimensionsAndTheMeasureTimeUsedThenCommits) {
    ScopedRecordingStatistics statistics;
    StartUseTime::RunOnce([] {});
    std::vector<StatisticsCall> calls = statistics->Calls();
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[0].operation, "RegisterPoint");
    EXPECT_EQ(calls[0].module, "quilsdk");
    EXPECT_EQ(calls[0].point, "startUseTime");
    EXPECT_TRUE(calls[0].dimensionNames.empty());
    EXPECT_EQ(calls[0].measureNames, std::vector<std::string>{"timeUsed"});
    EXPECT_EQ(calls[1].operation, "CommitPoint");
    EXPECT_EQ(calls[1].module, "quilsdk");
    EXPECT_EQ(calls[1].point, "startUseTime");
    EXPECT_TRUE(calls[1].dimensionValues.empty());
    ASSERT_EQ(calls[1].measureValues.size(), 1u);
    EXPECT_EQ(calls[1].measureValues[0].first, "timeUsed");
    EXPECT_GE(calls[1].measureValues[0].second, 0.0);
}

TEST(StartUseTime, ReportCarriesTheTimeUsedAsGiven) {
    ScopedRecordingStatistics statistics;
    StartUseTime::Report(12.0);
    std::vector<StatisticsCall> commits = statistics->Calls("CommitPoint", "startUseTime");
    ASSERT_EQ(commits.size(), 1u);
    EXPECT_EQ(commits[0].measures.at("timeUsed"), 12.0);
}

TEST(StartUseTime, WithoutASinkTheStartStillRunsAndNothingIsSent) {
    RecordingStatistics unregistered;
    int runs = 0;
    StartUseTime::RunOnce([&runs] { ++runs; });
    EXPECT_EQ(runs, 1);
    EXPECT_EQ(unregistered.Count(), 0u);
}

TEST(StartUseTime, ASinkRegisteredAfterTheStartIsNeverTold) {
    StartUseTime::RunOnce([] {});
    ScopedRecordingStatistics statistics;
    StartUseTime::RunOnce([] {});
    EXPECT_EQ(statistics->Count(), 0u);
}
