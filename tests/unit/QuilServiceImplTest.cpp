#include "QuilServiceImpl.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "FilterManager.h"
#include "HttpRequestComposer.h"
#include "PipelineReentry.h"
#include "Platform.h"
#include "QuilRequestImpl.h"
#include "QuilResponseImpl.h"
#include "RecordingOmbrelHandler.h"
#include "ScriptedFilters.h"
#include "ServiceTestHost.h"
#include "UTDataSet.h"

using quil::test::FilterTrace;
using quil::test::LogLine;
using quil::test::RecordingOmbrelHandler;
using quil::test::ScriptedAfterFilter;
using quil::test::ScriptedBeforeFilter;
using quil::test::ScriptedResponse;
using quil::test::ScriptedSignOutcome;
using quil::test::ServiceTestHost;
using quil::test::SignCall;
using quil::test::StatisticsCall;

namespace {

class QuilServiceImplTest : public ::testing::Test {
protected:
    void SetUp() override {
        service = ServiceTestHost::Install();
        ASSERT_NE(service, nullptr);
        originalManager = service->filterManager;
    }
    void TearDown() override {
        service->filterManager = originalManager;
        QuilConfig::GetInstance()->RegisterQuilLog(nullptr);
        QuilConfig::GetInstance()->RegisterUTStatistics(nullptr);
    }

    static QuilRequest* NewRequest(const std::string& api = "mtop.test.api",
                                   const std::string& version = "1.0") {
        QuilRequest* request = QuilRequest::Create(api, version);
        request->AddData("key", std::string("value"));
        return request;
    }

    quil::test::RecordingLog& log() { return ServiceTestHost::Log(); }
    quil::test::RecordingStatistics& statistics() { return ServiceTestHost::Statistics(); }
    quil::test::ScriptedSign& sign() { return ServiceTestHost::Sign(); }
    quil::test::ScriptedHttpClient& client() { return ServiceTestHost::Client(); }

    // The "successRate" reports, success or failure, in order.
    std::vector<StatisticsCall> SuccessRate() {
        std::vector<StatisticsCall> rate;
        for (const StatisticsCall& call : statistics().Calls()) {
            if (call.point == "successRate") rate.push_back(call);
        }
        return rate;
    }

    QuilServiceImpl* service = nullptr;
    FilterManager* originalManager = nullptr;
};

// Deletes a response on scope exit.
using ResponsePtr = std::unique_ptr<QuilResponse>;

}  // namespace

TEST_F(QuilServiceImplTest, TheSingletonIsBuiltWithItsParts) {
    EXPECT_EQ(QuilService::GetInstance(), static_cast<QuilService*>(service));
    EXPECT_EQ(service->filterManager, FilterManager::GetInstance());
    EXPECT_EQ(service->config, QuilConfig::GetInstance());
    EXPECT_EQ(service->networkManager, NetworkManager::GetInstance());
    ASSERT_NE(service->threadPool, nullptr);
    EXPECT_EQ(service->threadPool->MinThreads(), 1u);
    EXPECT_EQ(service->threadPool->MaxThreads(), 1u);
    EXPECT_TRUE(service->inFlight.empty());
    EXPECT_EQ(service->nextId.load(), 0);
    EXPECT_EQ(service->timeOffset.load(), 0);
    EXPECT_FALSE(service->timeCalibrated.load());
    // Nothing is started before the first call.
    EXPECT_EQ(service->sign.load(), nullptr);
}

TEST_F(QuilServiceImplTest, IdsStartAtOneAndRiseByOne) {
    ResponsePtr first(service->SendSyncRequest(NewRequest()));
    ResponsePtr second(service->SendSyncRequest(NewRequest()));
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(first->GetRequest()->GetId(), 1);
    EXPECT_EQ(second->GetRequest()->GetId(), 2);
    EXPECT_EQ(service->IssueId(), 3);
}

TEST_F(QuilServiceImplTest, ARequestThatHasAnIdKeepsIt) {
    QuilRequest* request = NewRequest();
    request->SetId(77);
    ResponsePtr response(service->SendSyncRequest(request));
    EXPECT_EQ(response->GetRequest()->GetId(), 77);
    EXPECT_TRUE(log().Has("start sync QuilRequest id = 77, api = mtop.test.api, version = 1.0",
                          QUIL_LOG_INFO));
    // No id was spent on it.
    ResponsePtr next(service->SendSyncRequest(NewRequest()));
    EXPECT_EQ(next->GetRequest()->GetId(), 1);
}

TEST_F(QuilServiceImplTest, ANullRequestGivesNull) {
    EXPECT_EQ(service->SendSyncRequest(nullptr), nullptr);
    EXPECT_EQ(log().Count(), 0u);
    EXPECT_EQ(service->SyncCall(nullptr), nullptr);
    LogLine line = log().Find("sync QuilRequest is null");
    EXPECT_EQ(line.level, QUIL_LOG_WARN);
    EXPECT_EQ(line.function, "SyncCall");
}

