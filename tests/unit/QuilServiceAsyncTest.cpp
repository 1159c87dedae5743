#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "FilterManager.h"
#include "NetworkPoolBarrier.h"
#include "PipelineReentry.h"
#include "QuilCallbackRecorder.h"
#include "QuilCancelRelease.h"
#include "QuilRequestImpl.h"
#include "QuilResponseImpl.h"
#include "QuilServiceImpl.h"
#include "ScriptedFilters.h"
#include "ServiceTestHost.h"
#include "UTDataSet.h"

using quil::test::Delivery;
using quil::test::FilterTrace;
using quil::test::Gate;
using quil::test::Latch;
using quil::test::LogLine;
using quil::test::NetworkPoolBarrier;
using quil::test::QuilCallbackRecorder;
using quil::test::ScriptedAfterFilter;
using quil::test::ScriptedBeforeFilter;
using quil::test::ScriptedResponse;
using quil::test::ScriptedSignOutcome;
using quil::test::ServiceTestHost;
using quil::test::StatisticsCall;

namespace {

class QuilServiceAsyncTest : public ::testing::Test {
protected:
    void SetUp() override {
        service = ServiceTestHost::Install();
        ASSERT_NE(service, nullptr);
        originalManager = service->filterManager;
        client().SetDefault(
            ServiceTestHost::GatewayAnswer("SUCCESS::call ok", "x-retcode: SUCCESS\r\n"));
        barrier.reset(new NetworkPoolBarrier(&client()));
        QuilConfig::GetInstance()->RegisterHttpClient(barrier.get());
    }
    void TearDown() override {
        // Every send and completion is over before the test's objects go.
        client().OpenGate();
        EXPECT_TRUE(barrier->Drain());
        service->filterManager = originalManager;
        QuilConfig::GetInstance()->RegisterQuilLog(nullptr);
        QuilConfig::GetInstance()->RegisterUTStatistics(nullptr);
    }

    // A request whose answer comes to the fixture's recorder.
    QuilRequest* NewRequest(const std::string& api = "mtop.test.api",
                            const std::string& version = "1.0") {
        QuilRequest* request = QuilRequest::Create(api, version);
        request->AddData("key", std::string("value"));
        recorder.Attach(request);
        return request;
    }

    // Uses a chain of scripted filters for the rest of the test.
    void UseChains(FilterManager::BeforeChain before, FilterManager::AfterChain after) {
        manager.reset(new FilterManager(std::move(before), std::move(after)));
        service->filterManager = manager.get();
    }

    bool InFlightHolds(const HttpRequest* httpRequest) {
        return service->calls.IsInFlight(httpRequest);
    }
    std::size_t InFlightSize() { return service->calls.InFlightCount(); }
    std::size_t AbandonedSize() { return service->calls.AbandonedCount(); }

    quil::test::RecordingLog& log() { return ServiceTestHost::Log(); }
    quil::test::RecordingStatistics& statistics() { return ServiceTestHost::Statistics(); }
    quil::test::ScriptedSign& sign() { return ServiceTestHost::Sign(); }
    quil::test::ScriptedHttpClient& client() { return ServiceTestHost::Client(); }

    std::vector<StatisticsCall> SuccessRate() {
        std::vector<StatisticsCall> rate;
        for (const StatisticsCall& call : statistics().Calls()) {
            if (call.point == "successRate") rate.push_back(call);
        }
        return rate;
    }

    QuilServiceImpl* service = nullptr;
    FilterManager* originalManager = nullptr;
    std::unique_ptr<FilterManager> manager;
    std::unique_ptr<NetworkPoolBarrier> barrier;
    QuilCallbackRecorder recorder;
};

// A before filter that parks the request as the login filter does on this road: the request
// is handed to the test (the pending-request pool's stand-in) and the chain stops with waiting.
struct ParkingLot {
    std::mutex mutex;  // guards parked and parkNext
    QuilRequest* parked = nullptr;
    bool parkNext = true;
};

}  // namespace

TEST_F(QuilServiceAsyncTest, ANullRequestGivesMinusSixWithoutALogLine) {
    EXPECT_EQ(service->SendAsyncRequest(nullptr), -6);
    EXPECT_EQ(log().Count(), 0u);
}

TEST_F(QuilServiceAsyncTest, AsyncCallOfNullLogsAndGivesMinusSix) {
    EXPECT_EQ(service->AsyncCall(nullptr, nullptr), -6);
    LogLine line = log().Find("async QuilRequest is null");
    EXPECT_EQ(line.level, QUIL_LOG_ERROR);
    EXPECT_EQ(line.function, "AsyncCall");
}

