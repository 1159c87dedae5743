#include "LoginBeforeFilter.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "LoginHandler.h"
#include "QuilCallbackRecorder.h"
#include "QuilConfig.h"
#include "QuilRequestImpl.h"
#include "QuilResponseImpl.h"
#include "RecordingRemoteLogin.h"
#include "RemoteLogin.h"
#include "RequestPool.h"
#include "ServiceTestFixture.h"
#include "ServiceTestHost.h"

using quil::test::QuilCallbackRecorder;
using quil::test::RecordingMultiLogin;
using quil::test::ServiceTestHost;

namespace {

using Calls = std::vector<std::string>;

class LoginBeforeFilterTest : public quil::test::ServiceTestFixture {
protected:
    void SetUp() override {
        ServiceTestFixture::SetUp();
        RemoteLogin::setLoginImpl(&Flow());
    }
    void TearDown() override {
        // Whatever a test left waiting ends, so that nothing is left behind.
        RequestPool::failAllRequest("Default");
        RequestPool::failAllRequest("alice");
        ServiceTestFixture::TearDown();
    }

    // A request that needs a session, on the given road, owned by the test until it is parked.
    QuilRequestImpl* Make(int id, int isAsync, const std::string& userInfo = "alice") {
        QuilRequestImpl* request = new QuilRequestImpl("mtop.login.api", "1.0");
        request->SetNeedLogin(true);
        request->SetUserInfo(userInfo);
        request->SetId(id);
        request->isAsync = isAsync;
        recorder.Attach(request);
        service->OpenMetrics(request);
        return request;
    }

    void Handle(QuilRequest* request) { filter.HandleRequest(request, &result); }

    bool Logged(const std::string& message, int level) {
        return ServiceTestHost::Log().Has(message, level);
    }

    LoginBeforeFilter filter;
    FilterResult result;
};

}  // namespace

TEST_F(LoginBeforeFilterTest, HasItsName) { EXPECT_STREQ(filter.GetName(), "b_login"); }

TEST_F(LoginBeforeFilterTest, ARequestThatNeedsNoLoginGoesOnWithoutAQuestion) {
    std::unique_ptr<QuilRequestImpl> request(Make(1, 1));
    request->SetNeedLogin(false);
    Flow().SetSessionValid(false);
    Handle(request.get());
    EXPECT_EQ(result.code, 0);
    EXPECT_TRUE(Logged("handle login before filter, id: 1", QUIL_LOG_VERBOSE));
    EXPECT_TRUE(Logged("request not need login, id: 1", QUIL_LOG_VERBOSE));
    EXPECT_TRUE(Flow().Calls().empty());
}

TEST_F(LoginBeforeFilterTest, AnInvalidSessionFailsASynchronousRequestAtOnce) {
    QuilRequestImpl* request = Make(2, 0);
    Flow().SetSessionValid(false);
    Handle(request);
    EXPECT_EQ(result.code, 1);
    EXPECT_FALSE(result.waiting);
    ASSERT_NE(result.response, nullptr);
    std::unique_ptr<QuilResponse> response(result.response);
    EXPECT_EQ(response->GetRequest(), request);
    EXPECT_EQ(response->GetRetInfo()->retCode, "FAIL_SYS_SESSION_EXPIRED");
    EXPECT_EQ(response->GetRetInfo()->retMsg, "session expired");
    EXPECT_EQ(response->GetRetInfo()->errorType, 1);
    EXPECT_EQ(response->GetStatusCode(), 0);
    EXPECT_TRUE(Logged("request need login, but session invalid, id: 2", QUIL_LOG_ERROR));
    EXPECT_TRUE(
        Logged("sync request should not be auto login, will get fail, id: 2", QUIL_LOG_WARN));
    EXPECT_EQ(RequestPool::Size(), 0u);
    EXPECT_EQ(Flow().CountOf("login(alice)"), 0u);
}

