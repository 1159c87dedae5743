#include "UTDataSet.h"

#include <gtest/gtest.h>

#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "QuilRequestImpl.h"
#include "RecordingLog.h"
#include "RecordingStatistics.h"
#include "StatisticsSlot.h"

using quil::test::LogLine;
using quil::test::RecordingStatistics;
using quil::test::ScopedRecordingLog;
using quil::test::ScopedRecordingStatistics;
using quil::test::StatisticsCall;

namespace {

// Requests are keys only: the data set never looks inside them.
const QuilRequest* RequestKey(int index) {
    static char storage[64];
    return reinterpret_cast<const QuilRequest*>(&storage[index]);
}

const std::vector<std::string> kDimensionNames{
    "api",       "version",   "domain",  "method",   "isSync",          "isSSL",
    "retryTime", "errorCode", "retType", "useProxy", "protocolVersion", "httpStatusCode"};

const std::vector<std::string> kMeasureNames{"processStartTime",
                                             "processEndTime",
                                             "beforeFilterStartTime",
                                             "beforeFilterEndTime",
                                             "interceptRequestStartTime",
                                             "interceptRequestEndTime",
                                             "composeRequestStartTime",
                                             "composeRequestEndTime",
                                             "signStartTime",
                                             "signEndTime",
                                             "getCookieStartTime",
                                             "getCookieEndTime",
                                             "networkSendStartTime",
                                             "networkSendEndTime",
                                             "parseResponseStartTime",
                                             "parseResponseEndTime",
                                             "afterFilterStartTime",
                                             "afterFilterEndTime",
                                             "interceptResponseStartTime",
                                             "interceptResponseEndTime",
                                             "processContentStartTime",
                                             "processContentEndTime",
                                             "serverRT",
                                             "requestUrlLength",
                                             "requestHeaderSize",
                                             "requestBodySize",
                                             "responseHeaderSize",
                                             "responseBodySize"};

// Gives every field of an entity a distinct value, as a call that ran every stage would.
void FillEveryField(MetricsEntity* entity) {
    entity->api = "mtop.quil.demo";
    entity->version = "1.0";
    entity->domain = "gw.quil.example";
    entity->errorCode = "SUCCESS";
    entity->protocolVersion = "6.3";
    entity->method = "post";
    entity->isSync = true;
    entity->isSSL = true;
    entity->useProxy = false;
    entity->retryTime = 2;
    entity->retType = 0;
    entity->httpStatusCode = 200;
    entity->serverRT = 37;
    entity->processStartTime = 1000;
    entity->processEndTime = 1001;
    entity->beforeFilterStartTime = 1002;
    entity->beforeFilterEndTime = 1003;
    entity->interceptRequestStartTime = 1004;
    entity->interceptRequestEndTime = 1005;
    entity->composeRequestStartTime = 1006;
    entity->composeRequestEndTime = 1007;
    entity->signStartTime = 1008;
    entity->signEndTime = 1009;
    entity->getCookieStartTime = 1010;
    entity->getCookieEndTime = 1011;
    entity->networkSendStartTime = 1012;
    entity->networkSendEndTime = 1013;
    entity->parseResponseStartTime = 1014;
    entity->parseResponseEndTime = 1015;
    entity->afterFilterStartTime = 1016;
    entity->afterFilterEndTime = 1017;
    entity->interceptResponseStartTime = 1018;
    entity->interceptResponseEndTime = 1019;
    entity->processContentStartTime = 1020;
    entity->processContentEndTime = 1021;
    entity->requestUrlLength = 120;
    entity->requestHeaderSize = 340;
    entity->requestBodySize = 56;
    entity->responseHeaderSize = 780;
    entity->responseBodySize = 910;
}

class UTDataSetTest : public ::testing::Test {
protected:
    // The sink is in place before the first use of the data set, as a host must arrange.
    ScopedRecordingLog log_;
    ScopedRecordingStatistics statistics_;
};

}  // namespace

