#include "LoginHandler.h"

#include <gtest/gtest.h>

#include <string>

#include "QuilCallbackRecorder.h"
#include "QuilConfig.h"
#include "QuilRequestImpl.h"
#include "RecordingRemoteLogin.h"
#include "RemoteLogin.h"
#include "RequestPool.h"
#include "ServiceTestFixture.h"
#include "ServiceTestHost.h"

using quil::test::QuilCallbackRecorder;
using quil::test::RecordingMultiLogin;
using quil::test::ServiceTestHost;

namespace {

class LoginHandlerTest : public quil::test::ServiceTestFixture {
protected:
    // An asynchronous request of the account, parked as the login filters park it.
    QuilRequestImpl* Park(const std::string& userInfo, int id) {
        QuilRequestImpl* request = new QuilRequestImpl("mtop.login.api", "1.0");
        request->SetUserInfo(userInfo);
        request->SetId(id);
        request->isAsync = 1;
        recorder.Attach(request);
        service->OpenMetrics(request);
        RequestPool::addToRequestPool(request);
        return request;
    }
};

}  // namespace

TEST_F(LoginHandlerTest, AnEmptyAccountAndDefaultReachTheSameHandler) {
    LoginHandler* handler = LoginHandler::GetHandler("");
    EXPECT_EQ(handler, LoginHandler::GetHandler("Default"));
    EXPECT_EQ(handler->userInfo, "Default");
    EXPECT_NE(handler, LoginHandler::GetHandler("alice"));
    EXPECT_EQ(LoginHandler::GetHandler("alice"), LoginHandler::GetHandler("alice"));
}

TEST_F(LoginHandlerTest, SuccessRegistersTheNewSessionAndRetriesTheAccount) {
    RemoteLogin::setLoginImpl(&Flow());
    LoginContext context;
    context.sid = "sid-2";
    context.uid = "uid-2";
    Flow().SetContext(&context);
    QuilConfig::GetInstance()->RegisterMultiAccountSession("alice", "sid-1", "uid-1");
    Park("alice", 41);
    LoginHandler::GetHandler("alice")->onLoginSuccess();
    EXPECT_TRUE(ServiceTestHost::Log().Has(
        "updateSessionInfo userInfo: alice, sid: sid-2, uid: uid-2", QUIL_LOG_INFO));
    EXPECT_TRUE(
        ServiceTestHost::Log().Has("onLoginSuccess, retryAllRequest: alice", QUIL_LOG_INFO));
    EXPECT_EQ(QuilConfig::GetInstance()->GetSid("alice"), "sid-2");
    EXPECT_EQ(QuilConfig::GetInstance()->GetUid("alice"), "uid-2");
    EXPECT_TRUE(ServiceTestHost::Log().Has(
        "retry async QuilRequest id = 41, api = mtop.login.api, version = 1.0", QUIL_LOG_INFO));
    ASSERT_TRUE(recorder.WaitFor(1));
    EXPECT_EQ(recorder.Deliveries()[0].id, 41);
    EXPECT_EQ(recorder.Deliveries()[0].retCode, "SUCCESS");
    EXPECT_EQ(RequestPool::Size(), 0u);
}

TEST_F(LoginHandlerTest, SuccessWithANullContextStillRetriesTheAccount) {
    RemoteLogin::setLoginImpl(&Flow());
    Park("alice", 42);
    LoginHandler::GetHandler("alice")->onLoginSuccess();
    EXPECT_EQ(ServiceTestHost::Log().FindPrefix("updateSessionInfo").message, "");
    ASSERT_TRUE(recorder.WaitFor(1));
    EXPECT_EQ(recorder.Deliveries()[0].retCode, "SUCCESS");
    EXPECT_EQ(QuilConfig::GetInstance()->GetSid("alice"), "");
}

TEST_F(LoginHandlerTest, SuccessWithoutAFlowStillRetriesTheAccount) {
    Park("alice", 43);
    LoginHandler::GetHandler("alice")->onLoginSuccess();
    EXPECT_TRUE(ServiceTestHost::Log().Has("RemoteLogin get logContext, but iRemoteLogin is null",
                                           QUIL_LOG_WARN));
    ASSERT_TRUE(recorder.WaitFor(1));
    EXPECT_EQ(recorder.Deliveries()[0].retCode, "SUCCESS");
}

TEST_F(LoginHandlerTest, TheSameSidWithAnotherUidChangesNothing) {
    RemoteLogin::setLoginImpl(&Flow());
    LoginContext context;
    context.sid = "sid-1";
    context.uid = "uid-other";
    Flow().SetContext(&context);
    QuilConfig::GetInstance()->RegisterMultiAccountSession("alice", "sid-1", "uid-1");
    LoginHandler::GetHandler("alice")->updateSessionInfo();
    EXPECT_EQ(QuilConfig::GetInstance()->GetUid("alice"), "uid-1");
    EXPECT_EQ(ServiceTestHost::Log().FindPrefix("updateSessionInfo").message, "");
}