TEST_F(LoginBeforeFilterTest, AnInvalidSessionParksAnAsynchronousRequestAndStartsALogin) {
    QuilRequestImpl* request = Make(3, 1);
    Flow().SetSessionValid(false);
    Handle(request);
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(result.waiting);
    EXPECT_EQ(result.response, nullptr);
    EXPECT_EQ(RequestPool::Size(), 1u);
    EXPECT_EQ(Flow().Calls(), (Calls{"isLogining(alice)", "isSessionValid(alice)",
                                     "isLogining(alice)", "login(alice)"}));
    EXPECT_TRUE(Logged("request need login, but session invalid, id: 3", QUIL_LOG_ERROR));
    EXPECT_TRUE(Logged("async request addToRequestPool, id: 3", QUIL_LOG_INFO));
    EXPECT_EQ(recorder.Count(), 0u);
    // The login's end takes it up.
    Flow().Listeners().at(0)->onLoginFail();
    ASSERT_EQ(recorder.Count(), 1u);
    EXPECT_EQ(recorder.Deliveries()[0].retCode, "FAIL_SYS_RETRY_LIMIT");
}

TEST_F(LoginBeforeFilterTest, TheRegisteredSessionIsUsedWhenTheSessionIsValid) {
    std::unique_ptr<QuilRequestImpl> request(Make(4, 0));
    QuilConfig::GetInstance()->RegisterMultiAccountSession("alice", "sid-a", "uid-a");
    Handle(request.get());
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(Flow().Calls(), (Calls{"isLogining(alice)", "isSessionValid(alice)"}));
}

TEST_F(LoginBeforeFilterTest, AValidSessionWithoutSidOrContextGoesOnWithoutASession) {
    std::unique_ptr<QuilRequestImpl> request(Make(5, 1));
    Handle(request.get());
    EXPECT_EQ(result.code, 0);
    EXPECT_FALSE(result.waiting);
    EXPECT_TRUE(Logged("request need login, but sid is null, id: 5", QUIL_LOG_WARN));
    EXPECT_TRUE(Logged("request need login, userInfo: alice, but logContext in null, id: 5",
                       QUIL_LOG_WARN));
    EXPECT_EQ(QuilConfig::GetInstance()->GetSid("alice"), "");
    EXPECT_EQ(RequestPool::Size(), 0u);
}

TEST_F(LoginBeforeFilterTest, TheContextsSessionIsRegisteredAndTheRequestGoesOn) {
    std::unique_ptr<QuilRequestImpl> request(Make(6, 0));
    LoginContext context;
    context.sid = "sid-c";
    context.uid = "uid-c";
    Flow().SetContext(&context);
    Handle(request.get());
    EXPECT_EQ(result.code, 0);
    EXPECT_TRUE(
        Logged("request need login, userInfo: alice, loginContext :uid-c sid-c sid-c, id: 6",
               QUIL_LOG_INFO));
    EXPECT_EQ(QuilConfig::GetInstance()->GetSid("alice"), "sid-c");
    EXPECT_EQ(QuilConfig::GetInstance()->GetUid("alice"), "uid-c");
}

TEST_F(LoginBeforeFilterTest, AContextWithoutSidFailsASynchronousRequest) {
    QuilRequestImpl* request = Make(7, 0);
    LoginContext context;
    context.uid = "uid-c";
    Flow().SetContext(&context);
    Handle(request);
    EXPECT_EQ(result.code, 1);
    ASSERT_NE(result.response, nullptr);
    std::unique_ptr<QuilResponse> response(result.response);
    EXPECT_EQ(response->GetRetInfo()->retCode, "FAIL_SYS_SESSION_EXPIRED");
    EXPECT_TRUE(
        Logged("request need login, userInfo: alice, but sid is null, id: 7", QUIL_LOG_ERROR));
    EXPECT_TRUE(
        Logged("sync request should not be auto login, will get fail, id: 7", QUIL_LOG_WARN));
    EXPECT_EQ(QuilConfig::GetInstance()->GetUid("alice"), "");
}