TEST_F(UTDataSetTest, FirstUseRegistersThePerformancePointWithItsNamesInOrder) {
    UTDataSet::GetInstance();
    std::vector<StatisticsCall> registrations = statistics_->Calls("RegisterPoint");
    ASSERT_EQ(registrations.size(), 1u);
    EXPECT_EQ(registrations[0].module, "quilsdk");
    EXPECT_EQ(registrations[0].point, "performance");
    EXPECT_EQ(registrations[0].dimensionNames, kDimensionNames);
    EXPECT_EQ(registrations[0].measureNames, kMeasureNames);
    EXPECT_EQ(statistics_->Count(), 1u);
}

TEST_F(UTDataSetTest, ThePointIsRegisteredOnlyOnce) {
    UTDataSet* first = UTDataSet::GetInstance();
    UTDataSet* second = UTDataSet::GetInstance();
    first->CreateMetricsEntity(RequestKey(1), 1);
    first->CusumeMetricsEntity(RequestKey(1), 1);
    EXPECT_EQ(first, second);
    EXPECT_EQ(statistics_->CountOf("RegisterPoint"), 1u);
}

TEST_F(UTDataSetTest, NamesOfTheDataSetFollowTheReportOrder) {
    UTDataSet* dataSet = UTDataSet::GetInstance();
    EXPECT_EQ(dataSet->DimensionNames(), kDimensionNames);
    EXPECT_EQ(dataSet->MeasureNames(), kMeasureNames);
}

TEST(UTDataSetLateSink, ASinkRegisteredAfterFirstUseIsNeverToldOfThePointButGetsReports) {
    UTDataSet* dataSet = UTDataSet::GetInstance();
    ScopedRecordingStatistics statistics;
    dataSet->CreateMetricsEntity(RequestKey(1), 1);
    dataSet->CusumeMetricsEntity(RequestKey(1), 1);
    EXPECT_EQ(statistics->CountOf("RegisterPoint"), 0u);
    EXPECT_EQ(statistics->PerformanceReports().size(), 1u);
}

TEST_F(UTDataSetTest, CreateMakesAnEntityWithInitialValuesAndLogs) {
    UTDataSet* dataSet = UTDataSet::GetInstance();
    EXPECT_TRUE(dataSet->CreateMetricsEntity(RequestKey(1), 7));
    EXPECT_EQ(dataSet->Size(), 1u);
    LogLine line = log_->Find("create metrics entity, seqId = 7");
    EXPECT_EQ(line.level, QUIL_LOG_INFO);
    EXPECT_EQ(line.function, "CreateMetricsEntity");
    EXPECT_EQ(line.file, "UTDataSet.cpp");

    MetricsEntity* entity = dataSet->GetExistMetricsEntity(RequestKey(1), 7);
    ASSERT_NE(entity, nullptr);
    EXPECT_EQ(entity->processStartTime, -1.0);
    EXPECT_EQ(entity->retryTime, -1);
    EXPECT_EQ(entity->api, "");
    EXPECT_FALSE(log_->Has("get exist metrics entity error, seqId = 7"));
}

TEST_F(UTDataSetTest, ASecondCreateForARequestInFlightChangesNothingAndItsMarksStay) {
    UTDataSet* dataSet = UTDataSet::GetInstance();
    ASSERT_TRUE(dataSet->CreateMetricsEntity(RequestKey(1), 3));
    MetricsEntity* entity = dataSet->GetExistMetricsEntity(RequestKey(1), 3);
    entity->processStartTime = 42.0;
    entity->api = "first.api";

    EXPECT_FALSE(dataSet->CreateMetricsEntity(RequestKey(1), 3));

    EXPECT_EQ(dataSet->Size(), 1u);
    EXPECT_EQ(dataSet->GetExistMetricsEntity(RequestKey(1), 3), entity);
    EXPECT_EQ(entity->processStartTime, 42.0);
    EXPECT_EQ(entity->api, "first.api");
    EXPECT_TRUE(log_->Has("create metrics entity conflict, seqId = 3", QUIL_LOG_WARN));
    EXPECT_EQ(log_->CountOf("create metrics entity, seqId = 3"), 1u);
}