TEST_F(QuilServiceImplTest, AnEmptyAppKeyFailsBeforeAnyFilterAndBeforeTheStart) {
    QuilConfig::GetInstance()->appKey = "";
    ResponsePtr response(service->SendSyncRequest(NewRequest()));
    ASSERT_NE(response, nullptr);
    EXPECT_EQ(response->GetRetInfo()->retCode, "FAIL_SYS_DEPENDENCY_LOST");
    EXPECT_EQ(response->GetRetInfo()->retMsg, "check dependency fail");
    EXPECT_EQ(response->GetRetInfo()->errorType, 1);
    EXPECT_EQ(response->GetStatusCode(), 0);
    ASSERT_NE(response->GetRequest(), nullptr);
    EXPECT_EQ(response->GetRequest()->GetId(), 1);
    EXPECT_TRUE(log().Has("sync QuilRequest check dependency fail id = 1", QUIL_LOG_ERROR));
    EXPECT_FALSE(log().Has("handle ut before filter, id: 1"));
    EXPECT_EQ(sign().StartCount(), 0u);
    EXPECT_EQ(service->sign.load(), nullptr);
    EXPECT_EQ(statistics().CountOf("CommitPoint", "startUseTime"), 0u);
    EXPECT_TRUE(sign().Calls().empty());
    EXPECT_EQ(client().SendCount(), 0u);
    // The metrics close as usual, and no after filter ran.
    EXPECT_FALSE(log().Has("handle ut after filter, id: 1"));
    StatisticsCall report = statistics().LastPerformanceReport();
    EXPECT_EQ(report.dimensions["errorCode"], "FAIL_SYS_DEPENDENCY_LOST");
    EXPECT_EQ(report.dimensions["retType"], "1");
    EXPECT_EQ(report.measures["beforeFilterStartTime"], -1.0);
    std::vector<StatisticsCall> rate = SuccessRate();
    ASSERT_EQ(rate.size(), 1u);
    EXPECT_EQ(rate[0].operation, "CommitFail");
    EXPECT_EQ(rate[0].errorCode, "FAIL_SYS_DEPENDENCY_LOST");
    EXPECT_EQ(rate[0].errorMsg, "check dependency fail");
}

TEST_F(QuilServiceImplTest, TheStartRunsOnceAndReportsItsTime) {
    ResponsePtr first(service->SendSyncRequest(NewRequest()));
    ResponsePtr second(service->SendSyncRequest(NewRequest()));
    EXPECT_EQ(sign().StartCount(), 1u);
    EXPECT_EQ(service->sign.load(), &sign());
    std::vector<StatisticsCall> start = statistics().Calls("CommitPoint", "startUseTime");
    ASSERT_EQ(start.size(), 1u);
    EXPECT_EQ(start[0].module, "quilsdk");
    EXPECT_EQ(start[0].measures.count("timeUsed"), 1u);
}

TEST_F(QuilServiceImplTest, WithoutASigningObjectTheCallFailsWithLoadError) {
    QuilServiceImpl::SetSignProviderForTesting(nullptr);
    ResponsePtr response(service->SendSyncRequest(NewRequest()));
    ASSERT_NE(response, nullptr);
    EXPECT_EQ(response->GetRetInfo()->retCode, "FAIL_SYS_SIGN_LOAD_ERROR");
    EXPECT_EQ(response->GetRetInfo()->retMsg, "WardkeepSDK load error");
    EXPECT_EQ(response->GetRetInfo()->errorType, 1);
    EXPECT_EQ(response->GetStatusCode(), 0);
    EXPECT_TRUE(log().Has("iQuilSign is null", QUIL_LOG_FATAL));
    // The filters ran; nothing was sent, and the start was still reported once.
    EXPECT_TRUE(log().Has("handle ut before filter, id: 1"));
    EXPECT_EQ(client().SendCount(), 0u);
    EXPECT_EQ(statistics().CountOf("CommitPoint", "startUseTime"), 1u);
    EXPECT_FALSE(log().Has("handle ut after filter, id: 1"));
}

TEST_F(QuilServiceImplTest, SignHeadersOfVersion63AreUsedWhenPresent) {
    sign().Enqueue63(ScriptedSignOutcome::Headers({{"x-sign", "abc"}, {"x-mini-wua", "w"}}));
    ResponsePtr response(service->SendSyncRequest(NewRequest()));
    QuilRequestImpl* request = dynamic_cast<QuilRequestImpl*>(response->GetRequest());
    std::vector<SignCall> calls = sign().Calls();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].version, "6.3");
    EXPECT_EQ(calls[0].seqId, 1);
    EXPECT_EQ(calls[0].api, "mtop.test.api");
    std::string extended;
    HttpRequestComposer::GetOriginalSignUrl(extended, request, true);
    EXPECT_EQ(calls[0].data, extended);
    EXPECT_EQ(request->GetSignHeaders(),
              (std::map<std::string, std::string>{{"x-mini-wua", "w"}, {"x-sign", "abc"}}));
    EXPECT_EQ(request->GetSign(), "");
    EXPECT_EQ(statistics().LastPerformanceReport().dimensions["protocolVersion"], "6.3");
}

