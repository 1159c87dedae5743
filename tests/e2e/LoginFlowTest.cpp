// The login road end to end: calls that need a session, a host login flow (the test kit's
// scripted login) that runs on threads of its own, the gateway emulator with its sessions and
// the stand-in security library. Asynchronous calls wait for the login and go out again with
// its session, or end with its failure, each with exactly one callback; a synchronous call
// never waits.
#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <set>
#include <string>
#include <vector>

#include "E2eHost.h"
#include "QuilCallbackRecorder.h"
#include "RecordingLog.h"
#include "ScriptedLogin.h"
#include "TestSync.h"

namespace quil {
namespace test {
namespace {

constexpr const char* kPrivateApi = "e2e.private";

// The flow stays registered with the library for the process.
ScriptedLogin& Login() {
    static ScriptedLogin login;
    return login;
}

class LoginFlow : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(host.Start());
        host.Gateway().Settings().RequireSession(kPrivateApi, true);
        QuilConfig::GetInstance()->RegisterQuilLog(&log);
        QuilConfig::GetInstance()->SetQuilLogLevel(QUIL_LOG_VERBOSE);
        GatewayEmulator* gateway = &host.Gateway();
        Login().SetSessionSink([gateway](const std::string&, const std::string& sid) {
            gateway->Settings().AddSession(sid);
        });
        RemoteLogin::setLoginImpl(&Login());
    }
    void TearDown() override {
        // A test that failed half-way leaves nothing held behind.
        for (const char* account : {"Default", "alice", "bob"}) {
            Login().Release(account);
        }
        EXPECT_TRUE(Login().WaitIdle(kWaitLimit));
        Login().SetSessionSink(nullptr);
        QuilConfig::GetInstance()->RegisterQuilLog(nullptr);
    }

    // An asynchronous call of the private API for the account; its callback goes to recorder.
    int Send(const std::string& userInfo) {
        QuilRequest* request = QuilRequest::Create(kPrivateApi, "1.0");
        request->SetNeedLogin(true);
        request->SetUserInfo(userInfo);
        recorder.Attach(request);
        EXPECT_EQ(QuilService::GetInstance()->SendAsyncRequest(request), 0);
        return request->GetId();
    }

    // Waits until count requests have been parked to wait for a login.
    bool WaitForParked(std::size_t count) {
        return WaitUntil([this, count] {
            std::size_t parked = 0;
            for (const std::string& message : log.Messages()) {
                parked += message.rfind("async request addToRequestPool, id: ", 0) == 0 ? 1 : 0;
            }
            return parked >= count;
        });
    }

    static LoginScript Held(LoginOutcome outcome, const std::string& sid = "",
                            const std::string& uid = "") {
        LoginScript script;
        script.outcome = outcome;
        script.held = true;
        script.sid = sid;
        script.uid = uid;
        return script;
    }

