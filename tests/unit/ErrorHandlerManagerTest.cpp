#include "ErrorHandlerManager.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "ErrorHandlers.h"
#include "FilterTestObjects.h"
#include "QuilResponseImpl.h"
#include "RecordingLog.h"

using quil::test::LogLine;
using quil::test::ScopedRecordingLog;

namespace {

// A failed response with this status and return code.
std::unique_ptr<QuilResponseImpl> Failure(int statusCode, const std::string& retCode) {
    std::unique_ptr<QuilResponseImpl> response(new QuilResponseImpl());
    response->statusCode = statusCode;
    response->retInfo.reset(new RetInfo());
    response->retInfo->retCode = retCode;
    response->retInfo->retMsg = "message";
    response->retInfo->errorType = 3;
    return response;
}

// A handler that answers a fixed action and counts its calls.
class FixedHandler : public ErrorHandler {
public:
    explicit FixedHandler(int32_t answer) : answer_(answer) {}
    int32_t Handle(QuilResponse*) override {
        ++calls;
        return answer_;
    }
    int calls = 0;

private:
    int32_t answer_;
};

class ErrorHandlerManagerTest : public ::testing::Test {
protected:
    void SetUp() override {
        RegisterErrorHandlers();
        manager = ErrorHandlerManager::GetInstance();
    }
    // The one handler line and the one manager line this response produces, in order.
    std::vector<std::string> Classify(int statusCode, const std::string& retCode) {
        auto response = Failure(statusCode, retCode);
        log->Clear();
        EXPECT_EQ(manager->HandleResponse(response.get()), ActionReturn);
        return log->Messages();
    }
    ScopedRecordingLog log;
    ErrorHandlerManager* manager = nullptr;
};

}  // namespace

TEST_F(ErrorHandlerManagerTest, TheRegistrationTableMapsEveryCodeToItsHandler) {
    ASSERT_EQ(manager->statusCodeHandlers.size(), 14u);
    EXPECT_NE(dynamic_cast<CacheHandler*>(manager->statusCodeHandlers.at(304)), nullptr);
    for (int status = 410; status <= 419; ++status) {
        EXPECT_NE(dynamic_cast<FloodProtectionHandler*>(manager->statusCodeHandlers.at(status)),
                  nullptr)
            << status;
    }
    for (int status : {420, 499, 599}) {
        EXPECT_NE(dynamic_cast<ThresholdHandler*>(manager->statusCodeHandlers.at(status)), nullptr)
            << status;
    }
    EXPECT_EQ(manager->statusCodeHandlers.count(421), 0u);
    ASSERT_EQ(manager->errorCodeHandlers.size(), 4u);
    EXPECT_NE(dynamic_cast<RequestExpiredHandler*>(
                  manager->errorCodeHandlers.at("FAIL_SYS_EXPIRED_REQUEST")),
              nullptr);
    EXPECT_NE(dynamic_cast<IllegalSignErrorHandler*>(
                  manager->errorCodeHandlers.at("FAIL_SYS_ILEGEL_SIGN")),
              nullptr);
    EXPECT_EQ(manager->errorCodeHandlers.count("FAIL_SYS_REQUEST_EXPIRED"), 0u);
    EXPECT_EQ(manager->errorCodeHandlers.count("FAIL_SYS_ILLEGAL_SIGN"), 0u);
    EXPECT_NE(dynamic_cast<DefaultErrorHandler*>(manager->defaultHandler), nullptr);
}

TEST_F(ErrorHandlerManagerTest, BothSessionCodesShareOneHandlerInstance) {
    ErrorHandler* sid = manager->errorCodeHandlers.at("ERR_SID_INVALID");
    EXPECT_NE(dynamic_cast<SessionExpiredHandler*>(sid), nullptr);
    EXPECT_EQ(sid, manager->errorCodeHandlers.at("FAIL_SYS_SESSION_EXPIRED"));
}

TEST_F(ErrorHandlerManagerTest, ASecondRegistrationChangesNothing) {
    ErrorHandler* cache = manager->statusCodeHandlers.at(304);
    ErrorHandler* session = manager->errorCodeHandlers.at("ERR_SID_INVALID");
    RegisterErrorHandlers();
    EXPECT_EQ(manager->statusCodeHandlers.at(304), cache);
    EXPECT_EQ(manager->errorCodeHandlers.at("ERR_SID_INVALID"), session);
    EXPECT_EQ(manager->statusCodeHandlers.size(), 14u);
    EXPECT_EQ(manager->errorCodeHandlers.size(), 4u);
}

TEST_F(ErrorHandlerManagerTest, Status419GoesToFloodProtection) {
    EXPECT_EQ(Classify(419, "FAIL_SYS_SESSION_EXPIRED"),
              (std::vector<std::string>{"process flood protection handler",
                                        "handle with errorhandle, statusCode: 419, action: 0"}));
    EXPECT_EQ(log->Find("process flood protection handler").level, QUIL_LOG_VERBOSE);
    EXPECT_EQ(log->Find("handle with errorhandle, statusCode: 419, action: 0").level,
              QUIL_LOG_WARN);
}