TEST_F(QuilServiceImplTest, AnEmptySignMapFallsBackTo62WithThePlainInput) {
    sign().Enqueue63(ScriptedSignOutcome::Empty("0"));
    sign().Enqueue62(ScriptedSignOutcome::Signature("sig-62"));
    client().Enqueue(ServiceTestHost::GatewayAnswer());
    ResponsePtr response(service->SendSyncRequest(NewRequest()));
    QuilRequestImpl* request = dynamic_cast<QuilRequestImpl*>(response->GetRequest());
    std::vector<SignCall> calls = sign().Calls();
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[0].version, "6.3");
    EXPECT_EQ(calls[1].version, "6.2");
    EXPECT_EQ(calls[1].seqId, 1);
    EXPECT_EQ(calls[1].method, 1);
    std::string extended;
    std::string plain;
    HttpRequestComposer::GetOriginalSignUrl(extended, request, true);
    HttpRequestComposer::GetOriginalSignUrl(plain, request, false);
    EXPECT_EQ(calls[0].data, extended);
    EXPECT_EQ(calls[1].data, plain);
    EXPECT_EQ(request->GetSign(), "sig-62");
    EXPECT_TRUE(request->GetSignHeaders().empty());
    EXPECT_EQ(statistics().LastPerformanceReport().dimensions["protocolVersion"], "6.2");
    EXPECT_TRUE(response->IsSuccess());
}

TEST_F(QuilServiceImplTest, ANullResultOf63FallsBackTo62) {
    sign().Enqueue63(ScriptedSignOutcome::Null());
    sign().Enqueue62(ScriptedSignOutcome::Signature("sig-62"));
    ResponsePtr response(service->SendSyncRequest(NewRequest()));
    QuilRequestImpl* request = dynamic_cast<QuilRequestImpl*>(response->GetRequest());
    std::vector<SignCall> calls = sign().Calls();
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[1].version, "6.2");
    std::string plain;
    HttpRequestComposer::GetOriginalSignUrl(plain, request, false);
    EXPECT_EQ(calls[1].data, plain);
    EXPECT_EQ(request->GetSign(), "sig-62");
    EXPECT_EQ(client().SendCount(), 1u);
}

TEST_F(QuilServiceImplTest, NothingUsableFromEitherSignGivesTheBareSignErrorText) {
    sign().Enqueue63(ScriptedSignOutcome::Null());
    sign().Enqueue62(ScriptedSignOutcome::Null());
    ResponsePtr response(service->SendSyncRequest(NewRequest()));
    ASSERT_NE(response, nullptr);
    EXPECT_EQ(response->GetRetInfo()->retCode, "FAIL_SYS_SIGN_ERROR");
    EXPECT_EQ(response->GetRetInfo()->retMsg, "url sign fail, signError = ");
    EXPECT_EQ(response->GetRetInfo()->errorType, 1);
    LogLine line = log().Find("sync QuilRequest security sign fail id = 1");
    EXPECT_EQ(line.level, QUIL_LOG_ERROR);
    EXPECT_EQ(line.function, "SyncCall");
    EXPECT_EQ(client().SendCount(), 0u);
    EXPECT_FALSE(log().Has("handle ut after filter, id: 1"));
    StatisticsCall report = statistics().LastPerformanceReport();
    EXPECT_GE(report.measures["signEndTime"], report.measures["signStartTime"]);
    EXPECT_GE(report.measures["signStartTime"], 0.0);
    EXPECT_EQ(report.measures["composeRequestStartTime"], -1.0);
    EXPECT_EQ(report.dimensions["protocolVersion"], "");
}

TEST_F(QuilServiceImplTest, AnEmptyResultOf62CarriesItsErrorCodeIntoTheMessage) {
    sign().Enqueue63(ScriptedSignOutcome::Empty("-1"));
    sign().Enqueue62(ScriptedSignOutcome::Empty("1234"));
    ResponsePtr response(service->SendSyncRequest(NewRequest()));
    EXPECT_EQ(response->GetRetInfo()->retCode, "FAIL_SYS_SIGN_ERROR");
    EXPECT_EQ(response->GetRetInfo()->retMsg, "url sign fail, signError = 1234");
}

TEST_F(QuilServiceImplTest, TheTimestampIsTheWallClockWhileTheOffsetIsNotCalibrated) {
    service->timeOffset = 1000;
    int64_t before = quil::platform::WallClockSeconds();
    ResponsePtr response(service->SendSyncRequest(NewRequest()));
    int64_t after = quil::platform::WallClockSeconds();
    int64_t timestamp = response->GetRequest()->GetTimestamp();
    EXPECT_GE(timestamp, before);
    EXPECT_LE(timestamp, after);
    ASSERT_EQ(sign().Calls().size(), 1u);
    EXPECT_NE(sign().Calls()[0].data.find(std::to_string(timestamp)), std::string::npos);
}

