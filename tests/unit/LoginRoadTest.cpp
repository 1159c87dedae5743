// Calls that need a session, through the service with a scripted transport and signer: what
// each road does when the login filters stop it, as the caller and the transport see it.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "QuilCallbackRecorder.h"
#include "QuilConfig.h"
#include "RecordingRemoteLogin.h"
#include "RemoteLogin.h"
#include "RequestPool.h"
#include "ServiceTestFixture.h"
#include "ServiceTestHost.h"
#include "TestSync.h"

using quil::test::QuilCallbackRecorder;
using quil::test::RecordingMultiLogin;
using quil::test::ServiceTestHost;

namespace {

class LoginRoadTest : public quil::test::ServiceTestFixture {
protected:
    void SetUp() override {
        ServiceTestFixture::SetUp();
        RemoteLogin::setLoginImpl(&Flow());
    }

    static QuilRequest* Make() {
        QuilRequest* request = QuilRequest::Create("mtop.road.api", "1.0");
        request->SetNeedLogin(true);
        request->SetUserInfo("alice");
        return request;
    }

    static bool Logged(const std::string& message, int level = -1) {
        return ServiceTestHost::Log().Has(message, level);
    }
};

quil::test::ScriptedResponse ExpiredAnswer() {
    return ServiceTestHost::GatewayAnswer("FAIL_SYS_SESSION_EXPIRED::expired",
                                          "x-retcode: FAIL_SYS_SESSION_EXPIRED\r\n");
}

bool HasLine(const quil::test::RecordedRequest& request, const std::string& line) {
    return std::find(request.header.begin(), request.header.end(), line) != request.header.end();
}

}  // namespace

TEST_F(LoginRoadTest, ASynchronousCallWithoutASessionFailsWithoutTouchingTheNetwork) {
    Flow().SetSessionValid(false);
    std::unique_ptr<QuilResponse> response(service->SendSyncRequest(Make()));
    ASSERT_NE(response, nullptr);
    EXPECT_EQ(response->GetRetInfo()->retCode, "FAIL_SYS_SESSION_EXPIRED");
    EXPECT_EQ(response->GetRetInfo()->retMsg, "session expired");
    EXPECT_EQ(response->GetRetInfo()->errorType, 1);
    EXPECT_EQ(ServiceTestHost::Client().SendCount(), 0u);
    EXPECT_TRUE(Logged("request: 1 interupt at before filter: b_login", QUIL_LOG_WARN));
    EXPECT_TRUE(Logged("sync QuilRequest before filter stop id = 1", QUIL_LOG_ERROR));
    EXPECT_EQ(Flow().CountOf("login(alice)"), 0u);
    EXPECT_EQ(ServiceTestHost::Statistics().LastPerformanceReport().dimensions["errorCode"],
              "FAIL_SYS_SESSION_EXPIRED");
}

TEST_F(LoginRoadTest, AnAsynchronousCallWaitsSilentlyAndGoesOutWithTheNewSession) {
    Flow().SetSessionValid(false);
    QuilRequest* request = Make();
    recorder.Attach(request);
    ASSERT_EQ(service->SendAsyncRequest(request), 0);
    ASSERT_TRUE(quil::test::WaitUntil([] { return Flow().Listeners().size() == 1; }));
    EXPECT_EQ(recorder.Count(), 0u);
    EXPECT_EQ(ServiceTestHost::Client().SendCount(), 0u);
    EXPECT_TRUE(Logged("request: 1 interupt at before filter: b_login", QUIL_LOG_WARN));
    // The caller leaves the request to the pool without a word.
    EXPECT_FALSE(Logged("async QuilRequest before filter stop id = 1"));
    EXPECT_EQ(RequestPool::Size(), 1u);

    LoginContext context;
    context.sid = "sid-new";
    context.uid = "uid-new";
    Flow().SetContext(&context);
    Flow().SetSessionValid(true);
    Flow().Listeners()[0]->onLoginSuccess();
    ASSERT_TRUE(recorder.WaitFor(1));
    EXPECT_EQ(recorder.Deliveries()[0].retCode, "SUCCESS");
    ASSERT_EQ(ServiceTestHost::Client().SendCount(), 1u);
    const quil::test::RecordedRequest sent = ServiceTestHost::Client().Requests()[0];
    EXPECT_TRUE(HasLine(sent, "x-sid:sid-new"));
    EXPECT_TRUE(HasLine(sent, "x-uid:uid-new"));
    EXPECT_EQ(ServiceTestHost::Statistics().LastPerformanceReport().dimensions["retryTime"], "1");
}

TEST_F(LoginRoadTest, ASynchronousCallKeepsTheGatewaysExpiredAnswer) {
    QuilConfig::GetInstance()->RegisterMultiAccountSession("alice", "sid-old", "uid-old");
    ServiceTestHost::Client().Enqueue(ExpiredAnswer());
    std::unique_ptr<QuilResponse> response(service->SendSyncRequest(Make()));
    ASSERT_NE(response, nullptr);
    EXPECT_TRUE(response->IsSessionExpired());
    EXPECT_EQ(response->GetStatusCode(), 200);
    EXPECT_EQ(response->GetRetInfo()->retCode, "FAIL_SYS_SESSION_EXPIRED");
    EXPECT_EQ(response->GetRetInfo()->retMsg, "expired");
    EXPECT_EQ(ServiceTestHost::Client().SendCount(), 1u);
    EXPECT_TRUE(Logged("request: 1 interupt at after filter: a_login", QUIL_LOG_WARN));
    // The rest of the after chain does not run for it.
    EXPECT_FALSE(Logged("handle ut after filter, id: 1"));
    EXPECT_EQ(Flow().CountOf("login(alice)"), 0u);
}

TEST_F(LoginRoadTest, AnAsynchronousCallThatMeetsAnExpiredSessionIsSentAgainAfterTheLogin) {
    QuilConfig::GetInstance()->RegisterMultiAccountSession("alice", "sid-old", "uid-old");
    ServiceTestHost::Client().Enqueue(ExpiredAnswer());
    LoginContext context;
    context.sid = "sid-new";
    context.uid = "uid-new";
    Flow().SetOnLogin([&context](OnLoginListener* listener) {
        Flow().SetContext(&context);
        listener->onLoginSuccess();
    });
    QuilRequest* request = Make();
    recorder.Attach(request);
    ASSERT_EQ(service->SendAsyncRequest(request), 0);
    ASSERT_TRUE(recorder.WaitFor(1));
    Flow().SetOnLogin(nullptr);
    EXPECT_EQ(recorder.Count(), 1u);
    EXPECT_EQ(recorder.Deliveries()[0].retCode, "SUCCESS");
    ASSERT_EQ(ServiceTestHost::Client().SendCount(), 2u);
    EXPECT_TRUE(HasLine(ServiceTestHost::Client().Requests()[0], "x-sid:sid-old"));
    EXPECT_TRUE(HasLine(ServiceTestHost::Client().Requests()[1], "x-sid:sid-new"));
    EXPECT_TRUE(Logged("request: 1 interupt at after filter: a_login", QUIL_LOG_WARN));
    EXPECT_EQ(ServiceTestHost::Statistics().LastPerformanceReport().dimensions["retryTime"], "1");
    EXPECT_EQ(RequestPool::Size(), 0u);
}