TEST_F(QuilServiceAsyncTest, AnEmptyAppKeyGivesMinusTwoDeletesTheRequestAndNeverCallsBack) {
    QuilConfig::GetInstance()->appKey = "";
    EXPECT_EQ(service->SendAsyncRequest(NewRequest()), -2);
    EXPECT_TRUE(log().Has("start async QuilRequest id = 1, api = mtop.test.api, version = 1.0",
                          QUIL_LOG_INFO));
    EXPECT_TRUE(log().Has("async QuilRequest check dependency fail id = 1", QUIL_LOG_ERROR));
    EXPECT_TRUE(log().Has("destory QuilRequestImpl, id: 1"));
    // Nothing was queued, started, reported or called back.
    EXPECT_EQ(service->threadPool->QueueLength(), 0u);
    EXPECT_EQ(service->sign.load(), nullptr);
    EXPECT_TRUE(statistics().PerformanceReports().empty());
    EXPECT_TRUE(SuccessRate().empty());
    EXPECT_EQ(UTDataSet::GetInstance()->Size(), 0u);
    EXPECT_TRUE(barrier->Drain());
    EXPECT_EQ(recorder.Count(), 0u);
}

TEST_F(QuilServiceAsyncTest, AQueuedCallIsAnsweredOnceInItsCallbackOnANetworkWorker) {
    client().Enqueue(ServiceTestHost::GatewayAnswer("SUCCESS::call ok", "x-retcode: SUCCESS\r\n"));
    QuilRequest* request = NewRequest();
    EXPECT_EQ(service->SendAsyncRequest(request), 0);
    ASSERT_TRUE(recorder.WaitFor(1));
    ASSERT_TRUE(barrier->Drain());
    std::vector<Delivery> deliveries = recorder.Deliveries();
    ASSERT_EQ(deliveries.size(), 1u);
    EXPECT_EQ(deliveries[0].request, request);
    EXPECT_EQ(deliveries[0].id, 1);
    EXPECT_EQ(deliveries[0].retCode, "SUCCESS");
    EXPECT_EQ(deliveries[0].retMsg, "call ok");
    EXPECT_EQ(deliveries[0].errorType, 0);
    EXPECT_EQ(deliveries[0].statusCode, 200);
    EXPECT_NE(deliveries[0].thread, std::this_thread::get_id());
    LogLine start =
        log().Find("start async QuilRequest id = 1, api = mtop.test.api, version = 1.0");
    EXPECT_EQ(start.level, QUIL_LOG_INFO);
    EXPECT_EQ(start.function, "AsyncCall");
    // The whole real chain ran, the first filter included.
    EXPECT_TRUE(log().Has("handle ut before filter, id: 1"));
    EXPECT_TRUE(log().Has("handle ut after filter, id: 1"));
    EXPECT_EQ(client().Requests()[0].requestId, 1);
    // One report, as an asynchronous call.
    ASSERT_EQ(statistics().PerformanceReports().size(), 1u);
    StatisticsCall report = statistics().LastPerformanceReport();
    EXPECT_EQ(report.dimensions["isSync"], "false");
    EXPECT_EQ(report.dimensions["errorCode"], "SUCCESS");
    ASSERT_EQ(SuccessRate().size(), 1u);
    EXPECT_EQ(SuccessRate()[0].operation, "CommitSuccess");
    EXPECT_EQ(InFlightSize(), 0u);
    EXPECT_EQ(UTDataSet::GetInstance()->Size(), 0u);
    EXPECT_TRUE(log().Has("destory QuilRequestImpl, id: 1"));
}

namespace {

// A response whose deletion is written into a trace.
class TracedHttpResponse : public HttpResponse {
public:
    explicit TracedHttpResponse(FilterTrace* trace) : trace_(trace) {}
    ~TracedHttpResponse() override { trace_->Add("http response deleted"); }

private:
    FilterTrace* trace_;
};

// A transport that answers at once with a gateway success whose deletion is traced, and
// writes "send" into the trace when it is reached.
class TracingClient : public IHttpClient {
public:
    explicit TracingClient(FilterTrace* trace) : trace_(trace) {}
    HttpResponse* SendHttpRequest(HttpRequest* request) override {
        if (onSend) onSend(request);
        trace_->Add("send");
        TracedHttpResponse* response = new TracedHttpResponse(trace_);
        response->request = request;
        response->statusCode = 200;
        const std::string header = "HTTP/1.1 200 OK\r\nx-retcode: SUCCESS\r\n";
        const std::string body = "{\"ret\":[\"SUCCESS::ok\"]}";
        response->header.assign(header.begin(), header.end());
        response->body.assign(body.begin(), body.end());
        return response;
    }
    std::function<void(HttpRequest*)> onSend;

private:
    FilterTrace* trace_;
};

}  // namespace