TEST_F(UTDataSetTest, GetExistForAnUnknownRequestMakesAFreshEntityAndWarns) {
    UTDataSet* dataSet = UTDataSet::GetInstance();
    MetricsEntity* entity = dataSet->GetExistMetricsEntity(RequestKey(2), 9);
    ASSERT_NE(entity, nullptr);
    EXPECT_EQ(entity->processStartTime, -1.0);
    EXPECT_EQ(dataSet->Size(), 1u);
    LogLine line = log_->Find("get exist metrics entity error, seqId = 9");
    EXPECT_EQ(line.level, QUIL_LOG_WARN);
    EXPECT_EQ(line.function, "GetExistMetricsEntity");
    // The record made by the stray write is the one found afterwards.
    EXPECT_EQ(dataSet->GetExistMetricsEntity(RequestKey(2), 9), entity);
    EXPECT_EQ(log_->CountOf("get exist metrics entity error, seqId = 9"), 1u);
}

TEST_F(UTDataSetTest, GetExistForAKnownRequestDoesNotLog) {
    UTDataSet* dataSet = UTDataSet::GetInstance();
    dataSet->CreateMetricsEntity(RequestKey(1), 4);
    log_->Clear();
    dataSet->GetExistMetricsEntity(RequestKey(1), 4);
    EXPECT_EQ(log_->Count(), 0u);
}

TEST_F(UTDataSetTest, ConsumeReportsRemovesAndLogs) {
    UTDataSet* dataSet = UTDataSet::GetInstance();
    dataSet->CreateMetricsEntity(RequestKey(1), 5);
    dataSet->CusumeMetricsEntity(RequestKey(1), 5);
    EXPECT_EQ(dataSet->Size(), 0u);
    EXPECT_EQ(statistics_->PerformanceReports().size(), 1u);
    LogLine line = log_->Find("cusume metrics entity, seqId = 5");
    EXPECT_EQ(line.level, QUIL_LOG_INFO);
    EXPECT_EQ(line.function, "CusumeMetricsEntity");
}

TEST_F(UTDataSetTest, ConsumingAnUnknownRequestDoesNothing) {
    UTDataSet* dataSet = UTDataSet::GetInstance();
    statistics_->Clear();
    log_->Clear();
    dataSet->CusumeMetricsEntity(RequestKey(3), 11);
    EXPECT_EQ(statistics_->Count(), 0u);
    EXPECT_EQ(log_->Count(), 0u);
    EXPECT_EQ(dataSet->Size(), 0u);
}

TEST_F(UTDataSetTest, ConsumingTwiceReportsOnce) {
    UTDataSet* dataSet = UTDataSet::GetInstance();
    dataSet->CreateMetricsEntity(RequestKey(1), 6);
    dataSet->CusumeMetricsEntity(RequestKey(1), 6);
    dataSet->CusumeMetricsEntity(RequestKey(1), 6);
    EXPECT_EQ(statistics_->PerformanceReports().size(), 1u);
    EXPECT_EQ(log_->CountOf("cusume metrics entity, seqId = 6"), 1u);
}

TEST_F(UTDataSetTest, AfterConsumeTheSameRequestCanBeOpenedAgain) {
    UTDataSet* dataSet = UTDataSet::GetInstance();
    dataSet->CreateMetricsEntity(RequestKey(1), 8);
    dataSet->CusumeMetricsEntity(RequestKey(1), 8);
    EXPECT_TRUE(dataSet->CreateMetricsEntity(RequestKey(1), 8));
    EXPECT_FALSE(log_->Has("create metrics entity conflict, seqId = 8"));
}