TEST_F(QuilServiceImplTest, TheCalibratedOffsetIsAddedToTheTimestampAndTheSignInput) {
    service->timeOffset = 1000;
    service->timeCalibrated = true;
    int64_t before = quil::platform::WallClockSeconds();
    ResponsePtr response(service->SendSyncRequest(NewRequest()));
    int64_t after = quil::platform::WallClockSeconds();
    int64_t timestamp = response->GetRequest()->GetTimestamp();
    EXPECT_GE(timestamp, before + 1000);
    EXPECT_LE(timestamp, after + 1000);
    ASSERT_EQ(sign().Calls().size(), 1u);
    EXPECT_NE(sign().Calls()[0].data.find(std::to_string(timestamp)), std::string::npos);
    service->timeCalibrated = false;
    service->timeOffset = 0;
}

TEST_F(QuilServiceImplTest, AResponseFromABeforeFilterSkipsSignComposeAndSend) {
    FilterTrace trace;
    FilterManager::BeforeChain before;
    before.emplace_back(
        new ScriptedBeforeFilter("b_cache", &trace, [](QuilRequest* request, FilterResult* result) {
            QuilResponseImpl* cached = new QuilResponseImpl();
            cached->statusCode = 200;
            cached->body = "{\"ret\":[\"SUCCESS::cached\"]}";
            cached->retInfo.reset(new RetInfo());
            cached->retInfo->retCode = "SUCCESS";
            cached->retInfo->retMsg = "cached";
            cached->request.reset(request);
            result->response = cached;
            result->code = 1;
        }));
    FilterManager::AfterChain after;
    after.emplace_back(new ScriptedAfterFilter("a_ut", &trace));
    FilterManager manager(std::move(before), std::move(after));
    service->filterManager = &manager;

    ResponsePtr response(service->SendSyncRequest(NewRequest()));
    ASSERT_NE(response, nullptr);
    EXPECT_EQ(response->GetBody(), "{\"ret\":[\"SUCCESS::cached\"]}");
    EXPECT_EQ(response->GetRetInfo()->retMsg, "cached");
    EXPECT_TRUE(log().Has("sync QuilRequest before filter stop id = 1", QUIL_LOG_ERROR));
    EXPECT_TRUE(sign().Calls().empty());
    EXPECT_EQ(client().SendCount(), 0u);
    EXPECT_EQ(trace.Names(), (std::vector<std::string>{"b_cache"}));
    // The metrics close as usual.
    StatisticsCall report = statistics().LastPerformanceReport();
    EXPECT_EQ(report.dimensions["errorCode"], "SUCCESS");
    EXPECT_EQ(report.dimensions["retType"], "0");
    EXPECT_GE(report.measures["beforeFilterEndTime"], report.measures["beforeFilterStartTime"]);
    EXPECT_EQ(report.measures["signStartTime"], -1.0);
    EXPECT_EQ(report.measures["composeRequestStartTime"], -1.0);
    EXPECT_EQ(report.measures["networkSendStartTime"], -1.0);
    EXPECT_EQ(report.measures["afterFilterStartTime"], -1.0);
    ASSERT_EQ(SuccessRate().size(), 1u);
    EXPECT_EQ(SuccessRate()[0].operation, "CommitSuccess");
}

TEST_F(QuilServiceImplTest, AStopWithoutResponseEndsTheCallWithNullAndDeletesTheRequest) {
    FilterManager::BeforeChain before;
    before.emplace_back(new ScriptedBeforeFilter(
        "b_stop", nullptr, [](QuilRequest*, FilterResult* result) { result->code = 1; }));
    FilterManager manager(std::move(before), FilterManager::AfterChain());
    service->filterManager = &manager;

    EXPECT_EQ(service->SendSyncRequest(NewRequest()), nullptr);
    EXPECT_TRUE(log().Has("destory QuilRequestImpl, id: 1"));
    EXPECT_EQ(UTDataSet::GetInstance()->Size(), 0u);
    ASSERT_EQ(SuccessRate().size(), 1u);
    EXPECT_EQ(SuccessRate()[0].operation, "CommitFail");
    EXPECT_EQ(SuccessRate()[0].errorCode, "FAIL_NETWORK_CONNECT_ERROR");
}