TEST_F(ErrorHandlerManagerTest, TheStatusCodeHasPrecedenceOverTheReturnCode) {
    EXPECT_EQ(Classify(420, "FAIL_SYS_SESSION_EXPIRED"),
              (std::vector<std::string>{"process threshold handler",
                                        "handle with errorhandle, statusCode: 420, action: 0"}));
}

TEST_F(ErrorHandlerManagerTest, Status304GoesToTheCacheWhateverTheReturnCode) {
    EXPECT_EQ(Classify(304, "FAIL_SYS_ILEGEL_SIGN"),
              (std::vector<std::string>{"process cache handler",
                                        "handle with errorhandle, statusCode: 304, action: 0"}));
}

TEST_F(ErrorHandlerManagerTest, Status421HasNoEntryAndIsJudgedByItsReturnCode) {
    EXPECT_EQ(Classify(421, "ERR_SID_INVALID"),
              (std::vector<std::string>{
                  "process session expired handler",
                  "handle with errorhandle, errorCode: ERR_SID_INVALID, action: 0"}));
    EXPECT_EQ(log->Find("handle with errorhandle, errorCode: ERR_SID_INVALID, action: 0").level,
              QUIL_LOG_WARN);
}

TEST_F(ErrorHandlerManagerTest, TheGatewaysSpellingOfAnIllegalSignIsRecognised) {
    EXPECT_EQ(Classify(200, "FAIL_SYS_ILEGEL_SIGN"),
              (std::vector<std::string>{
                  "process illegal sign error handler",
                  "handle with errorhandle, errorCode: FAIL_SYS_ILEGEL_SIGN, action: 0"}));
}

TEST_F(ErrorHandlerManagerTest, TheRegisteredExpiredCodeReachesTheRequestExpiredHandler) {
    EXPECT_EQ(Classify(200, "FAIL_SYS_EXPIRED_REQUEST"),
              (std::vector<std::string>{
                  "process request expired handler",
                  "handle with errorhandle, errorCode: FAIL_SYS_EXPIRED_REQUEST, action: 0"}));
}

TEST_F(ErrorHandlerManagerTest, TheCalibrationsExpiredCodeFallsToTheDefault) {
    EXPECT_EQ(Classify(200, "FAIL_SYS_REQUEST_EXPIRED"),
              (std::vector<std::string>{"process default error handler",
                                        "handle with errorhandle default, action: 0"}));
    EXPECT_EQ(log->Find("handle with errorhandle default, action: 0").level, QUIL_LOG_WARN);
}

TEST_F(ErrorHandlerManagerTest, AResponseWithoutReturnInformationFallsToTheDefault) {
    QuilResponseImpl response;
    response.statusCode = 500;
    EXPECT_EQ(manager->HandleResponse(&response), ActionReturn);
    EXPECT_TRUE(log->Has("handle with errorhandle default, action: 0", QUIL_LOG_WARN));
}

TEST_F(ErrorHandlerManagerTest, ALaterRegistrationReplacesTheEarlierAndItsActionIsReturned) {
    FixedHandler redo(ActionRedo);
    FixedHandler odd(7);
    ErrorHandler* original = manager->statusCodeHandlers.at(499);
    manager->RegisterByStatusCode(499, &redo);
    manager->RegisterByErrorCode("FAIL_X", &odd);
    auto byStatus = Failure(499, "FAIL_X");
    EXPECT_EQ(manager->HandleResponse(byStatus.get()), ActionRedo);
    EXPECT_TRUE(log->Has("handle with errorhandle, statusCode: 499, action: 1", QUIL_LOG_WARN));
    auto byCode = Failure(200, "FAIL_X");
    EXPECT_EQ(manager->HandleResponse(byCode.get()), 7);
    EXPECT_TRUE(log->Has("handle with errorhandle, errorCode: FAIL_X, action: 7", QUIL_LOG_WARN));
    EXPECT_EQ(redo.calls, 1);
    EXPECT_EQ(odd.calls, 1);
    manager->RegisterByStatusCode(499, original);
    manager->errorCodeHandlers.erase("FAIL_X");
}

TEST_F(ErrorHandlerManagerTest, ANullEntryIsPassedOver) {
    manager->RegisterByStatusCode(500, nullptr);
    EXPECT_EQ(Classify(500, "ERR_SID_INVALID"),
              (std::vector<std::string>{
                  "process session expired handler",
                  "handle with errorhandle, errorCode: ERR_SID_INVALID, action: 0"}));
    manager->statusCodeHandlers.erase(500);
}

TEST_F(ErrorHandlerManagerTest, AHandlerLeavesTheResponseUnchanged) {
    auto response = Failure(419, "FAIL_SYS_SESSION_EXPIRED");
    response->body = "body";
    response->headers["x-retcode"] = "FAIL_SYS_SESSION_EXPIRED";
    manager->HandleResponse(response.get());
    EXPECT_EQ(response->statusCode, 419);
    EXPECT_EQ(response->body, "body");
    EXPECT_EQ(response->headers.size(), 1u);
    EXPECT_EQ(response->retInfo->retCode, "FAIL_SYS_SESSION_EXPIRED");
    EXPECT_EQ(response->retInfo->retMsg, "message");
    EXPECT_EQ(response->retInfo->errorType, 3);
}
