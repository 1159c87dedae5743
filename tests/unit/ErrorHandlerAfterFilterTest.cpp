#include "ErrorHandlerAfterFilter.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "ErrorHandlerManager.h"
#include "FilterTestObjects.h"
#include "QuilRequestImpl.h"
#include "QuilResponseImpl.h"
#include "ServiceTestHost.h"

using quil::test::LogLine;
using quil::test::ServiceTestHost;

namespace {

// Asks for one redo, then lets every later response pass.
class RedoOnceHandler : public ErrorHandler {
public:
    int32_t Handle(QuilResponse*) override { return calls++ == 0 ? ActionRedo : ActionReturn; }
    int calls = 0;
};

// Answers a value that is no action at all.
class OddHandler : public ErrorHandler {
public:
    int32_t Handle(QuilResponse*) override { return 5; }
};

class ErrorHandlerAfterFilterTest : public ::testing::Test {
protected:
    void SetUp() override {
        service = ServiceTestHost::Install();
        log().Clear();
    }
    void TearDown() override {
        QuilConfig::GetInstance()->RegisterQuilLog(nullptr);
        QuilConfig::GetInstance()->RegisterUTStatistics(nullptr);
    }
    static quil::test::RecordingLog& log() { return ServiceTestHost::Log(); }

    QuilServiceImpl* service = nullptr;
    ErrorHandlerAfterFilter filter;
};

}  // namespace

TEST_F(ErrorHandlerAfterFilterTest, BearsItsNameInTheChain) {
    EXPECT_STREQ(filter.GetName(), "a_error_handle");
}

TEST_F(ErrorHandlerAfterFilterTest, ASuccessEndsWithoutClassification) {
    auto request = quil::test::MakeFilterRequest(3);
    QuilResponseImpl response;
    response.statusCode = 200;
    response.retInfo.reset(new RetInfo());
    response.retInfo->retCode = "SUCCESS";
    FilterResult result;
    result.code = 1;
    filter.HandleResponse(request.get(), &response, &result);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(log().Messages(),
              (std::vector<std::string>{"handle error handler after filter, id: 3",
                                        "response return without error"}));
    EXPECT_EQ(log().Find("handle error handler after filter, id: 3").level, QUIL_LOG_VERBOSE);
    EXPECT_EQ(log().Find("response return without error").level, QUIL_LOG_VERBOSE);
}

TEST_F(ErrorHandlerAfterFilterTest, Status200WithAFailureCodeIsClassifiedByItsCode) {
    auto request = quil::test::MakeFilterRequest(4);
    auto response = quil::test::MakeGatewayErrorResponse();
    response->retInfo->retCode = "FAIL_SYS_SESSION_EXPIRED";
    FilterResult result;
    filter.HandleResponse(request.get(), response.get(), &result);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(log().Messages(),
              (std::vector<std::string>{
                  "handle error handler after filter, id: 4", "process session expired handler",
                  "handle with errorhandle, errorCode: FAIL_SYS_SESSION_EXPIRED, action: 0",
                  "error handle action return"}));
    EXPECT_EQ(log().Find("error handle action return").level, QUIL_LOG_VERBOSE);
}

TEST_F(ErrorHandlerAfterFilterTest, AnUnknownFailureFallsToTheDefaultAndPassesUnchanged) {
    auto request = quil::test::MakeFilterRequest(5);
    auto response = quil::test::MakeGatewayErrorResponse();
    FilterResult result;
    filter.HandleResponse(request.get(), response.get(), &result);
    EXPECT_EQ(result.code, 0);
    EXPECT_TRUE(log().Has("process default error handler", QUIL_LOG_VERBOSE));
    EXPECT_TRUE(log().Has("handle with errorhandle default, action: 0", QUIL_LOG_WARN));
    EXPECT_EQ(response->retInfo->retCode, "FAIL_BIZ_SOMETHING");
    EXPECT_EQ(response->body, "{\"ret\":[\"FAIL_BIZ_SOMETHING::went wrong\"]}");
    EXPECT_EQ(request->retryTime, 0);
}

TEST_F(ErrorHandlerAfterFilterTest, AnUnknownActionEndsSilentlyWithCodeZero) {
    OddHandler odd;
    ErrorHandlerManager::GetInstance()->RegisterByErrorCode("FAIL_ODD", &odd);
    auto request = quil::test::MakeFilterRequest(6);
    auto response = quil::test::MakeGatewayErrorResponse();
    response->retInfo->retCode = "FAIL_ODD";
    FilterResult result;
    filter.HandleResponse(request.get(), response.get(), &result);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(log().Messages(), (std::vector<std::string>{
                                    "handle error handler after filter, id: 6",
                                    "handle with errorhandle, errorCode: FAIL_ODD, action: 5"}));
    ErrorHandlerManager::GetInstance()->errorCodeHandlers.erase("FAIL_ODD");
}

TEST_F(ErrorHandlerAfterFilterTest, ARedoSendsTheRequestAgainOnItsRoadWithoutABound) {
    RedoOnceHandler redo;
    ErrorHandlerManager::GetInstance()->RegisterByErrorCode("FAIL_REDO", &redo);
    ServiceTestHost::Client().Enqueue(ServiceTestHost::GatewayAnswer("FAIL_REDO::again"));
    ServiceTestHost::Client().Enqueue(ServiceTestHost::GatewayAnswer());
    QuilRequestImpl* request = new QuilRequestImpl("mtop.redo.api", "1.0");
    // Past the calibration's bound: this path tests none.
    request->retryTime = 5;
    std::unique_ptr<QuilResponse> response(service->SendSyncRequest(request));
    ASSERT_NE(response, nullptr);
    EXPECT_EQ(response->GetRetInfo()->retCode, "SUCCESS");
    EXPECT_EQ(ServiceTestHost::Client().SendCount(), 2u);
    EXPECT_EQ(redo.calls, 1);
    EXPECT_TRUE(
        log().Has("handle with errorhandle, errorCode: FAIL_REDO, action: 1", QUIL_LOG_WARN));
    LogLine line = log().Find("error handle action redo");
    EXPECT_EQ(line.level, QUIL_LOG_WARN);
    EXPECT_EQ(line.function, "HandleResponse");
    EXPECT_EQ(ServiceTestHost::Statistics().LastPerformanceReport().dimensions["retryTime"], "6");
    ErrorHandlerManager::GetInstance()->errorCodeHandlers.erase("FAIL_REDO");
}

TEST_F(ErrorHandlerAfterFilterTest, ANullResponsePassesWithCodeZeroAfterTheEntryLine) {
    auto request = quil::test::MakeFilterRequest(9);
    FilterResult result;
    result.code = 1;
    filter.HandleResponse(request.get(), nullptr, &result);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(log().Messages(),
              (std::vector<std::string>{"handle error handler after filter, id: 9"}));
}