TEST_F(QuilServiceAsyncTest, EventsComeInTheirFixedOrderAndTheHttpResponseGoesAfterTheCallback) {
    FilterTrace trace;
    FilterManager::BeforeChain before;
    before.emplace_back(new ScriptedBeforeFilter("b_ut", &trace));
    FilterManager::AfterChain after;
    after.emplace_back(new ScriptedAfterFilter("a_ut", &trace));
    UseChains(std::move(before), std::move(after));

    TracingClient tracing(&trace);
    bool entryBeforeSend = false;
    tracing.onSend = [&](HttpRequest* httpRequest) {
        entryBeforeSend = InFlightHolds(httpRequest);
    };
    // The one call goes through this client; the pool is drained through the fixture's.
    QuilConfig::GetInstance()->RegisterHttpClient(&tracing);

    bool reportedBeforeCallback = false;
    bool entryGoneBeforeCallback = false;
    recorder.SetOnDeliver([&](QuilResponse*) {
        reportedBeforeCallback =
            statistics().PerformanceReports().size() == 1 && SuccessRate().size() == 1;
        entryGoneBeforeCallback = InFlightSize() == 0;
        trace.Add("callback");
    });

    ASSERT_EQ(service->SendAsyncRequest(NewRequest()), 0);
    ASSERT_TRUE(recorder.WaitFor(1));
    QuilConfig::GetInstance()->RegisterHttpClient(barrier.get());
    ASSERT_TRUE(barrier->Drain());

    EXPECT_EQ(trace.Names(), (std::vector<std::string>{"b_ut", "send", "a_ut", "callback",
                                                       "http response deleted"}));
    EXPECT_TRUE(entryBeforeSend);
    EXPECT_TRUE(reportedBeforeCallback);
    EXPECT_TRUE(entryGoneBeforeCallback);
    ASSERT_EQ(sign().Calls().size(), 1u);
    // The marks follow the phases: filters, sign, compose, send, parse, after filters, close.
    StatisticsCall report = statistics().LastPerformanceReport();
    const std::vector<std::string> marks = {
        "processStartTime",       "beforeFilterStartTime", "beforeFilterEndTime",
        "signStartTime",          "signEndTime",           "composeRequestStartTime",
        "composeRequestEndTime",  "networkSendStartTime",  "networkSendEndTime",
        "parseResponseStartTime", "parseResponseEndTime",  "afterFilterStartTime",
        "afterFilterEndTime",     "processEndTime"};
    for (std::size_t i = 0; i < marks.size(); ++i) {
        EXPECT_GE(report.measures[marks[i]], 0.0) << marks[i];
        if (i > 0) {
            EXPECT_LE(report.measures[marks[i - 1]], report.measures[marks[i]]) << marks[i];
        }
    }
}

TEST_F(QuilServiceAsyncTest, FiltersSignAndComposeRunOnTheServiceWorkerTheRestOnANetworkWorker) {
    std::thread::id beforeThread;
    std::thread::id afterThread;
    FilterManager::BeforeChain before;
    before.emplace_back(new ScriptedBeforeFilter("b_ut", nullptr, [&](QuilRequest*, FilterResult*) {
        beforeThread = std::this_thread::get_id();
    }));
    FilterManager::AfterChain after;
    after.emplace_back(
        new ScriptedAfterFilter("a_ut", nullptr, [&](QuilRequest*, QuilResponse*, FilterResult*) {
            afterThread = std::this_thread::get_id();
        }));
    UseChains(std::move(before), std::move(after));

    ASSERT_EQ(service->SendAsyncRequest(NewRequest()), 0);
    ASSERT_TRUE(recorder.WaitFor(1));
    ASSERT_TRUE(barrier->Drain());
    EXPECT_NE(beforeThread, std::this_thread::get_id());
    EXPECT_NE(afterThread, beforeThread);
    EXPECT_EQ(recorder.Deliveries()[0].thread, afterThread);
}

TEST_F(QuilServiceAsyncTest, AResumedPassSkipsTheFiltersBeforeSetupRequest) {
    QuilRequestImpl* request = static_cast<QuilRequestImpl*>(NewRequest());
    request->SetId(31);
    request->isAsync = 1;
    service->OpenMetrics(request);
    EXPECT_EQ(service->AsyncCall(request, "b_setup_request"), 0);
    ASSERT_TRUE(recorder.WaitFor(1));
    ASSERT_TRUE(barrier->Drain());
    EXPECT_TRUE(log().Has("request: 31 skip before filter: b_ut", QUIL_LOG_WARN));
    EXPECT_FALSE(log().Has("handle ut before filter, id: 31"));
    EXPECT_TRUE(log().Has("handle setup request before filter, id: 31"));
    EXPECT_EQ(recorder.Deliveries()[0].retCode, "SUCCESS");
}

TEST_F(QuilServiceAsyncTest, ThePublicCallNeverSkipsAFilter) {
    ASSERT_EQ(service->SendAsyncRequest(NewRequest()), 0);
    ASSERT_TRUE(recorder.WaitFor(1));
    ASSERT_TRUE(barrier->Drain());
    EXPECT_TRUE(log().Has("handle ut before filter, id: 1"));
    EXPECT_TRUE(log().FindPrefix("request: 1 skip before filter").message.empty());
}