TEST_F(UTDataSetTest, RequestsAreKeptApartByIdentity) {
    UTDataSet* dataSet = UTDataSet::GetInstance();
    dataSet->CreateMetricsEntity(RequestKey(1), 1);
    dataSet->CreateMetricsEntity(RequestKey(2), 1);
    dataSet->GetExistMetricsEntity(RequestKey(1), 1)->api = "one";
    dataSet->GetExistMetricsEntity(RequestKey(2), 1)->api = "two";
    EXPECT_EQ(dataSet->Size(), 2u);
    dataSet->CusumeMetricsEntity(RequestKey(2), 1);
    EXPECT_EQ(statistics_->LastPerformanceReport().dimensions.at("api"), "two");
    EXPECT_EQ(dataSet->GetExistMetricsEntity(RequestKey(1), 1)->api, "one");
}

TEST_F(UTDataSetTest, TheFullReportCarriesEveryDimensionAndMeasureInOrder) {
    UTDataSet* dataSet = UTDataSet::GetInstance();
    dataSet->CreateMetricsEntity(RequestKey(1), 1);
    FillEveryField(dataSet->GetExistMetricsEntity(RequestKey(1), 1));
    dataSet->CusumeMetricsEntity(RequestKey(1), 1);

    StatisticsCall report = statistics_->LastPerformanceReport();
    EXPECT_EQ(report.module, "quilsdk");
    EXPECT_EQ(report.point, "performance");
    EXPECT_FALSE(report.anyNullText);
    std::vector<std::pair<std::string, std::string>> expectedDimensions{
        {"api", "mtop.quil.demo"}, {"version", "1.0"},         {"domain", "gw.quil.example"},
        {"method", "post"},        {"isSync", "true"},         {"isSSL", "true"},
        {"retryTime", "2"},        {"errorCode", "SUCCESS"},   {"retType", "0"},
        {"useProxy", "false"},     {"protocolVersion", "6.3"}, {"httpStatusCode", "200"}};
    EXPECT_EQ(report.dimensionValues, expectedDimensions);
    std::vector<std::pair<std::string, double>> expectedMeasures{
        {"processStartTime", 1000},
        {"processEndTime", 1001},
        {"beforeFilterStartTime", 1002},
        {"beforeFilterEndTime", 1003},
        {"interceptRequestStartTime", 1004},
        {"interceptRequestEndTime", 1005},
        {"composeRequestStartTime", 1006},
        {"composeRequestEndTime", 1007},
        {"signStartTime", 1008},
        {"signEndTime", 1009},
        {"getCookieStartTime", 1010},
        {"getCookieEndTime", 1011},
        {"networkSendStartTime", 1012},
        {"networkSendEndTime", 1013},
        {"parseResponseStartTime", 1014},
        {"parseResponseEndTime", 1015},
        {"afterFilterStartTime", 1016},
        {"afterFilterEndTime", 1017},
        {"interceptResponseStartTime", 1018},
        {"interceptResponseEndTime", 1005},
        {"processContentStartTime", 1020},
        {"processContentEndTime", 1021},
        {"serverRT", 37},
        {"requestUrlLength", 120},
        {"requestHeaderSize", 340},
        {"requestBodySize", 56},
        {"responseHeaderSize", 780},
        {"responseBodySize", 910}};
    EXPECT_EQ(report.measureValues, expectedMeasures);
    EXPECT_EQ(report.dimensionNames, kDimensionNames);
    EXPECT_EQ(report.measureNames, kMeasureNames);
}

TEST_F(UTDataSetTest, AnUntouchedEntityReportsMinusOneEverywhere) {
    UTDataSet* dataSet = UTDataSet::GetInstance();
    dataSet->CreateMetricsEntity(RequestKey(1), 1);
    dataSet->CusumeMetricsEntity(RequestKey(1), 1);
    StatisticsCall report = statistics_->LastPerformanceReport();
    ASSERT_EQ(report.measureValues.size(), 28u);
    for (const auto& measure : report.measureValues) {
        EXPECT_EQ(measure.second, -1.0) << measure.first;
    }
    std::map<std::string, std::string> expected{
        {"api", ""},           {"version", ""},         {"domain", ""},
        {"method", ""},        {"isSync", "false"},     {"isSSL", "false"},
        {"retryTime", "-1"},   {"errorCode", ""},       {"retType", "-1"},
        {"useProxy", "false"}, {"protocolVersion", ""}, {"httpStatusCode", "-1"}};
    EXPECT_EQ(report.dimensions, expected);
}