TEST_F(LoginBeforeFilterTest, AContextWithoutSidParksAnAsynchronousRequest) {
    QuilRequestImpl* request = Make(8, 1);
    LoginContext context;
    Flow().SetContext(&context);
    Handle(request);
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(result.waiting);
    EXPECT_EQ(RequestPool::Size(), 1u);
    EXPECT_EQ(Flow().CountOf("login(alice)"), 1u);
    EXPECT_TRUE(Logged("async request addToRequestPool, id: 8", QUIL_LOG_INFO));
}

TEST_F(LoginBeforeFilterTest, AnyRoadOtherThanOneIsSynchronous) {
    QuilRequestImpl* request = Make(9, 2);
    Flow().SetSessionValid(false);
    Handle(request);
    EXPECT_EQ(result.code, 1);
    EXPECT_FALSE(result.waiting);
    ASSERT_NE(result.response, nullptr);
    delete result.response;
    EXPECT_EQ(RequestPool::Size(), 0u);
}

TEST_F(LoginBeforeFilterTest, AnEmptyAccountIsTheDefaultAccountThroughout) {
    std::unique_ptr<QuilRequestImpl> request(Make(10, 1, ""));
    LoginContext context;
    context.sid = "sid-d";
    context.uid = "uid-d";
    Flow().SetContext(&context);
    Handle(request.get());
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(Flow().Calls(), (Calls{"isLogining(Default)", "isSessionValid(Default)",
                                     "getLoginContext(Default)"}));
    EXPECT_TRUE(
        Logged("request need login, userInfo: Default, loginContext :uid-d sid-d sid-d, id: 10",
               QUIL_LOG_INFO));
    EXPECT_EQ(QuilConfig::GetInstance()->sidByUser["Default"], "sid-d");
}

TEST_F(LoginBeforeFilterTest, ALoginRunningHoldsBackARequestWithAValidSession) {
    QuilRequestImpl* request = Make(11, 1);
    QuilConfig::GetInstance()->RegisterMultiAccountSession("alice", "sid-a", "uid-a");
    Flow().SetLogining(true);
    Handle(request);
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(result.waiting);
    // The running login is not started again; its end takes the request up.
    EXPECT_EQ(Flow().Calls(), (Calls{"isLogining(alice)", "isLogining(alice)"}));
    EXPECT_EQ(RequestPool::Size(), 1u);
    Flow().SetLogining(false);
    LoginHandler::GetHandler("alice")->onLoginSuccess();
    ASSERT_TRUE(recorder.WaitFor(1));
    EXPECT_EQ(recorder.Deliveries()[0].retCode, "SUCCESS");
    EXPECT_EQ(RequestPool::Size(), 0u);
}

TEST_F(LoginBeforeFilterTest, ALoginThatEndsBeforeTheParkingDoesNotStrandTheRequest) {
    QuilRequestImpl* request = Make(12, 1);
    Flow().SetLogining(true);
    // The running login ends right after the filter has asked whether one runs: its end walks
    // the pool before the request is parked.
    bool ended = false;
    Flow().SetOnAsk([&ended](const std::string& call) {
        if (!ended && call == "isLogining(alice)") {
            ended = true;
            Flow().SetLogining(false);
            LoginHandler::GetHandler("alice")->onLoginFail();
        }
    });
    Handle(request);
    Flow().SetOnAsk(nullptr);
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(RequestPool::Size(), 1u);
    // Parked after that end, it starts a login of its own, whose end finds it.
    ASSERT_EQ(Flow().Listeners().size(), 1u);
    EXPECT_EQ(recorder.Count(), 0u);
    Flow().SetSessionValid(true);
    Flow().Listeners()[0]->onLoginSuccess();
    ASSERT_TRUE(recorder.WaitFor(1));
    EXPECT_EQ(recorder.Deliveries()[0].id, 12);
    EXPECT_EQ(recorder.Deliveries()[0].retCode, "SUCCESS");
}