TEST_F(QuilServiceAsyncTest, AWaitingStopGivesNoCallbackUntilThePoolRunsTheRequestAgain) {
    ParkingLot lot;
    FilterTrace trace;
    FilterManager::BeforeChain before;
    before.emplace_back(new ScriptedBeforeFilter("b_ut", &trace));
    before.emplace_back(new ScriptedBeforeFilter(
        "b_login", &trace, [&lot](QuilRequest* request, FilterResult* result) {
            std::lock_guard<std::mutex> lock(lot.mutex);
            if (!lot.parkNext) return;
            lot.parkNext = false;
            lot.parked = request;
            result->waiting = true;
            result->code = 1;
        }));
    UseChains(std::move(before), FilterManager::AfterChain());

    QuilRequest* request = NewRequest();
    ASSERT_EQ(service->SendAsyncRequest(request), 0);
    // A second call queued behind it on the one worker shows that the first task has ended.
    QuilCallbackRecorder other;
    QuilRequest* second = QuilRequest::Create("mtop.other", "1.0");
    other.Attach(second);
    ASSERT_EQ(service->SendAsyncRequest(second), 0);
    ASSERT_TRUE(other.WaitFor(1));
    ASSERT_TRUE(barrier->Drain());

    EXPECT_EQ(recorder.Count(), 0u);
    EXPECT_FALSE(log().Has("async QuilRequest before filter stop id = 1"));
    EXPECT_TRUE(log().Has("request: 1 interupt at before filter: b_login", QUIL_LOG_WARN));
    EXPECT_EQ(client().SendCount(), 1u);  // the second call's only
    {
        std::lock_guard<std::mutex> lock(lot.mutex);
        ASSERT_EQ(lot.parked, request);
    }

    // The pool's retry after the login runs a whole new pass and delivers.
    service->RetryRequest(request);
    ASSERT_TRUE(recorder.WaitFor(1));
    ASSERT_TRUE(barrier->Drain());
    EXPECT_EQ(recorder.Count(), 1u);
    EXPECT_EQ(recorder.Deliveries()[0].retCode, "SUCCESS");
    EXPECT_TRUE(log().Has("retry async QuilRequest id = 1, api = mtop.test.api, version = 1.0",
                          QUIL_LOG_INFO));
    EXPECT_EQ(trace.Names(),
              (std::vector<std::string>{"b_ut", "b_login", "b_ut", "b_login", "b_ut", "b_login"}));
    EXPECT_EQ(statistics().LastPerformanceReport().dimensions["retryTime"], "1");
}

TEST_F(QuilServiceAsyncTest, ABeforeFilterStopDeliversItsResponseFromTheServiceWorker) {
    std::thread::id filterThread;
    FilterManager::BeforeChain before;
    before.emplace_back(new ScriptedBeforeFilter(
        "b_threshold", nullptr, [&](QuilRequest* request, FilterResult* result) {
            filterThread = std::this_thread::get_id();
            QuilResponseImpl* banned = new QuilResponseImpl();
            banned->statusCode = 200;
            banned->retInfo.reset(new RetInfo());
            banned->retInfo->retCode = "FAIL_SYS_FLOWLIMIT";
            banned->retInfo->retMsg = "limited";
            banned->retInfo->errorType = 3;
            banned->request.reset(request);
            result->response = banned;
            result->code = 1;
        }));
    FilterTrace trace;
    FilterManager::AfterChain after;
    after.emplace_back(new ScriptedAfterFilter("a_ut", &trace));
    UseChains(std::move(before), std::move(after));

    ASSERT_EQ(service->SendAsyncRequest(NewRequest()), 0);
    ASSERT_TRUE(recorder.WaitFor(1));
    ASSERT_TRUE(barrier->Drain());
    Delivery delivery = recorder.Deliveries()[0];
    EXPECT_EQ(delivery.retCode, "FAIL_SYS_FLOWLIMIT");
    EXPECT_EQ(delivery.retMsg, "limited");
    EXPECT_EQ(delivery.thread, filterThread);
    LogLine line = log().Find("async QuilRequest before filter stop id = 1");
    EXPECT_EQ(line.level, QUIL_LOG_ERROR);
    EXPECT_EQ(line.function, "ExecuteAsyncCall");
    EXPECT_TRUE(sign().Calls().empty());
    EXPECT_EQ(client().SendCount(), 0u);
    EXPECT_TRUE(trace.Names().empty());
    StatisticsCall report = statistics().LastPerformanceReport();
    EXPECT_EQ(report.dimensions["errorCode"], "FAIL_SYS_FLOWLIMIT");
    EXPECT_EQ(report.measures["signStartTime"], -1.0);
    ASSERT_EQ(SuccessRate().size(), 1u);
    EXPECT_EQ(SuccessRate()[0].errorCode, "FAIL_SYS_FLOWLIMIT");
}