TEST_F(LoginHandlerTest, AnEmptyContextSidChangesNothing) {
    RemoteLogin::setLoginImpl(&Flow());
    LoginContext context;
    context.uid = "uid-2";
    Flow().SetContext(&context);
    QuilConfig::GetInstance()->RegisterMultiAccountSession("alice", "sid-1", "uid-1");
    LoginHandler::GetHandler("alice")->updateSessionInfo();
    EXPECT_EQ(QuilConfig::GetInstance()->GetSid("alice"), "sid-1");
    EXPECT_EQ(QuilConfig::GetInstance()->GetUid("alice"), "uid-1");
}

TEST_F(LoginHandlerTest, TheDefaultAccountsSessionIsRegisteredAsDefault) {
    RemoteLogin::setLoginImpl(&Flow());
    LoginContext context;
    context.sid = "sid-d";
    context.uid = "uid-d";
    Flow().SetContext(&context);
    LoginHandler::GetHandler("")->updateSessionInfo();
    EXPECT_EQ(Flow().Calls(), (std::vector<std::string>{"getLoginContext(Default)"}));
    EXPECT_TRUE(ServiceTestHost::Log().Has(
        "updateSessionInfo userInfo: Default, sid: sid-d, uid: uid-d", QUIL_LOG_INFO));
    EXPECT_EQ(QuilConfig::GetInstance()->sidByUser["Default"], "sid-d");
}

TEST_F(LoginHandlerTest, AContextThatThrowsIsLoggedAndTheAccountIsStillRetried) {
    RemoteLogin::setLoginImpl(&Flow());
    Flow().SetThrowOnContext(true);
    Park("alice", 44);
    LoginHandler::GetHandler("alice")->onLoginSuccess();
    EXPECT_TRUE(ServiceTestHost::Log().Has("updateSessionInfo error", QUIL_LOG_ERROR));
    EXPECT_TRUE(
        ServiceTestHost::Log().Has("onLoginSuccess, retryAllRequest: alice", QUIL_LOG_INFO));
    ASSERT_TRUE(recorder.WaitFor(1));
    EXPECT_EQ(recorder.Deliveries()[0].retCode, "SUCCESS");
}

TEST_F(LoginHandlerTest, FailureEndsTheAccountsRequestsWithTheRetryLimit) {
    Park("alice", 45);
    LoginHandler::GetHandler("alice")->onLoginFail();
    EXPECT_TRUE(ServiceTestHost::Log().Has("onLoginFail, failAllRequest: alice", QUIL_LOG_ERROR));
    // Delivered on the thread that reported the failure, before it returns.
    ASSERT_EQ(recorder.Count(), 1u);
    const quil::test::Delivery delivery = recorder.Deliveries()[0];
    EXPECT_EQ(delivery.id, 45);
    EXPECT_EQ(delivery.retCode, "FAIL_SYS_RETRY_LIMIT");
    EXPECT_EQ(delivery.retMsg, "request retry many times");
    EXPECT_EQ(delivery.errorType, 1);
    EXPECT_TRUE(ServiceTestHost::Log().Has(
        "retry QuilRequest arrive max retryTime or finished id = 45, api = mtop.login.api, "
        "version = 1.0",
        QUIL_LOG_WARN));
    EXPECT_EQ(ServiceTestHost::Client().SendCount(), 0u);
    EXPECT_EQ(ServiceTestHost::Statistics().LastPerformanceReport().dimensions["retryTime"], "0");
}

TEST_F(LoginHandlerTest, CancelEndsTheAccountsRequestsLikeAFailureAtAnotherLevel) {
    Park("alice", 46);
    LoginHandler::GetHandler("alice")->onLoginCancel();
    EXPECT_TRUE(ServiceTestHost::Log().Has("onLoginCancel, failAllRequest: alice", QUIL_LOG_WARN));
    ASSERT_EQ(recorder.Count(), 1u);
    EXPECT_EQ(recorder.Deliveries()[0].retCode, "FAIL_SYS_RETRY_LIMIT");
}

TEST_F(LoginHandlerTest, AListenerCalledTwiceDoesNothingMore) {
    Park("alice", 47);
    LoginHandler* handler = LoginHandler::GetHandler("alice");
    handler->onLoginFail();
    handler->onLoginFail();
    handler->onLoginSuccess();
    EXPECT_EQ(ServiceTestHost::Log().CountOf("onLoginFail, failAllRequest: alice"), 2u);
    EXPECT_EQ(recorder.Count(), 1u);
    EXPECT_EQ(ServiceTestHost::Client().SendCount(), 0u);
}