TEST_F(QuilServiceImplTest, AClientAnsweringNullEndsTheCallWithNullAndClosesTheMetrics) {
    client().Enqueue(ScriptedResponse::Null());
    EXPECT_EQ(service->SendSyncRequest(NewRequest()), nullptr);
    EXPECT_EQ(client().SendCount(), 1u);
    EXPECT_FALSE(log().Has("handle ut after filter, id: 1"));
    EXPECT_TRUE(log().Has("destory QuilRequestImpl, id: 1"));
    EXPECT_EQ(UTDataSet::GetInstance()->Size(), 0u);
    StatisticsCall report = statistics().LastPerformanceReport();
    EXPECT_EQ(report.dimensions["errorCode"], "FAIL_NETWORK_CONNECT_ERROR");
    EXPECT_EQ(report.dimensions["retType"], "2");
    EXPECT_EQ(report.measures["serverRT"], 0.0);
    EXPECT_GE(report.measures["afterFilterEndTime"], report.measures["afterFilterStartTime"]);
    std::vector<StatisticsCall> rate = SuccessRate();
    ASSERT_EQ(rate.size(), 1u);
    EXPECT_EQ(rate[0].operation, "CommitFail");
    EXPECT_EQ(rate[0].errorCode, "FAIL_NETWORK_CONNECT_ERROR");
    EXPECT_EQ(rate[0].errorMsg, "");
}

TEST_F(QuilServiceImplTest, OneCallLeavesOneFullReport) {
    client().Enqueue(ServiceTestHost::GatewayAnswer("SUCCESS::call ok", "s-rt: 17\r\n"));
    ResponsePtr response(service->SendSyncRequest(NewRequest()));
    ASSERT_TRUE(response->IsSuccess());
    std::vector<StatisticsCall> reports = statistics().PerformanceReports();
    ASSERT_EQ(reports.size(), 1u);
    StatisticsCall report = reports[0];
    EXPECT_EQ(report.module, "quilsdk");
    EXPECT_EQ(report.dimensionValues.size(), 12u);
    EXPECT_EQ(report.measureValues.size(), 28u);
    for (const std::string& name : UTDataSet::GetInstance()->DimensionNames()) {
        EXPECT_EQ(report.dimensions.count(name), 1u) << name;
    }
    for (const std::string& name : UTDataSet::GetInstance()->MeasureNames()) {
        EXPECT_EQ(report.measures.count(name), 1u) << name;
    }
    EXPECT_EQ(report.dimensions["api"], "mtop.test.api");
    EXPECT_EQ(report.dimensions["version"], "1.0");
    EXPECT_EQ(report.dimensions["domain"], HttpRequestComposer::SelectHost(true));
    EXPECT_EQ(report.dimensions["isSync"], "true");
    EXPECT_EQ(report.dimensions["retryTime"], "0");
    EXPECT_EQ(report.dimensions["errorCode"], "SUCCESS");
    EXPECT_EQ(report.dimensions["retType"], "0");
    EXPECT_EQ(report.dimensions["protocolVersion"], "6.3");
    EXPECT_EQ(report.measures["serverRT"], 17.0);
    // Every phase of the pipeline ran, in order.
    const char* const phases[] = {
        "processStartTime",       "beforeFilterStartTime", "beforeFilterEndTime",
        "signStartTime",          "signEndTime",           "composeRequestStartTime",
        "composeRequestEndTime",  "networkSendStartTime",  "networkSendEndTime",
        "parseResponseStartTime", "parseResponseEndTime",  "afterFilterStartTime",
        "afterFilterEndTime",     "processEndTime"};
    double previous = 0.0;
    for (const char* phase : phases) {
        EXPECT_GE(report.measures[phase], previous) << phase;
        previous = report.measures[phase];
    }
    // Without an ombrel handler and without traffic protection these never ran.
    EXPECT_EQ(report.measures["interceptRequestStartTime"], -1.0);
    EXPECT_EQ(report.measures["interceptRequestEndTime"], -1.0);
    EXPECT_EQ(report.measures["interceptResponseStartTime"], -1.0);
    EXPECT_EQ(report.measures["interceptResponseEndTime"], -1.0);
    EXPECT_EQ(report.measures["processContentStartTime"], -1.0);
    EXPECT_EQ(report.measures["processContentEndTime"], -1.0);
    std::vector<StatisticsCall> rate = SuccessRate();
    ASSERT_EQ(rate.size(), 1u);
    EXPECT_EQ(rate[0].operation, "CommitSuccess");
    EXPECT_EQ(rate[0].module, "quilsdk");
    EXPECT_EQ(rate[0].arg, "");
}

TEST_F(QuilServiceImplTest, TheReportedResponseInterceptEndIsTheRequestInterceptEnd) {
    RecordingOmbrelHandler handler;
    service->SetOmbrelHandler(&handler);
    client().Enqueue(ServiceTestHost::GatewayAnswer("SUCCESS::ok", "a-ombrel-p: remote\r\n"));
    ResponsePtr response(service->SendSyncRequest(NewRequest()));
    EXPECT_EQ(service->ClearOmbrelHandler(), &handler);
    EXPECT_EQ(handler.ResponseValues(), (std::vector<std::string>{"remote"}));
    ASSERT_EQ(client().Requests().size(), 1u);
    StatisticsCall report = statistics().LastPerformanceReport();
    EXPECT_GE(report.measures["interceptRequestStartTime"], 0.0);
    EXPECT_GE(report.measures["interceptResponseStartTime"],
              report.measures["interceptRequestEndTime"]);
    EXPECT_EQ(report.measures["interceptResponseEndTime"],
              report.measures["interceptRequestEndTime"]);
    EXPECT_EQ(service->ClearOmbrelHandler(), nullptr);
}