TEST_F(QuilServiceAsyncTest, AStopWithoutResponseCallsBackWithNullAndDeletesTheRequest) {
    FilterManager::BeforeChain before;
    before.emplace_back(new ScriptedBeforeFilter(
        "b_stop", nullptr, [](QuilRequest*, FilterResult* result) { result->code = 1; }));
    UseChains(std::move(before), FilterManager::AfterChain());
    ASSERT_EQ(service->SendAsyncRequest(NewRequest()), 0);
    ASSERT_TRUE(recorder.WaitFor(1));
    ASSERT_TRUE(barrier->Drain());
    EXPECT_TRUE(recorder.Deliveries()[0].isNull);
    EXPECT_TRUE(log().Has("async QuilRequest before filter stop id = 1", QUIL_LOG_ERROR));
    // The request goes once the callback has returned, on the service's worker.
    EXPECT_TRUE(
        quil::test::WaitUntil([this] { return log().Has("destory QuilRequestImpl, id: 1"); }));
    ASSERT_EQ(SuccessRate().size(), 1u);
    EXPECT_EQ(SuccessRate()[0].errorCode, "FAIL_NETWORK_CONNECT_ERROR");
    EXPECT_EQ(UTDataSet::GetInstance()->Size(), 0u);
}

TEST_F(QuilServiceAsyncTest, WithoutASigningObjectTheCallbackGetsTheLoadError) {
    QuilServiceImpl::SetSignProviderForTesting(nullptr);
    ASSERT_EQ(service->SendAsyncRequest(NewRequest()), 0);
    ASSERT_TRUE(recorder.WaitFor(1));
    ASSERT_TRUE(barrier->Drain());
    Delivery delivery = recorder.Deliveries()[0];
    EXPECT_EQ(delivery.retCode, "FAIL_SYS_SIGN_LOAD_ERROR");
    EXPECT_EQ(delivery.retMsg, "WardkeepSDK load error");
    EXPECT_EQ(delivery.errorType, 1);
    EXPECT_EQ(delivery.statusCode, 0);
    LogLine line = log().Find("iQuilSign is null");
    EXPECT_EQ(line.level, QUIL_LOG_FATAL);
    EXPECT_EQ(line.function, "ExecuteAsyncCall");
    EXPECT_TRUE(log().Has("handle ut before filter, id: 1"));
    EXPECT_FALSE(log().Has("handle ut after filter, id: 1"));
    EXPECT_EQ(client().SendCount(), 0u);
    EXPECT_EQ(statistics().LastPerformanceReport().dimensions["errorCode"],
              "FAIL_SYS_SIGN_LOAD_ERROR");
}

TEST_F(QuilServiceAsyncTest, AFailedSignIsDeliveredWithoutAfterFilters) {
    sign().SetDefault63(ScriptedSignOutcome::Null());
    sign().SetDefault62(ScriptedSignOutcome::Empty("E_SIGN"));
    ASSERT_EQ(service->SendAsyncRequest(NewRequest()), 0);
    ASSERT_TRUE(recorder.WaitFor(1));
    ASSERT_TRUE(barrier->Drain());
    Delivery delivery = recorder.Deliveries()[0];
    EXPECT_EQ(delivery.retCode, "FAIL_SYS_SIGN_ERROR");
    EXPECT_EQ(delivery.retMsg, "url sign fail, signError = E_SIGN");
    EXPECT_EQ(delivery.errorType, 1);
    LogLine line = log().Find("async QuilRequest security sign fail id = 1");
    EXPECT_EQ(line.level, QUIL_LOG_ERROR);
    EXPECT_EQ(line.function, "ExecuteAsyncCall");
    EXPECT_FALSE(log().Has("sync QuilRequest security sign fail id = 1"));
    EXPECT_FALSE(log().Has("handle ut after filter, id: 1"));
    EXPECT_EQ(client().SendCount(), 0u);
}

TEST_F(QuilServiceAsyncTest, AFailedExchangeIsDeliveredAsAConnectErrorAfterTheAfterFilters) {
    client().Enqueue(ScriptedResponse::Null());
    ASSERT_EQ(service->SendAsyncRequest(NewRequest()), 0);
    ASSERT_TRUE(recorder.WaitFor(1));
    ASSERT_TRUE(barrier->Drain());
    Delivery delivery = recorder.Deliveries()[0];
    EXPECT_EQ(delivery.retCode, "FAIL_NETWORK_CONNECT_ERROR");
    EXPECT_EQ(delivery.errorType, 2);
    EXPECT_EQ(delivery.statusCode, 0);
    EXPECT_TRUE(log().Has("handle ut after filter, id: 1"));
}

TEST_F(QuilServiceAsyncTest, AnAnswerThatComesAtOnceStillFindsItsEntry) {
    std::vector<bool> found;
    std::mutex foundMutex;
    client().SetOnSend([&](HttpRequest* httpRequest) {
        bool holds = InFlightHolds(httpRequest);
        std::lock_guard<std::mutex> lock(foundMutex);
        found.push_back(holds);
    });
    for (int i = 0; i < 20; ++i) {
        ASSERT_EQ(service->SendAsyncRequest(NewRequest()), 0);
    }
    ASSERT_TRUE(recorder.WaitFor(20));
    ASSERT_TRUE(barrier->Drain());
    client().SetOnSend(nullptr);
    EXPECT_EQ(recorder.Count(), 20u);
    std::lock_guard<std::mutex> lock(foundMutex);
    EXPECT_EQ(found, std::vector<bool>(20, true));
}