TEST_F(UTDataSetTest, InterceptResponseEndTimeEqualsInterceptRequestEndTimeInEveryReport) {
    UTDataSet* dataSet = UTDataSet::GetInstance();
    const double requestEnds[] = {-1.0, 0.0, 5.0, 123456789.0};
    int index = 0;
    for (double requestEnd : requestEnds) {
        dataSet->CreateMetricsEntity(RequestKey(index), index);
        MetricsEntity* entity = dataSet->GetExistMetricsEntity(RequestKey(index), index);
        entity->interceptRequestEndTime = requestEnd;
        entity->interceptResponseEndTime = 999.0;  // written by the after chain, never reported
        dataSet->CusumeMetricsEntity(RequestKey(index), index);
        ++index;
    }
    std::vector<StatisticsCall> reports = statistics_->PerformanceReports();
    ASSERT_EQ(reports.size(), 4u);
    for (std::size_t i = 0; i < reports.size(); ++i) {
        EXPECT_EQ(reports[i].measures.at("interceptResponseEndTime"), requestEnds[i]);
        EXPECT_EQ(reports[i].measures.at("interceptResponseEndTime"),
                  reports[i].measures.at("interceptRequestEndTime"));
    }
}

TEST_F(UTDataSetTest, RequestHeaderSizeIsReportedAsComposedOneByteMorePerLine) {
    UTDataSet* dataSet = UTDataSet::GetInstance();
    dataSet->CreateMetricsEntity(RequestKey(1), 1);
    // Composition counts "x-t: 17" (7 bytes) and "x-v: 1.0" (8 bytes) at one more each.
    const std::vector<std::string> lines{"x-t: 17", "x-v: 1.0"};
    int32_t size = 0;
    for (const std::string& line : lines) size += static_cast<int32_t>(line.size()) + 1;
    dataSet->GetExistMetricsEntity(RequestKey(1), 1)->requestHeaderSize = size;
    dataSet->CusumeMetricsEntity(RequestKey(1), 1);
    EXPECT_EQ(statistics_->LastPerformanceReport().measures.at("requestHeaderSize"), 17.0);
}

TEST_F(UTDataSetTest, AnEmptyProtocolVersionReportsTheEmptyString) {
    UTDataSet* dataSet = UTDataSet::GetInstance();
    dataSet->OpenMetrics(RequestKey(1), 1, "api.nosign", "1.0", "gw.quil.example", true);
    dataSet->CloseMetrics(RequestKey(1), 1, MetricsOutcome());
    StatisticsCall report = statistics_->LastPerformanceReport();
    EXPECT_EQ(report.dimensions.at("protocolVersion"), "");
    EXPECT_EQ(report.dimensionValues.at(10).first, "protocolVersion");
}

TEST_F(UTDataSetTest, AResponseWithoutServerRtReportsServerRtZero) {
    UTDataSet* dataSet = UTDataSet::GetInstance();
    dataSet->OpenMetrics(RequestKey(1), 1, "api", "1.0", "gw.quil.example", true);
    MetricsOutcome outcome;
    outcome.serverRT = 0;  // atoi of the empty header that stands in for a missing "s-rt"
    dataSet->CloseMetrics(RequestKey(1), 1, outcome);
    EXPECT_EQ(statistics_->LastPerformanceReport().measures.at("serverRT"), 0.0);
}

