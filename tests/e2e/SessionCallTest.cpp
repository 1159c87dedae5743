// Calls that need a session, end to end: the session comes from the registry (registered by the
// host for an account) or from the session forced on the configuration, goes out as "x-sid" and
// "x-uid", is covered by the signature, and is what the gateway checks before it answers.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "E2eHost.h"
#include "ExpectedSignInput.h"
#include "StandInSignature.h"

namespace quil {
namespace test {
namespace {

class SessionCall : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(host.Start());
        host.Gateway().Settings().RequireSession("e2e.private", true);
    }

    // A call of the private API for account userInfo; checks what the gateway received.
    void ExpectSessionSent(const std::string& userInfo, const std::string& sid,
                           const std::string& uid) {
        QuilRequest* request = QuilRequest::Create("e2e.private", "1.0");
        request->SetNeedLogin(true);
        request->SetUserInfo(userInfo);
        ResponsePtr response = host.Call(request);

        ASSERT_NE(response, nullptr);
        const int64_t timestamp = response->GetRequest()->GetTimestamp();
        ASSERT_EQ(host.Gateway().RequestCount(), 1u);
        const ReceivedRequest received = host.Gateway().Requests().at(0);
        ExpectedSignInput input;
        input.utdid = E2eHost::kUtdid;
        input.uid = uid;
        input.appKey = E2eHost::kAppKey;
        input.data = "{}";
        input.timestamp = timestamp;
        input.api = "e2e.private";
        input.version = "1.0";
        input.sid = sid;
        input.ttid = E2eHost::kTtid;
        input.devId = E2eHost::kDevId;
        const std::string signInput = input.Build(true);
        const std::vector<std::string> lines = {
            "host:" + host.HostText(),
            "x-sid:" + sid,
            "x-uid:" + uid,
            "x-utdid:e2e-utdid",
            "x-ttid:e2e-ttid",
            "x-devid:e2e-devid",
            "x-reqbiz-ext:",
            "x-t:" + std::to_string(timestamp),
            "x-pv:6.3",
            "x-appkey:e2e-app-key",
            kFormContentTypeLine,
            "x-standin-scheme:hmac-sha256",
            "x-standin-sign:" +
                standin::Signature(E2eHost::kAppKey, standin::kLabelJson, signInput)};
        EXPECT_EQ(received.headerLines, AsSentByCurl(lines, true, "data=%7B%7D"));
        EXPECT_EQ(received.body, "data=%7B%7D");
        EXPECT_EQ(received.signInput, signInput);
        EXPECT_EQ(received.answerCode, "SUCCESS");

        EXPECT_EQ(response->GetStatusCode(), 200);
        EXPECT_TRUE(response->IsSuccess());
        EXPECT_FALSE(response->IsSessionExpired());
        EXPECT_EQ(response->GetRetInfo()->retCode, "SUCCESS");
        EXPECT_EQ(response->GetRetInfo()->retMsg, "call succeeded");
    }

    E2eHost host;
};

TEST_F(SessionCall, RegisteredSessionOfTheAccountGoesOutAndIsAccepted) {
    host.Gateway().Settings().AddSession("sid-alice");
    QuilConfig* config = QuilConfig::GetInstance();
    ASSERT_TRUE(config->RegisterMultiAccountSession("alice", "sid-alice", "uid-alice"));
    ASSERT_TRUE(config->RegisterMultiAccountSession("bob", "sid-bob", "uid-bob"));
    ExpectSessionSent("alice", "sid-alice", "uid-alice");
}

TEST_F(SessionCall, ForcedSessionIsRegisteredForTheCallAndAccepted) {
    host.Gateway().Settings().AddSession("sid-forced");
    QuilConfig* config = QuilConfig::GetInstance();
    config->sid = "sid-forced";
    config->uid = "uid-forced";
    ExpectSessionSent("", "sid-forced", "uid-forced");
    // The forced session now stands in the registry under the default account.
    EXPECT_EQ(config->GetSid("Default"), "sid-forced");
    EXPECT_EQ(config->GetUid("Default"), "uid-forced");
}

TEST_F(SessionCall, CallWithoutNeedLoginSendsNoSessionAndGatewayRefusesIt) {
    host.Gateway().Settings().AddSession("sid-alice");
    ASSERT_TRUE(QuilConfig::GetInstance()->RegisterMultiAccountSession("", "sid-alice", "uid-a"));
    QuilRequest* request = QuilRequest::Create("e2e.private", "1.0");
    ResponsePtr response = host.Call(request);

    ASSERT_NE(response, nullptr);
    ASSERT_EQ(host.Gateway().RequestCount(), 1u);
    const ReceivedRequest received = host.Gateway().Requests().at(0);
    EXPECT_FALSE(received.HasHeader("x-sid"));
    EXPECT_FALSE(received.HasHeader("x-uid"));
    EXPECT_EQ(received.answerCode, "FAIL_SYS_SESSION_EXPIRED");

    EXPECT_EQ(response->GetStatusCode(), 200);
    EXPECT_FALSE(response->IsSuccess());
    EXPECT_TRUE(response->IsSessionExpired());
    EXPECT_EQ(response->GetHeaders().at("x-retcode"), "FAIL_SYS_SESSION_EXPIRED");
    EXPECT_EQ(response->GetRetInfo()->retCode, "FAIL_SYS_SESSION_EXPIRED");
    EXPECT_EQ(response->GetRetInfo()->retMsg, "session expired");
    EXPECT_EQ(response->GetRetInfo()->errorType, 3);
    EXPECT_EQ(response->GetBody(),
              "{\"api\":\"e2e.private\",\"data\":{},\"ret\":[\"FAIL_SYS_SESSION_EXPIRED::session "
              "expired\"],\"v\":\"1.0\"}");
}

}  // namespace
}  // namespace test
}  // namespace quil