TEST_F(QuilServiceAsyncTest, TheIdIsTheCancelKeyOfTheSend) {
    QuilRequest* request = NewRequest();
    request->SetId(4021);
    ASSERT_EQ(service->SendAsyncRequest(request), 0);
    ASSERT_TRUE(recorder.WaitFor(1));
    ASSERT_TRUE(barrier->Drain());
    ASSERT_EQ(client().Requests().size(), 1u);
    EXPECT_EQ(client().Requests()[0].cancelKey, "4021");
    EXPECT_EQ(client().Requests()[0].requestId, 4021);
}

TEST_F(QuilServiceAsyncTest, TheIdIsTheNameOfTheServicePoolTask) {
    Gate hold;
    Latch holding(1);
    FilterManager::BeforeChain before;
    before.emplace_back(
        new ScriptedBeforeFilter("b_ut", nullptr, [&](QuilRequest* request, FilterResult*) {
            if (request->GetId() == 1) {
                holding.CountDown();
                hold.Pass();
            }
        }));
    UseChains(std::move(before), FilterManager::AfterChain());

    ASSERT_EQ(service->SendAsyncRequest(NewRequest()), 0);
    ASSERT_TRUE(holding.Wait());
    QuilRequest* second = NewRequest();
    ASSERT_EQ(service->SendAsyncRequest(second), 0);
    ASSERT_EQ(service->threadPool->QueueLength(), 1u);
    service->threadPool->CancelTask("2");
    EXPECT_EQ(service->threadPool->QueueLength(), 0u);
    hold.Open();
    ASSERT_TRUE(recorder.WaitFor(1));
    ASSERT_TRUE(barrier->Drain());
    EXPECT_EQ(recorder.Count(), 1u);
    EXPECT_EQ(recorder.Deliveries()[0].id, 1);
    // The removed task took nothing with it: the test, which removed it, frees the request.
    UTDataSet::GetInstance()->DropMetricsEntity(second);
    delete static_cast<QuilRequestImpl*>(second);
}

TEST_F(QuilServiceAsyncTest, AnAfterFilterRetryResumesAtSetupRequestUnderTheSameIdAndDeliversOnce) {
    FilterTrace trace;
    FilterManager::BeforeChain before;
    before.emplace_back(new ScriptedBeforeFilter("b_ut", &trace));
    before.emplace_back(new ScriptedBeforeFilter("b_setup_request", &trace));
    FilterManager::AfterChain after;
    after.emplace_back(new ScriptedAfterFilter(
        "a_time_calibration", &trace,
        [](QuilRequest* request, QuilResponse* response, FilterResult* result) {
            QuilRequestImpl* impl = dynamic_cast<QuilRequestImpl*>(request);
            if (impl->retryTime < 3 && response->GetRetInfo()->retCode == "FAIL_SYS_EXPIRED") {
                PipelineReentry::Reenter(request, response, result);
            }
        }));
    after.emplace_back(new ScriptedAfterFilter("a_ut", &trace));
    UseChains(std::move(before), std::move(after));

    client().Enqueue(ServiceTestHost::GatewayAnswer("FAIL_SYS_EXPIRED::expired"));
    client().Enqueue(ServiceTestHost::GatewayAnswer("SUCCESS::second"));
    ASSERT_EQ(service->SendAsyncRequest(NewRequest()), 0);
    ASSERT_TRUE(recorder.WaitFor(1));
    ASSERT_TRUE(barrier->Drain());

    ASSERT_EQ(recorder.Count(), 1u);
    EXPECT_EQ(recorder.Deliveries()[0].retCode, "SUCCESS");
    EXPECT_EQ(recorder.Deliveries()[0].retMsg, "second");
    EXPECT_EQ(trace.Names(),
              (std::vector<std::string>{"b_ut", "b_setup_request", "a_time_calibration",
                                        "b_setup_request", "a_time_calibration", "a_ut"}));
    EXPECT_TRUE(log().Has("request: 1 skip before filter: b_ut", QUIL_LOG_WARN));
    EXPECT_TRUE(log().Has("request: 1 interupt at after filter: a_time_calibration"));
    EXPECT_EQ(log().CountOf("start async QuilRequest id = 1, api = mtop.test.api, version = 1.0"),
              2u);
    // Both sends went under the id: the same task name and cancel key.
    ASSERT_EQ(client().Requests().size(), 2u);
    EXPECT_EQ(client().Requests()[0].cancelKey, "1");
    EXPECT_EQ(client().Requests()[1].cancelKey, "1");
    // The metrics were opened once and closed once, with the count of the retry.
    ASSERT_EQ(statistics().PerformanceReports().size(), 1u);
    EXPECT_EQ(statistics().LastPerformanceReport().dimensions["retryTime"], "1");
    EXPECT_EQ(sign().Calls().size(), 2u);
    // The first pass's response was freed without its request; the request went once.
    EXPECT_EQ(log().CountOf("destory QuilRequestImpl, id: 1"), 1u);
}