TEST_F(UTDataSetTest, OpeningWritesStartMarkIdentityAndRoad) {
    UTDataSet* dataSet = UTDataSet::GetInstance();
    double before = MetricsEntity::Now();
    dataSet->OpenMetrics(RequestKey(1), 12, "mtop.api", "2.0", "gw.quil.example", false);
    double after = MetricsEntity::Now();
    MetricsEntity* entity = dataSet->GetExistMetricsEntity(RequestKey(1), 12);
    EXPECT_GE(entity->processStartTime, before);
    EXPECT_LE(entity->processStartTime, after);
    EXPECT_EQ(entity->api, "mtop.api");
    EXPECT_EQ(entity->version, "2.0");
    EXPECT_EQ(entity->domain, "gw.quil.example");
    EXPECT_FALSE(entity->isSync);
    EXPECT_TRUE(log_->Has("create metrics entity, seqId = 12", QUIL_LOG_INFO));
    EXPECT_FALSE(log_->Has("get exist metrics entity error, seqId = 12"));
}

TEST_F(UTDataSetTest, ClosingCopiesTheOutcomeReportsAndRemoves) {
    UTDataSet* dataSet = UTDataSet::GetInstance();
    dataSet->OpenMetrics(RequestKey(1), 1, "api", "1.0", "gw.quil.example", true);
    MetricsOutcome outcome;
    outcome.retryTime = 1;
    outcome.serverRT = 25;
    outcome.retCode = "SUCCESS";
    outcome.retMsg = "ok";
    outcome.errorType = 0;
    dataSet->CloseMetrics(RequestKey(1), 1, outcome);
    EXPECT_EQ(dataSet->Size(), 0u);
    StatisticsCall report = statistics_->LastPerformanceReport();
    EXPECT_EQ(report.dimensions.at("retryTime"), "1");
    EXPECT_EQ(report.dimensions.at("errorCode"), "SUCCESS");
    EXPECT_EQ(report.dimensions.at("retType"), "0");
    EXPECT_EQ(report.dimensions.at("isSync"), "true");
    EXPECT_EQ(report.measures.at("serverRT"), 25.0);
    EXPECT_GE(report.measures.at("processEndTime"), report.measures.at("processStartTime"));
}

TEST_F(UTDataSetTest, ClosingASuccessfulCallCommitsSuccessRateSuccessAfterThePerformanceReport) {
    UTDataSet* dataSet = UTDataSet::GetInstance();
    dataSet->OpenMetrics(RequestKey(1), 1, "api", "1.0", "gw.quil.example", true);
    MetricsOutcome outcome;
    outcome.retCode = "SUCCESS";
    dataSet->CloseMetrics(RequestKey(1), 1, outcome);
    std::vector<StatisticsCall> calls = statistics_->Calls();
    ASSERT_EQ(calls.size(), 3u);  // RegisterPoint, CommitPoint, CommitSuccess
    EXPECT_EQ(calls[1].operation, "CommitPoint");
    EXPECT_EQ(calls[2].operation, "CommitSuccess");
    EXPECT_EQ(calls[2].module, "quilsdk");
    EXPECT_EQ(calls[2].point, "successRate");
    EXPECT_EQ(calls[2].arg, "");
    EXPECT_EQ(statistics_->CountOf("CommitFail"), 0u);
}

TEST_F(UTDataSetTest, ClosingAFailedCallCommitsSuccessRateFailureWithCodeAndMessage) {
    UTDataSet* dataSet = UTDataSet::GetInstance();
    dataSet->OpenMetrics(RequestKey(1), 1, "api", "1.0", "gw.quil.example", true);
    MetricsOutcome outcome;
    outcome.retCode = "FAIL_SYS_SIGN_ERROR";
    outcome.retMsg = "url sign fail, signError = ";
    outcome.errorType = 1;
    dataSet->CloseMetrics(RequestKey(1), 1, outcome);
    std::vector<StatisticsCall> failures = statistics_->Calls("CommitFail", "successRate");
    ASSERT_EQ(failures.size(), 1u);
    EXPECT_EQ(failures[0].module, "quilsdk");
    EXPECT_EQ(failures[0].arg, "");
    EXPECT_EQ(failures[0].errorCode, "FAIL_SYS_SIGN_ERROR");
    EXPECT_EQ(failures[0].errorMsg, "url sign fail, signError = ");
    EXPECT_EQ(statistics_->CountOf("CommitSuccess"), 0u);
    EXPECT_EQ(statistics_->LastPerformanceReport().dimensions.at("retType"), "1");
}