TEST_F(QuilServiceImplTest, AMissingServerTimeReportsZeroAndLeavesAnEmptyHeader) {
    ResponsePtr response(service->SendSyncRequest(NewRequest()));
    EXPECT_EQ(statistics().LastPerformanceReport().measures["serverRT"], 0.0);
    std::map<std::string, std::string> headers = response->GetHeaders();
    ASSERT_EQ(headers.count("s-rt"), 1u);
    EXPECT_EQ(headers["s-rt"], "");
}

TEST_F(QuilServiceImplTest, TheAfterChainRunsOverTheGatewayResponse) {
    client().Enqueue(ServiceTestHost::GatewayAnswer("FAIL_BIZ_NOPE::no way"));
    ResponsePtr response(service->SendSyncRequest(NewRequest()));
    EXPECT_EQ(response->GetRetInfo()->retCode, "FAIL_BIZ_NOPE");
    EXPECT_EQ(response->GetRetInfo()->errorType, 3);
    EXPECT_TRUE(log().Has("handle ut after filter, id: 1", QUIL_LOG_VERBOSE));
    EXPECT_TRUE(log().Has("handle errorcode mapping after filter, id: 1", QUIL_LOG_VERBOSE));
    ASSERT_EQ(SuccessRate().size(), 1u);
    EXPECT_EQ(SuccessRate()[0].operation, "CommitFail");
    EXPECT_EQ(SuccessRate()[0].errorCode, "FAIL_BIZ_NOPE");
    EXPECT_EQ(SuccessRate()[0].errorMsg, "no way");
}

TEST_F(QuilServiceImplTest, TheAfterChainsFirstFilterGetsAZeroedResultWhateverTheBeforeChainLeft) {
    FilterTrace trace;
    FilterManager::BeforeChain before;
    before.emplace_back(
        new ScriptedBeforeFilter("b_mark", &trace, [&trace](QuilRequest*, FilterResult* result) {
            result->responseSource = reinterpret_cast<ResponseSource*>(&trace);
            result->waiting = true;
        }));
    FilterManager::AfterChain after;
    ScriptedAfterFilter* first = new ScriptedAfterFilter("a_first", &trace);
    after.emplace_back(first);
    FilterManager manager(std::move(before), std::move(after));
    service->filterManager = &manager;

    ResponsePtr response(service->SendSyncRequest(NewRequest()));
    ASSERT_EQ(first->Runs(), 1);
    FilterResult seen = first->Seen();
    EXPECT_EQ(seen.code, 0);
    EXPECT_EQ(seen.response, nullptr);
    EXPECT_EQ(seen.responseSource, nullptr);
    EXPECT_FALSE(seen.waiting);
}

TEST_F(QuilServiceImplTest, ASynchronousReentryCopiesTheNestedOutcomeIntoTheResponse) {
    FilterTrace trace;
    FilterManager::BeforeChain before;
    before.emplace_back(new ScriptedBeforeFilter("b_ut", &trace));
    FilterManager::AfterChain after;
    after.emplace_back(new ScriptedAfterFilter(
        "a_time_calibration", &trace,
        [](QuilRequest* request, QuilResponse* response, FilterResult* result) {
            if (dynamic_cast<QuilRequestImpl*>(request)->retryTime == 0) {
                PipelineReentry::Reenter(request, response, result);
            }
        }));
    after.emplace_back(new ScriptedAfterFilter("a_ut", &trace));
    FilterManager manager(std::move(before), std::move(after));
    service->filterManager = &manager;

    ScriptedResponse first = ServiceTestHost::GatewayAnswer("FAIL_SYS_REQUEST_EXPIRED::expired");
    first.statusCode = 419;
    client().Enqueue(first);
    client().Enqueue(ServiceTestHost::GatewayAnswer("SUCCESS::second pass", "s-rt: 5\r\n"));

    ResponsePtr response(service->SendSyncRequest(NewRequest()));
    ASSERT_NE(response, nullptr);
    QuilRequestImpl* request = dynamic_cast<QuilRequestImpl*>(response->GetRequest());
    ASSERT_NE(request, nullptr);
    EXPECT_EQ(request->retryTime, 1);
    EXPECT_EQ(request->GetId(), 1);
    EXPECT_EQ(client().SendCount(), 2u);
    EXPECT_EQ(response->GetStatusCode(), 200);
    EXPECT_EQ(response->GetBody(), "{\"data\":{},\"ret\":[\"SUCCESS::second pass\"]}");
    EXPECT_EQ(response->GetRetInfo()->retCode, "SUCCESS");
    EXPECT_EQ(response->GetRetInfo()->retMsg, "second pass");
    EXPECT_EQ(response->GetRetInfo()->errorType, 0);
    EXPECT_EQ(response->GetHeaders()["s-rt"], "5");
    QuilResponseImpl* impl = dynamic_cast<QuilResponseImpl*>(response.get());
    EXPECT_EQ(impl->bodyJson["ret"][0].asString(), "SUCCESS::second pass");
    // The nested pass ran the whole chain; the outer one stopped at the filter that re-entered.
    EXPECT_EQ(trace.Names(), (std::vector<std::string>{"b_ut", "a_time_calibration", "b_ut",
                                                       "a_time_calibration", "a_ut"}));
    EXPECT_EQ(log().CountOf("start sync QuilRequest id = 1, api = mtop.test.api, version = 1.0"),
              2u);
    EXPECT_TRUE(log().Has("request: 1 interupt at after filter: a_time_calibration"));
    // One report for the call, with the retry counted; the nested response was freed.
    std::vector<StatisticsCall> reports = statistics().PerformanceReports();
    ASSERT_EQ(reports.size(), 1u);
    EXPECT_EQ(reports[0].dimensions["retryTime"], "1");
    EXPECT_EQ(reports[0].measures["serverRT"], 5.0);
    EXPECT_EQ(log().CountOf("destory QuilRequestImpl, id: 1"), 0u);
}