TEST_F(QuilServiceAsyncTest, ReleasingACancelOfACallOnTheNetworkFreesItAndNothingComesBack) {
    client().CloseGate();
    QuilRequest* request = NewRequest("mtop.cancel.api", "2.0");
    ASSERT_EQ(service->SendAsyncRequest(request), 0);
    ASSERT_TRUE(client().WaitForInFlight(1));
    EXPECT_TRUE(quil::CancelCallAndRelease(request));
    LogLine line = log().Find("cancel QuilRequest id = 1, api = mtop.cancel.api, version = 2.0");
    EXPECT_EQ(line.level, QUIL_LOG_INFO);
    EXPECT_EQ(line.function, "CancelCall");
    EXPECT_TRUE(log().Has("destory QuilRequestImpl, id: 1"));
    EXPECT_EQ(InFlightSize(), 0u);
    EXPECT_EQ(UTDataSet::GetInstance()->Size(), 0u);
    client().OpenGate();
    ASSERT_TRUE(barrier->Drain());
    EXPECT_EQ(recorder.Count(), 0u);
    EXPECT_TRUE(statistics().PerformanceReports().empty());
    EXPECT_TRUE(SuccessRate().empty());
    EXPECT_FALSE(log().Has("handle ut after filter, id: 1"));
    // The late answer was freed with its HttpRequest.
    EXPECT_EQ(AbandonedSize(), 0u);
}

TEST_F(QuilServiceAsyncTest, ACancelRemovesASendThatHasNotStarted) {
    client().CloseGate();
    for (int i = 0; i < 5; ++i) {
        ASSERT_EQ(service->SendAsyncRequest(NewRequest()), 0);
    }
    ASSERT_TRUE(client().WaitForInFlight(5));
    QuilRequest* sixth = NewRequest();
    ASSERT_EQ(service->SendAsyncRequest(sixth), 0);
    ASSERT_TRUE(quil::test::WaitUntil([&] { return InFlightSize() == 6; }));
    EXPECT_TRUE(quil::CancelCallAndRelease(6));
    client().OpenGate();
    ASSERT_TRUE(recorder.WaitFor(5));
    ASSERT_TRUE(barrier->Drain());
    EXPECT_EQ(recorder.Count(), 5u);
    EXPECT_EQ(recorder.CountFor(6), 0u);
    EXPECT_EQ(client().SendCount(), 5u);
    // The send never ran, so its HttpRequest stays with the service for good.
    EXPECT_EQ(AbandonedSize(), 1u);
}

TEST_F(QuilServiceAsyncTest, ACancelOfAFinishedCallFindsNothingAndDoesNothing) {
    ASSERT_EQ(service->SendAsyncRequest(NewRequest()), 0);
    ASSERT_TRUE(recorder.WaitFor(1));
    ASSERT_TRUE(barrier->Drain());
    log().Clear();
    service->CancelCall(1);
    EXPECT_FALSE(quil::CancelCallAndRelease(1));
    EXPECT_EQ(log().Count(), 0u);
    EXPECT_EQ(recorder.Count(), 1u);
    EXPECT_EQ(AbandonedSize(), 0u);
}

TEST_F(QuilServiceAsyncTest, ACancelOfANewRequestIsTheIdMinusOneCaseAndOnlyLogs) {
    std::unique_ptr<QuilRequestImpl> request(new QuilRequestImpl("mtop.new", "1.0"));
    service->CancelCall(request->GetId());
    EXPECT_EQ(log().CountOf("cancel QuilRequest request id can't be -1"), 1u);
    EXPECT_FALSE(quil::CancelCallAndRelease(request->GetId()));
    EXPECT_EQ(log().CountOf("cancel QuilRequest request id can't be -1"), 2u);
    EXPECT_FALSE(quil::CancelCallAndRelease(static_cast<QuilRequest*>(nullptr)));
    EXPECT_TRUE(log().Has("cancel QuilRequest is null", QUIL_LOG_ERROR));
    EXPECT_FALSE(request->IsCancelled());
}

TEST_F(QuilServiceAsyncTest, ACallNotYetOnTheNetworkCannotBeCancelled) {
    Gate hold;
    Latch holding(1);
    FilterManager::BeforeChain before;
    before.emplace_back(new ScriptedBeforeFilter("b_ut", nullptr, [&](QuilRequest*, FilterResult*) {
        holding.CountDown();
        hold.Pass();
    }));
    UseChains(std::move(before), FilterManager::AfterChain());
    QuilRequest* request = NewRequest();
    ASSERT_EQ(service->SendAsyncRequest(request), 0);
    ASSERT_TRUE(holding.Wait());
    service->CancelCall(request);
    service->CancelCall(1);
    EXPECT_FALSE(quil::CancelCallAndRelease(request));
    EXPECT_TRUE(log().FindPrefix("cancel QuilRequest id").message.empty());
    hold.Open();
    ASSERT_TRUE(recorder.WaitFor(1));
    ASSERT_TRUE(barrier->Drain());
    EXPECT_EQ(recorder.Deliveries()[0].retCode, "SUCCESS");
}