TEST_F(UTDataSetTest, EveryNonZeroErrorTypeCountsAsFailure) {
    UTDataSet* dataSet = UTDataSet::GetInstance();
    for (int errorType : {1, 2, 3}) {
        dataSet->OpenMetrics(RequestKey(errorType), errorType, "api", "1.0", "gw", true);
        MetricsOutcome outcome;
        outcome.errorType = errorType;
        dataSet->CloseMetrics(RequestKey(errorType), errorType, outcome);
    }
    EXPECT_EQ(statistics_->CountOf("CommitFail", "successRate"), 3u);
    EXPECT_EQ(statistics_->CountOf("CommitSuccess"), 0u);
}

TEST_F(UTDataSetTest, ClosingARequestThatWasNeverOpenedStillReportsAndWarns) {
    UTDataSet* dataSet = UTDataSet::GetInstance();
    dataSet->CloseMetrics(RequestKey(1), 14, MetricsOutcome());
    EXPECT_TRUE(log_->Has("get exist metrics entity error, seqId = 14", QUIL_LOG_WARN));
    StatisticsCall report = statistics_->LastPerformanceReport();
    EXPECT_EQ(report.measures.at("processStartTime"), -1.0);
    EXPECT_EQ(statistics_->CountOf("CommitSuccess", "successRate"), 1u);
}

TEST(UTDataSetWithoutSink, AHostWithoutASinkSeesNoCallAndNoFailure) {
    ScopedRecordingLog log;
    RecordingStatistics unregistered;
    ASSERT_EQ(StatisticsSlot::GetStatistics(), nullptr);
    UTDataSet* dataSet = UTDataSet::GetInstance();
    dataSet->OpenMetrics(RequestKey(1), 1, "api", "1.0", "gw.quil.example", true);
    FillEveryField(dataSet->GetExistMetricsEntity(RequestKey(1), 1));
    MetricsOutcome failure;
    failure.errorType = 2;
    dataSet->CloseMetrics(RequestKey(1), 1, failure);
    dataSet->OpenMetrics(RequestKey(2), 2, "api", "1.0", "gw.quil.example", true);
    dataSet->CloseMetrics(RequestKey(2), 2, MetricsOutcome());
    EXPECT_EQ(unregistered.Count(), 0u);
    EXPECT_EQ(dataSet->Size(), 0u);
    // Everything is still measured and logged.
    EXPECT_TRUE(log->Has("cusume metrics entity, seqId = 1", QUIL_LOG_INFO));
    EXPECT_TRUE(log->Has("cusume metrics entity, seqId = 2", QUIL_LOG_INFO));
}

TEST(UTDataSetWithoutSink, ASinkRemovedWithNullReceivesNothingMore) {
    ScopedRecordingStatistics statistics;
    UTDataSet* dataSet = UTDataSet::GetInstance();
    StatisticsSlot::SetStatistics(nullptr);
    dataSet->OpenMetrics(RequestKey(1), 1, "api", "1.0", "gw.quil.example", true);
    dataSet->CloseMetrics(RequestKey(1), 1, MetricsOutcome());
    EXPECT_EQ(statistics->Count(), 1u);  // only the registration at first use
    EXPECT_EQ(statistics->CountOf("RegisterPoint"), 1u);
}