TEST_F(QuilServiceImplTest, ANestedFailureIsCopiedIntoTheResponse) {
    FilterManager::AfterChain after;
    after.emplace_back(new ScriptedAfterFilter(
        "a_error_handle", nullptr,
        [](QuilRequest* request, QuilResponse* response, FilterResult* result) {
            if (dynamic_cast<QuilRequestImpl*>(request)->retryTime == 0) {
                PipelineReentry::Reenter(request, response, result);
            }
        }));
    FilterManager manager(FilterManager::BeforeChain(), std::move(after));
    service->filterManager = &manager;
    client().Enqueue(ServiceTestHost::GatewayAnswer("FAIL_SYS_SERVICE_ERROR::busy", "x: y\r\n"));
    sign().Enqueue63(ScriptedSignOutcome::Headers({{"x-sign", "first"}}));
    sign().Enqueue63(ScriptedSignOutcome::Null());
    sign().Enqueue62(ScriptedSignOutcome::Empty("77"));

    ResponsePtr response(service->SendSyncRequest(NewRequest()));
    ASSERT_NE(response, nullptr);
    EXPECT_EQ(response->GetRetInfo()->retCode, "FAIL_SYS_SIGN_ERROR");
    EXPECT_EQ(response->GetRetInfo()->retMsg, "url sign fail, signError = 77");
    EXPECT_EQ(response->GetRetInfo()->errorType, 1);
    EXPECT_EQ(response->GetStatusCode(), 0);
    EXPECT_EQ(response->GetBody(), "");
    EXPECT_TRUE(response->GetHeaders().count("x") == 0);
    EXPECT_EQ(response->GetRequest()->GetId(), 1);
    EXPECT_EQ(client().SendCount(), 1u);
}

TEST_F(QuilServiceImplTest, OmbrelHandlerIsSetAndClearedOnTheFilterManager) {
    RecordingOmbrelHandler handler;
    service->SetOmbrelHandler(&handler);
    EXPECT_EQ(FilterManager::GetInstance()->ClearOmbrelHandler(), &handler);
    service->SetOmbrelHandler(&handler);
    EXPECT_EQ(service->ClearOmbrelHandler(), &handler);
    EXPECT_EQ(service->ClearOmbrelHandler(), nullptr);
}

TEST_F(QuilServiceImplTest, CancelWithoutARequestOrWithIdMinusOneOnlyLogs) {
    service->CancelCall(static_cast<QuilRequest*>(nullptr));
    service->CancelCall(-1);
    EXPECT_TRUE(log().Has("cancel QuilRequest is null", QUIL_LOG_ERROR));
    EXPECT_TRUE(log().Has("cancel QuilRequest request id can't be -1", QUIL_LOG_ERROR));
    // A request that is not on the network is not found: nothing happens.
    std::unique_ptr<QuilRequestImpl> request(new QuilRequestImpl("a", "1"));
    request->SetId(5);
    service->CancelCall(request.get());
    service->CancelCall(5);
    EXPECT_FALSE(request->IsCancelled());
    EXPECT_EQ(log().Count(), 2u);
}

TEST_F(QuilServiceImplTest, RetryOfASynchronousRequestBelowTheLimitOnlyRaisesTheCount) {
    std::unique_ptr<QuilRequestImpl> request(new QuilRequestImpl("mtop.a", "2.0"));
    request->SetId(9);
    request->retryTime = 2;
    service->RetryRequest(request.get());
    EXPECT_EQ(request->retryTime, 3);
    EXPECT_TRUE(log().Has("retry sync QuilRequest failed id = 9, api = mtop.a, version = 2.0",
                          QUIL_LOG_WARN));
    EXPECT_EQ(client().SendCount(), 0u);
    service->RetryRequest(request.get());
    EXPECT_EQ(request->retryTime, 3);
    EXPECT_TRUE(log().Has(
        "retry QuilRequest arrive max retryTime or finished id = 9, api = mtop.a, version = 2.0",
        QUIL_LOG_WARN));
}

