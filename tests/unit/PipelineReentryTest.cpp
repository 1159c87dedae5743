#include "PipelineReentry.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "NetworkPoolBarrier.h"
#include "QuilCallbackRecorder.h"
#include "QuilRequestImpl.h"
#include "QuilResponseImpl.h"
#include "ServiceTestHost.h"

using quil::test::ServiceTestHost;

namespace {

class PipelineReentryTest : public ::testing::Test {
protected:
    void SetUp() override { service = ServiceTestHost::Install(); }
    void TearDown() override {
        QuilConfig::GetInstance()->RegisterQuilLog(nullptr);
        QuilConfig::GetInstance()->RegisterUTStatistics(nullptr);
    }

    // A response that owns a fresh request with the given road and id.
    static std::unique_ptr<QuilResponseImpl> MakeResponse(int isAsync, int id) {
        std::unique_ptr<QuilResponseImpl> response(new QuilResponseImpl());
        QuilRequestImpl* request = new QuilRequestImpl("mtop.retry.api", "3.0");
        request->SetId(id);
        request->isAsync = isAsync;
        response->request.reset(request);
        response->statusCode = 419;
        response->body = "first";
        response->retInfo.reset(new RetInfo());
        response->retInfo->retCode = "FAIL_SYS_REQUEST_EXPIRED";
        response->retInfo->retMsg = "expired";
        response->retInfo->errorType = 3;
        return response;
    }

    QuilServiceImpl* service = nullptr;
};

}  // namespace

TEST_F(PipelineReentryTest, TheAsynchronousRoadQueuesAPassResumedAtSetupRequest) {
    std::unique_ptr<QuilResponseImpl> response = MakeResponse(1, 12);
    QuilRequestImpl* request = static_cast<QuilRequestImpl*>(response->request.get());
    quil::test::QuilCallbackRecorder recorder;
    recorder.Attach(request);
    service->OpenMetrics(request);
    FilterResult result;
    PipelineReentry::Reenter(request, response.get(), &result);
    // The queued pass owns the request now; this response lets go of it, as the completion
    // of the pass that re-entered does.
    response->request.release();
    EXPECT_EQ(result.code, 1);
    EXPECT_STREQ(PipelineReentry::kResumeFilter, "b_setup_request");
    ASSERT_TRUE(recorder.WaitFor(1));
    EXPECT_TRUE(ServiceTestHost::Log().Has(
        "start async QuilRequest id = 12, api = mtop.retry.api, version = 3.0", QUIL_LOG_INFO));
    EXPECT_FALSE(ServiceTestHost::Log().Has(
        "start sync QuilRequest id = 12, api = mtop.retry.api, version = 3.0"));
    // The new pass passed over "b_ut" alone and ran the rest.
    EXPECT_TRUE(ServiceTestHost::Log().Has("request: 12 skip before filter: b_ut", QUIL_LOG_WARN));
    EXPECT_FALSE(ServiceTestHost::Log().Has("handle ut before filter, id: 12"));
    EXPECT_TRUE(ServiceTestHost::Log().Has("handle setup request before filter, id: 12"));
    EXPECT_EQ(recorder.Deliveries()[0].id, 12);
    EXPECT_EQ(ServiceTestHost::Statistics().LastPerformanceReport().dimensions["retryTime"], "1");
    // Nothing of the present response changes on this road.
    EXPECT_EQ(response->statusCode, 419);
    EXPECT_EQ(response->body, "first");
    EXPECT_EQ(response->retInfo->retCode, "FAIL_SYS_REQUEST_EXPIRED");
    EXPECT_EQ(ServiceTestHost::Client().SendCount(), 1u);
    quil::test::NetworkPoolBarrier barrier(&ServiceTestHost::Client());
    QuilConfig::GetInstance()->RegisterHttpClient(&barrier);
    EXPECT_TRUE(barrier.Drain());
}

TEST_F(PipelineReentryTest, TheSynchronousRoadRunsANestedPassAndKeepsTheRequest) {
    ServiceTestHost::Client().Enqueue(
        ServiceTestHost::GatewayAnswer("SUCCESS::again", "x-retcode: SUCCESS\r\n"));
    std::unique_ptr<QuilResponseImpl> response = MakeResponse(0, 13);
    QuilRequestImpl* request = static_cast<QuilRequestImpl*>(response->request.get());
    request->retryTime = 5;  // the re-entry itself tests no limit
    FilterResult result;
    PipelineReentry::Reenter(request, response.get(), &result);
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(request->retryTime, 6);
    EXPECT_EQ(response->request.get(), request);
    EXPECT_EQ(response->statusCode, 200);
    EXPECT_EQ(response->body, "{\"data\":{},\"ret\":[\"SUCCESS::again\"]}");
    EXPECT_EQ(response->headers["x-retcode"], "SUCCESS");
    EXPECT_EQ(response->retInfo->retCode, "SUCCESS");
    EXPECT_EQ(response->retInfo->retMsg, "again");
    EXPECT_EQ(response->retInfo->errorType, 0);
    EXPECT_EQ(response->bodyJson["ret"][0].asString(), "SUCCESS::again");
    EXPECT_TRUE(ServiceTestHost::Log().Has(
        "start sync QuilRequest id = 13, api = mtop.retry.api, version = 3.0"));
    // The nested pass runs the whole before chain, the first filter included.
    EXPECT_TRUE(ServiceTestHost::Log().Has("handle ut before filter, id: 13"));
    EXPECT_EQ(ServiceTestHost::Client().SendCount(), 1u);
    EXPECT_FALSE(ServiceTestHost::Log().Has("destory QuilRequestImpl, id: 13"));
}

TEST_F(PipelineReentryTest, AnAsynchronousPassWithoutAppKeyIsNotQueued) {
    QuilConfig::GetInstance()->appKey = "";
    std::unique_ptr<QuilResponseImpl> response = MakeResponse(1, 14);
    QuilRequestImpl* request = static_cast<QuilRequestImpl*>(response->request.get());
    FilterResult result;
    PipelineReentry::Reenter(request, response.get(), &result);
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(request->retryTime, 1);
    EXPECT_TRUE(ServiceTestHost::Log().Has("async QuilRequest check dependency fail id = 14",
                                           QUIL_LOG_ERROR));
    EXPECT_EQ(service->AsyncCall(nullptr, nullptr), -6);
    EXPECT_TRUE(ServiceTestHost::Log().Has("async QuilRequest is null", QUIL_LOG_ERROR));
    EXPECT_EQ(service->SendAsyncRequest(nullptr), -6);
}