namespace {

// Keeps each delivered response, so that a test can run its request again.
struct KeptResponses {
    std::mutex mutex;  // guards responses
    std::vector<std::unique_ptr<QuilResponse>> responses;
    Latch arrived{1};
    std::thread::id thread;
    static void Callback(QuilResponse* response, void* userData) {
        KeptResponses* kept = static_cast<KeptResponses*>(userData);
        {
            std::lock_guard<std::mutex> lock(kept->mutex);
            kept->responses.emplace_back(response);
            kept->thread = std::this_thread::get_id();
        }
        kept->arrived.CountDown();
    }
};

}  // namespace

TEST_F(QuilServiceAsyncTest, RetryAtTwoRaisesTheCountToThreeAndRunsThenTheNextRetryFails) {
    KeptResponses kept;
    QuilRequestImpl* request = new QuilRequestImpl("mtop.retry", "1.0");
    request->SetId(7);
    request->isAsync = 1;
    request->retryTime = 2;
    request->SetCallback(&KeptResponses::Callback);
    request->SetUserData(&kept);
    service->RetryRequest(request);
    EXPECT_EQ(request->retryTime, 3);
    LogLine line = log().Find("retry async QuilRequest id = 7, api = mtop.retry, version = 1.0");
    EXPECT_EQ(line.level, QUIL_LOG_INFO);
    ASSERT_TRUE(kept.arrived.Wait());
    ASSERT_TRUE(barrier->Drain());
    {
        std::lock_guard<std::mutex> lock(kept.mutex);
        ASSERT_EQ(kept.responses.size(), 1u);
        EXPECT_EQ(kept.responses[0]->GetRetInfo()->retCode, "SUCCESS");
        EXPECT_EQ(kept.responses[0]->GetRequest(), request);
    }
    EXPECT_EQ(client().SendCount(), 1u);
    EXPECT_EQ(client().Requests()[0].cancelKey, "7");
    EXPECT_EQ(statistics().LastPerformanceReport().dimensions["retryTime"], "3");

    // The next retry meets the limit: one failure on this thread, no new pass.
    service->RetryRequest(request);
    EXPECT_EQ(request->retryTime, 3);
    EXPECT_TRUE(
        log().Has("retry QuilRequest arrive max retryTime or finished id = 7, api = mtop.retry, "
                  "version = 1.0",
                  QUIL_LOG_WARN));
    std::lock_guard<std::mutex> lock(kept.mutex);
    ASSERT_EQ(kept.responses.size(), 2u);
    EXPECT_EQ(kept.thread, std::this_thread::get_id());
    EXPECT_EQ(kept.responses[1]->GetRetInfo()->retCode, "FAIL_SYS_RETRY_LIMIT");
    EXPECT_EQ(kept.responses[1]->GetRetInfo()->retMsg, "request retry many times");
    EXPECT_EQ(kept.responses[1]->GetRetInfo()->errorType, 1);
    EXPECT_EQ(client().SendCount(), 1u);
    // Both responses hold the one request: the first lets go of it before they are freed.
    static_cast<QuilResponseImpl*>(kept.responses[0].get())->request.release();
}

TEST_F(QuilServiceAsyncTest, RetryAtTheLimitDeliversOneFailureOnTheCallersThreadAndNoPass) {
    QuilRequestImpl* request = static_cast<QuilRequestImpl*>(NewRequest("mtop.a", "2.0"));
    request->SetId(4);
    request->isAsync = 1;
    request->retryTime = 3;
    service->OpenMetrics(request);
    service->RetryRequest(request);
    ASSERT_EQ(recorder.Count(), 1u);
    Delivery delivery = recorder.Deliveries()[0];
    EXPECT_EQ(delivery.thread, std::this_thread::get_id());
    EXPECT_EQ(delivery.retCode, "FAIL_SYS_RETRY_LIMIT");
    EXPECT_EQ(delivery.retMsg, "request retry many times");
    EXPECT_EQ(delivery.errorType, 1);
    EXPECT_FALSE(log().Has("start async QuilRequest id = 4, api = mtop.a, version = 2.0"));
    EXPECT_EQ(statistics().LastPerformanceReport().dimensions["retryTime"], "3");
    EXPECT_EQ(statistics().LastPerformanceReport().dimensions["errorCode"], "FAIL_SYS_RETRY_LIMIT");
    EXPECT_EQ(service->threadPool->QueueLength(), 0u);
}

TEST_F(QuilServiceAsyncTest, RetryOfAFinishedRequestAtCountZeroDeliversOneFailure) {
    QuilRequestImpl* request = static_cast<QuilRequestImpl*>(NewRequest("mtop.a", "2.0"));
    request->SetId(4);
    request->isAsync = 1;
    request->finished = true;
    service->OpenMetrics(request);
    service->RetryRequest(request);
    ASSERT_EQ(recorder.Count(), 1u);
    EXPECT_EQ(recorder.Deliveries()[0].retCode, "FAIL_SYS_RETRY_LIMIT");
    EXPECT_EQ(recorder.Deliveries()[0].thread, std::this_thread::get_id());
    EXPECT_FALSE(log().Has("start async QuilRequest id = 4, api = mtop.a, version = 2.0"));
}