    E2eHost host;
    RecordingLog log;
    QuilCallbackRecorder recorder;
};

TEST_F(LoginFlow, TwentyWaitingCallsSucceedWithTheNewSessionAfterTheLogin) {
    Login().Script("alice", Held(LoginOutcome::Succeed, "sid-new", "uid-new"));
    std::set<int> ids;
    for (int i = 0; i < 20; ++i) {
        ids.insert(Send("alice"));
    }
    ASSERT_TRUE(WaitForParked(20));
    ASSERT_TRUE(Login().WaitForLogins("alice", 1, kWaitLimit));
    // Nothing reached the network, and no callback came, while the login ran.
    EXPECT_EQ(host.Gateway().RequestCount(), 0u);
    EXPECT_EQ(recorder.Count(), 0u);
    EXPECT_EQ(Login().LoginCount("alice"), 1u);

    EXPECT_EQ(Login().Release("alice"), 1u);
    ASSERT_TRUE(recorder.WaitFor(20));
    ASSERT_TRUE(Login().WaitIdle(kWaitLimit));
    EXPECT_EQ(recorder.Count(), 20u);
    for (int id : ids) {
        EXPECT_EQ(recorder.CountFor(id), 1u) << id;
    }
    for (const Delivery& delivery : recorder.Deliveries()) {
        EXPECT_EQ(delivery.retCode, "SUCCESS");
        EXPECT_EQ(delivery.statusCode, 200);
    }
    const std::vector<ReceivedRequest> received = host.Gateway().Requests();
    ASSERT_EQ(received.size(), 20u);
    for (const ReceivedRequest& request : received) {
        EXPECT_EQ(request.Header("x-sid"), "sid-new");
        EXPECT_EQ(request.Header("x-uid"), "uid-new");
        EXPECT_EQ(request.answerCode, "SUCCESS");
    }
    EXPECT_EQ(QuilConfig::GetInstance()->GetSid("alice"), "sid-new");
    EXPECT_EQ(Login().LoginCount("alice"), 1u);
}

TEST_F(LoginFlow, AFailedLoginEndsEachWaitingCallOnceWithItsFailure) {
    Login().Script("alice", Held(LoginOutcome::Fail));
    std::set<int> ids;
    for (int i = 0; i < 20; ++i) {
        ids.insert(Send("alice"));
    }
    ASSERT_TRUE(WaitForParked(20));
    ASSERT_TRUE(Login().WaitForLogins("alice", 1, kWaitLimit));
    EXPECT_EQ(recorder.Count(), 0u);
    Login().Release("alice");
    ASSERT_TRUE(recorder.WaitFor(20));
    ASSERT_TRUE(Login().WaitIdle(kWaitLimit));
    for (int id : ids) {
        EXPECT_EQ(recorder.CountFor(id), 1u) << id;
    }
    for (const Delivery& delivery : recorder.Deliveries()) {
        EXPECT_EQ(delivery.retCode, "FAIL_SYS_RETRY_LIMIT");
        EXPECT_EQ(delivery.retMsg, "request retry many times");
        EXPECT_EQ(delivery.errorType, 1);
    }
    EXPECT_EQ(host.Gateway().RequestCount(), 0u);
    EXPECT_TRUE(log.Has("onLoginFail, failAllRequest: alice", QUIL_LOG_ERROR));
}

TEST_F(LoginFlow, ACancelledLoginEndsTheWaitingCallsLikeAFailure) {
    Login().Script("", Held(LoginOutcome::Cancel));
    const int id = Send("");
    ASSERT_TRUE(WaitForParked(1));
    ASSERT_TRUE(Login().WaitForLogins("Default", 1, kWaitLimit));
    Login().Release("Default");
    ASSERT_TRUE(recorder.WaitFor(1));
    EXPECT_EQ(recorder.CountFor(id), 1u);
    EXPECT_EQ(recorder.Deliveries()[0].retCode, "FAIL_SYS_RETRY_LIMIT");
    EXPECT_TRUE(log.Has("onLoginCancel, failAllRequest: Default", QUIL_LOG_WARN));
    EXPECT_EQ(host.Gateway().RequestCount(), 0u);
}

TEST_F(LoginFlow, AnExpiredSessionLogsInAndTheCallIsSentAgainWithTheNewSession) {
    // The host believes its session is good; the gateway no longer knows it.
    QuilConfig::GetInstance()->RegisterMultiAccountSession("alice", "sid-old", "uid-old");
    Login().SetSessionValid("alice", true);
    LoginScript script;
    script.sid = "sid-new";
    script.uid = "uid-new";
    Login().Script("alice", script);
    const int id = Send("alice");
    ASSERT_TRUE(recorder.WaitFor(1));
    ASSERT_TRUE(Login().WaitIdle(kWaitLimit));
    EXPECT_EQ(recorder.CountFor(id), 1u);
    EXPECT_EQ(recorder.Deliveries()[0].retCode, "SUCCESS");
    const std::vector<ReceivedRequest> received = host.Gateway().Requests();
    ASSERT_EQ(received.size(), 2u);
    EXPECT_EQ(received[0].Header("x-sid"), "sid-old");
    EXPECT_EQ(received[0].answerCode, "FAIL_SYS_SESSION_EXPIRED");
    EXPECT_EQ(received[1].Header("x-sid"), "sid-new");
    EXPECT_EQ(received[1].Header("x-uid"), "uid-new");
    EXPECT_EQ(received[1].answerCode, "SUCCESS");
    EXPECT_EQ(Login().LoginCount("alice"), 1u);
    const std::string idText = std::to_string(id);
    EXPECT_TRUE(log.Has("response need login, but session invalid, id: " + idText, QUIL_LOG_ERROR));
    EXPECT_TRUE(
        log.Has("request: " + idText + " interupt at after filter: a_login", QUIL_LOG_WARN));
    EXPECT_TRUE(
        log.Has("updateSessionInfo userInfo: alice, sid: sid-new, uid: uid-new", QUIL_LOG_INFO));
    EXPECT_EQ(log.CountOf("retry async QuilRequest id = " + idText +
                          ", api = e2e.private, version = 1.0"),
              1u);
}

TEST_F(LoginFlow, AFailedLoginOfOneAccountLeavesTheOthersWaiting) {
    Login().Script("alice", Held(LoginOutcome::Fail));
    Login().Script("bob", Held(LoginOutcome::Succeed, "sid-bob", "uid-bob"));
    std::set<int> alice;
    std::set<int> bob;
    for (int i = 0; i < 3; ++i) {
        alice.insert(Send("alice"));
        bob.insert(Send("bob"));
    }
    ASSERT_TRUE(WaitForParked(6));
    ASSERT_TRUE(Login().WaitForLogins("alice", 1, kWaitLimit));
    ASSERT_TRUE(Login().WaitForLogins("bob", 1, kWaitLimit));
    EXPECT_EQ(Login().Release("alice"), 1u);
    ASSERT_TRUE(recorder.WaitFor(3));
    // Bob's calls still wait for bob's login.
    EXPECT_EQ(recorder.Count(), 3u);
    for (const Delivery& delivery : recorder.Deliveries()) {
        EXPECT_EQ(alice.count(delivery.id), 1u);
        EXPECT_EQ(delivery.retCode, "FAIL_SYS_RETRY_LIMIT");
    }
    EXPECT_EQ(host.Gateway().RequestCount(), 0u);
    Login().Release("bob");
    ASSERT_TRUE(recorder.WaitFor(6));
    for (int id : bob) {
        EXPECT_EQ(recorder.CountFor(id), 1u);
    }
    const std::vector<ReceivedRequest> received = host.Gateway().Requests();
    ASSERT_EQ(received.size(), 3u);
    for (const ReceivedRequest& request : received) {
        EXPECT_EQ(request.Header("x-sid"), "sid-bob");
        EXPECT_EQ(request.answerCode, "SUCCESS");
    }
}

TEST_F(LoginFlow, ALoginThatEndsInsideTheCallThatStartsItStillFindsTheRequest) {
    LoginScript script;
    script.delay = std::chrono::milliseconds(-1);
    script.sid = "sid-quick";
    script.uid = "uid-quick";
    Login().Script("alice", script);
    const int id = Send("alice");
    ASSERT_TRUE(recorder.WaitFor(1));
    EXPECT_EQ(recorder.CountFor(id), 1u);
    EXPECT_EQ(recorder.Deliveries()[0].retCode, "SUCCESS");
    ASSERT_EQ(host.Gateway().RequestCount(), 1u);
    EXPECT_EQ(host.Gateway().Requests()[0].Header("x-sid"), "sid-quick");
    // Parked before the login was asked for, so the login's end found it.
    const std::vector<std::string> messages = log.Messages();
    std::size_t parked = messages.size();
    std::size_t retried = messages.size();
    for (std::size_t i = 0; i < messages.size(); ++i) {
        if (messages[i] == "async request addToRequestPool, id: " + std::to_string(id)) parked = i;
        if (messages[i] == "onLoginSuccess, retryAllRequest: alice") retried = i;
    }
    EXPECT_LT(parked, retried);
    EXPECT_LT(retried, messages.size());
}

TEST_F(LoginFlow, ASynchronousCallWithoutAUsableSessionFailsAtOnce) {
    QuilRequest* request = QuilRequest::Create(kPrivateApi, "1.0");
    request->SetNeedLogin(true);
    request->SetUserInfo("alice");
    ResponsePtr response = host.Call(request);
    ASSERT_NE(response, nullptr);
    EXPECT_EQ(response->GetRetInfo()->retCode, "FAIL_SYS_SESSION_EXPIRED");
    EXPECT_EQ(response->GetRetInfo()->retMsg, "session expired");
    EXPECT_EQ(response->GetRetInfo()->errorType, 1);
    EXPECT_EQ(host.Gateway().RequestCount(), 0u);
    EXPECT_EQ(Login().LoginCount(), 0u);
}

TEST_F(LoginFlow, ASynchronousCallThatMeetsAnExpiredSessionGetsTheGatewaysAnswer) {
    QuilConfig::GetInstance()->RegisterMultiAccountSession("alice", "sid-old", "uid-old");
    Login().SetSessionValid("alice", true);
    QuilRequest* request = QuilRequest::Create(kPrivateApi, "1.0");
    request->SetNeedLogin(true);
    request->SetUserInfo("alice");
    ResponsePtr response = host.Call(request);
    ASSERT_NE(response, nullptr);
    EXPECT_TRUE(response->IsSessionExpired());
    EXPECT_EQ(response->GetRetInfo()->retCode, "FAIL_SYS_SESSION_EXPIRED");
    EXPECT_EQ(host.Gateway().RequestCount(), 1u);
    EXPECT_EQ(Login().LoginCount(), 0u);
    EXPECT_TRUE(log.Has("request: 1 interupt at after filter: a_login", QUIL_LOG_WARN));
    EXPECT_FALSE(log.Has("handle ut after filter, id: 1"));
}

TEST_F(LoginFlow, ASingleAccountFlowServesTheDefaultAccount) {
    static ScriptedSingleAccountLogin single(&Login());
    RemoteLogin::setLoginImpl(&single);
    LoginScript script;
    script.sid = "sid-single";
    script.uid = "uid-single";
    Login().Script("Default", script);
    const int id = Send("");
    ASSERT_TRUE(recorder.WaitFor(1));
    EXPECT_EQ(recorder.CountFor(id), 1u);
    EXPECT_EQ(recorder.Deliveries()[0].retCode, "SUCCESS");
    EXPECT_TRUE(log.Has("iRemoteLogin logging...", QUIL_LOG_INFO));
    ASSERT_EQ(host.Gateway().RequestCount(), 1u);
    EXPECT_EQ(host.Gateway().Requests()[0].Header("x-sid"), "sid-single");
}

}  // namespace
}  // namespace test
}  // namespace quil