namespace {
struct Delivered {
    int count = 0;
    std::string retCode;
    std::string retMsg;
    int errorType = -1;
};
void RecordDelivery(QuilResponse* response, void* userData) {
    Delivered* delivered = static_cast<Delivered*>(userData);
    ++delivered->count;
    delivered->retCode = response->GetRetInfo()->retCode;
    delivered->retMsg = response->GetRetInfo()->retMsg;
    delivered->errorType = response->GetRetInfo()->errorType;
    delete response;
}
}  // namespace

TEST_F(QuilServiceImplTest, RetryOfAnAsynchronousRequestAtTheLimitDeliversOneFailure) {
    Delivered delivered;
    QuilRequestImpl* request = new QuilRequestImpl("mtop.a", "2.0");
    request->SetId(4);
    request->isAsync = 1;
    request->retryTime = 3;
    request->SetCallback(&RecordDelivery);
    request->SetUserData(&delivered);
    service->OpenMetrics(request);
    service->RetryRequest(request);
    EXPECT_EQ(delivered.count, 1);
    EXPECT_EQ(delivered.retCode, "FAIL_SYS_RETRY_LIMIT");
    EXPECT_EQ(delivered.retMsg, "request retry many times");
    EXPECT_EQ(delivered.errorType, 1);
    EXPECT_EQ(statistics().PerformanceReports().size(), 1u);
    EXPECT_EQ(client().SendCount(), 0u);
}

TEST_F(QuilServiceImplTest, RetryOfAFinishedAsynchronousRequestDeliversOneFailure) {
    Delivered delivered;
    QuilRequestImpl* request = new QuilRequestImpl("mtop.a", "2.0");
    request->SetId(4);
    request->isAsync = 1;
    request->finished = true;
    request->SetCallback(&RecordDelivery);
    request->SetUserData(&delivered);
    service->OpenMetrics(request);
    service->RetryRequest(request);
    EXPECT_EQ(delivered.count, 1);
    EXPECT_EQ(delivered.retCode, "FAIL_SYS_RETRY_LIMIT");
}

// The service keeps the manager it was built with. After DestroyInstance a call still ends
// well: the new manager has no client, so the call gets the network failure, and once the host
// registers its client again calls go out as before.
TEST_F(QuilServiceImplTest, ACallAfterTheNetworkManagerWasDestroyedEndsWithTheNetworkFailure) {
    NetworkManager::DestroyInstance();
    EXPECT_EQ(service->SendSyncRequest(NewRequest()), nullptr);
    EXPECT_EQ(client().SendCount(), 0u);
    std::vector<StatisticsCall> rate = SuccessRate();
    ASSERT_EQ(rate.size(), 1u);
    EXPECT_EQ(rate[0].errorCode, "FAIL_NETWORK_CONNECT_ERROR");

    QuilConfig::GetInstance()->RegisterHttpClient(&client());
    client().Enqueue(ServiceTestHost::GatewayAnswer());
    ResponsePtr response(service->SendSyncRequest(NewRequest()));
    ASSERT_NE(response, nullptr);
    EXPECT_TRUE(response->IsSuccess());
    EXPECT_EQ(client().SendCount(), 1u);
}

// A call that a before filter stops never reaches composition, signing, cookies, the network,
// parsing, the after filters or the response side: each of their marks, and the size of the
// request header that composition would have counted, report -1.
TEST_F(QuilServiceImplTest, ACallStoppedByABeforeFilterReportsMinusOneForEveryStageItNeverReached) {
    FilterManager::BeforeChain before;
    before.emplace_back(new ScriptedBeforeFilter(
        "b_stop", nullptr, [](QuilRequest*, FilterResult* result) { result->code = 1; }));
    FilterManager manager(std::move(before), FilterManager::AfterChain());
    service->filterManager = &manager;

    EXPECT_EQ(service->SendSyncRequest(NewRequest()), nullptr);
    EXPECT_EQ(client().SendCount(), 0u);
    ASSERT_EQ(statistics().PerformanceReports().size(), 1u);
    StatisticsCall report = statistics().LastPerformanceReport();
    const char* neverReached[] = {"composeRequestStartTime",
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
                                  "interceptResponseStartTime"};
    for (const char* name : neverReached) EXPECT_EQ(report.measures.at(name), -1.0) << name;
    EXPECT_EQ(report.measures.at("requestHeaderSize"), -1.0);
    // The stages it did pass carry their marks.
    EXPECT_GE(report.measures.at("beforeFilterStartTime"), 0.0);
    EXPECT_GE(report.measures.at("beforeFilterEndTime"),
              report.measures.at("beforeFilterStartTime"));
    EXPECT_GE(report.measures.at("processEndTime"), report.measures.at("processStartTime"));
}
