#include "StatisticsSlot.h"

#include <gtest/gtest.h>

#include "RecordingStatistics.h"

using quil::test::RecordingStatistics;
using quil::test::ScopedRecordingStatistics;
using quil::test::StatisticsCall;

TEST(StatisticsSlot, StartsEmpty) { EXPECT_EQ(StatisticsSlot::GetStatistics(), nullptr); }

TEST(StatisticsSlot, HoldsTheRegisteredSinkAndNullEmptiesIt) {
    RecordingStatistics statistics;
    StatisticsSlot::SetStatistics(&statistics);
    EXPECT_EQ(StatisticsSlot::GetStatistics(), &statistics);
    StatisticsSlot::SetStatistics(nullptr);
    EXPECT_EQ(StatisticsSlot::GetStatistics(), nullptr);
}

TEST(StatisticsSlot, CommitsWithoutASinkDoNothing) {
    RecordingStatistics statistics;
    StatisticsSlot::SetStatistics(&statistics);
    StatisticsSlot::SetStatistics(nullptr);
    StatisticsSlot::CommitCount("signTimeout", "quil sign 6.3", 1.0);
    StatisticsSlot::CommitSuccess("successRate", "");
    StatisticsSlot::CommitFail("successRate", "", "FAIL_SYS_SIGN_ERROR", "url sign fail");
    EXPECT_EQ(statistics.Count(), 0u);
}

TEST(StatisticsSlot, CommitCountReachesTheSinkUnderTheModule) {
    ScopedRecordingStatistics statistics;
    StatisticsSlot::CommitCount("kolvaTimeout", "async", 1.0);
    std::vector<StatisticsCall> calls = statistics->Calls();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].operation, "CommitCount");
    EXPECT_EQ(calls[0].module, "quilsdk");
    EXPECT_EQ(calls[0].point, "kolvaTimeout");
    EXPECT_EQ(calls[0].arg, "async");
    EXPECT_EQ(calls[0].value, 1.0);
}

TEST(StatisticsSlot, CommitSuccessReachesTheSinkUnderTheModule) {
    ScopedRecordingStatistics statistics;
    StatisticsSlot::CommitSuccess("successRate", "");
    std::vector<StatisticsCall> calls = statistics->Calls();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].operation, "CommitSuccess");
    EXPECT_EQ(calls[0].module, "quilsdk");
    EXPECT_EQ(calls[0].point, "successRate");
    EXPECT_EQ(calls[0].arg, "");
    EXPECT_FALSE(calls[0].anyNullText);
}

TEST(StatisticsSlot, CommitFailCarriesCodeAndMessage) {
    ScopedRecordingStatistics statistics;
    StatisticsSlot::CommitFail("networkSendError", "", "599", "network send error");
    std::vector<StatisticsCall> calls = statistics->Calls();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].operation, "CommitFail");
    EXPECT_EQ(calls[0].module, "quilsdk");
    EXPECT_EQ(calls[0].point, "networkSendError");
    EXPECT_EQ(calls[0].arg, "");
    EXPECT_EQ(calls[0].errorCode, "599");
    EXPECT_EQ(calls[0].errorMsg, "network send error");
}