TEST_F(UTDataSetTest, OpeningARequestInFlightAgainKeepsItsEntityButRewritesTheOpeningFields) {
    UTDataSet* dataSet = UTDataSet::GetInstance();
    dataSet->OpenMetrics(RequestKey(1), 1, "first", "1.0", "gw.quil.example", true);
    MetricsEntity* entity = dataSet->GetExistMetricsEntity(RequestKey(1), 1);
    entity->processStartTime = -5.0;
    entity->signStartTime = 77.0;
    dataSet->OpenMetrics(RequestKey(1), 1, "second", "1.0", "gw.quil.example", false);
    EXPECT_EQ(dataSet->GetExistMetricsEntity(RequestKey(1), 1), entity);
    EXPECT_TRUE(log_->Has("create metrics entity conflict, seqId = 1", QUIL_LOG_WARN));
    EXPECT_GE(entity->processStartTime, 0.0);
    EXPECT_EQ(entity->api, "second");
    EXPECT_FALSE(entity->isSync);
    EXPECT_EQ(entity->signStartTime, 77.0);
}

TEST_F(UTDataSetTest, ANullRequestIsAKeyLikeAnyOther) {
    UTDataSet* dataSet = UTDataSet::GetInstance();
    MetricsEntity* entity = dataSet->GetExistMetricsEntity(nullptr, -1);
    ASSERT_NE(entity, nullptr);
    EXPECT_TRUE(log_->Has("get exist metrics entity error, seqId = -1", QUIL_LOG_WARN));
    dataSet->CusumeMetricsEntity(nullptr, -1);
    EXPECT_EQ(dataSet->Size(), 0u);
    EXPECT_EQ(statistics_->PerformanceReports().size(), 1u);
}

namespace {

// A host sink whose report throws, to show that a consumed entity is freed all the same.
class ThrowingStatistics : public RecordingStatistics {
public:
    void CommitPoint(const char*, const char*, const DimensionValueSet&,
                     const MeasureValueSet&) override {
        throw std::runtime_error("host sink failed");
    }
};

}  // namespace

TEST(UTDataSetThrowingSink, AnExceptionFromTheSinkPassesThroughAndTheEntityIsFreed) {
    ScopedRecordingLog log;
    ThrowingStatistics statistics;
    StatisticsSlot::SetStatistics(&statistics);
    UTDataSet* dataSet = UTDataSet::GetInstance();
    dataSet->CreateMetricsEntity(RequestKey(1), 1);
    EXPECT_THROW(dataSet->CusumeMetricsEntity(RequestKey(1), 1), std::runtime_error);
    StatisticsSlot::SetStatistics(nullptr);
    EXPECT_EQ(dataSet->Size(), 0u);
    EXPECT_FALSE(log->Has("cusume metrics entity, seqId = 1"));
}

TEST_F(UTDataSetTest, TheRequestOnlyFormsKeyByTheRequestAndLogItsId) {
    QuilRequestImpl request("mtop.api", "1.0");
    request.SetId(21);
    QuilRequest* asBase = &request;
    UTDataSet* dataSet = UTDataSet::GetInstance();
    EXPECT_TRUE(dataSet->CreateMetricsEntity(asBase));
    EXPECT_TRUE(log_->Has("create metrics entity, seqId = 21", QUIL_LOG_INFO));
    // The derived and the base pointer name the same entity.
    EXPECT_EQ(dataSet->GetExistMetricsEntity(&request), dataSet->GetExistMetricsEntity(asBase));
    EXPECT_FALSE(log_->Has("get exist metrics entity error, seqId = 21"));
    dataSet->CusumeMetricsEntity(&request);
    EXPECT_TRUE(log_->Has("cusume metrics entity, seqId = 21", QUIL_LOG_INFO));
    EXPECT_EQ(dataSet->Size(), 0u);
}

TEST_F(UTDataSetTest, TheRequestOnlyFormsUseIdMinusOneForANullRequest) {
    QuilRequest* none = nullptr;
    MetricsEntity* entity = UTDataSet::GetInstance()->GetExistMetricsEntity(none);
    EXPECT_NE(entity, nullptr);
    EXPECT_TRUE(log_->Has("get exist metrics entity error, seqId = -1", QUIL_LOG_WARN));
}
