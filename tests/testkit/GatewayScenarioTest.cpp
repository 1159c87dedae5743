// Scripted answers of the gateway emulator: traffic protection, 304, 5xx with and without a
// body, empty bodies, slow answers and connections closed without an answer, set in-process
// and from a scenario file.
#include <gtest/gtest.h>

#include <unistd.h>
#include <chrono>

#include <cstdio>
#include <ctime>
#include <fstream>
#include <memory>

#include "GatewayEmulator.h"
#include "GatewayScenario.h"
#include "HandComposedCall.h"
#include "RawHttpConnection.h"

namespace quil {
namespace {

using test::HandComposedCall;
using test::RawHttpConnection;
using test::RawHttpResponse;

constexpr char kApi[] = "quil.test.echo";

class GatewayScenarioTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(emulator_.Start(0)); }

    std::string Wire(const std::string& api = kApi) const {
        HandComposedCall call;
        call.api = api;
        call.timestamp = static_cast<long long>(std::time(nullptr));
        return call.Wire();
    }

    RawHttpResponse Send(const std::string& api = kApi) {
        RawHttpResponse response;
        EXPECT_TRUE(test::RoundTrip(emulator_.Port(), Wire(api), &response));
        return response;
    }

    static ScriptedAnswer Answer(int status, const std::string& body = std::string()) {
        ScriptedAnswer answer;
        answer.status = status;
        answer.body = body;
        return answer;
    }

    GatewayEmulator emulator_;
};

TEST_F(GatewayScenarioTest, TrafficProtectionStatusesComeInScriptedOrderThenTheNormalAnswer) {
    ScriptedAnswer flood = Answer(419, "{\"ret\":[\"FAIL_SYS_USER_VALIDATE::flood\"]}");
    flood.headers = {{"x-retcode", "FAIL_SYS_USER_VALIDATE"}, {"Content-Type", "text/plain"}};
    emulator_.Script(kApi, {flood, Answer(420, "limit"), Answer(421, "protected")});

    const RawHttpResponse first = Send();
    EXPECT_EQ(first.status, 419);
    EXPECT_EQ(first.Header("x-retcode"), "FAIL_SYS_USER_VALIDATE");
    EXPECT_EQ(first.Header("Content-Type"), "text/plain");
    EXPECT_EQ(first.body, "{\"ret\":[\"FAIL_SYS_USER_VALIDATE::flood\"]}");
    const RawHttpResponse second = Send();
    EXPECT_EQ(second.status, 420);
    EXPECT_EQ(second.body, "limit");
    const RawHttpResponse third = Send();
    EXPECT_EQ(third.status, 421);
    EXPECT_EQ(third.body, "protected");
    const RawHttpResponse fourth = Send();
    EXPECT_EQ(fourth.status, 200);
    EXPECT_NE(fourth.body.find("SUCCESS::"), std::string::npos);
    EXPECT_EQ(emulator_.Requests().at(0).answerCode, "scripted");
}

TEST_F(GatewayScenarioTest, ScriptsBelongToTheirApiOnly) {
    emulator_.Script("Quil.Test.Other", {Answer(500, "boom")});
    EXPECT_EQ(Send().status, 200);
    EXPECT_EQ(Send("quil.test.other").status, 500);
}

TEST_F(GatewayScenarioTest, NotModifiedAndServerErrorsWithAndWithoutABody) {
    emulator_.Script(kApi, {Answer(304), Answer(500, "{\"ret\":[\"FAIL_SYS_INTERNAL::x\"]}"),
                            Answer(502), Answer(200)});
    const RawHttpResponse notModified = Send();
    EXPECT_EQ(notModified.status, 304);
    EXPECT_EQ(notModified.body, "");
    const RawHttpResponse withBody = Send();
    EXPECT_EQ(withBody.status, 500);
    EXPECT_EQ(withBody.body, "{\"ret\":[\"FAIL_SYS_INTERNAL::x\"]}");
    const RawHttpResponse withoutBody = Send();
    EXPECT_EQ(withoutBody.status, 502);
    EXPECT_EQ(withoutBody.body, "");
    const RawHttpResponse emptyOk = Send();
    EXPECT_EQ(emptyOk.status, 200);
    EXPECT_EQ(emptyOk.body, "");
}

TEST_F(GatewayScenarioTest, ClosingWithoutAnAnswerSendsNoByte) {
    ScriptedAnswer close;
    close.closeWithoutAnswer = true;
    emulator_.Script(kApi, {close});
    RawHttpConnection connection;
    ASSERT_TRUE(connection.Connect(emulator_.Port()));
    ASSERT_TRUE(connection.Send(Wire()));
    EXPECT_TRUE(connection.ClosedWithoutAnswer());
    ASSERT_EQ(emulator_.RequestCount(), 1u);
    EXPECT_EQ(emulator_.Requests().at(0).answerCode, "scripted close");
    EXPECT_EQ(Send().status, 200);
}

TEST_F(GatewayScenarioTest, ADelayedAnswerComesNoSoonerThanItsDelay) {
    ScriptedAnswer slow = Answer(503, "late");
    slow.delayMs = 300;
    emulator_.Script(kApi, {slow});
    const auto started = std::chrono::steady_clock::now();
    const RawHttpResponse response = Send();
    EXPECT_GE(std::chrono::steady_clock::now() - started, std::chrono::milliseconds(300));
    EXPECT_EQ(response.status, 503);
    EXPECT_EQ(response.body, "late");
}

TEST_F(GatewayScenarioTest, ADelayAloneSlowsTheNormalAnswer) {
    ScriptedAnswer slow;
    slow.delayMs = 200;
    emulator_.Script(kApi, {slow});
    const auto started = std::chrono::steady_clock::now();
    const RawHttpResponse response = Send();
    EXPECT_GE(std::chrono::steady_clock::now() - started, std::chrono::milliseconds(200));
    EXPECT_EQ(response.status, 200);
    EXPECT_NE(response.body.find("SUCCESS::call succeeded"), std::string::npos);
}

TEST_F(GatewayScenarioTest, ADelayedConnectionDoesNotHoldUpAnother) {
    ScriptedAnswer slow = Answer(200, "slow");
    slow.delayMs = 600000;
    emulator_.Script(kApi, {slow});
    RawHttpConnection waiting;
    ASSERT_TRUE(waiting.Connect(emulator_.Port()));
    ASSERT_TRUE(waiting.Send(Wire()));
    ASSERT_TRUE(emulator_.WaitForRequests(1, std::chrono::seconds(5)));
    EXPECT_EQ(Send().status, 200);
    EXPECT_NE(Send().body, "slow");
    emulator_.Stop();
}

TEST_F(GatewayScenarioTest, TimesRepeatAnAnswerAndMinusOneRepeatsItForever) {
    ScriptedAnswer twice = Answer(420);
    twice.times = 2;
    ScriptedAnswer always = Answer(599);
    always.times = -1;
    emulator_.Script(kApi, {twice, always});
    EXPECT_EQ(Send().status, 420);
    EXPECT_EQ(Send().status, 420);
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(Send().status, 599);
    }
    emulator_.Settings().ClearScripts();
    EXPECT_EQ(Send().status, 200);
}

TEST_F(GatewayScenarioTest, AScriptDoesNotOverrideABadSignature) {
    emulator_.Script(kApi, {Answer(419)});
    HandComposedCall call;
    call.timestamp = static_cast<long long>(std::time(nullptr));
    std::vector<std::string> lines = call.HeaderLines();
    lines.back() = "x-standin-sign:0000";
    RawHttpResponse response;
    ASSERT_TRUE(test::RoundTrip(emulator_.Port(), call.Wire(lines), &response));
    EXPECT_EQ(response.Header("x-retcode"), "FAIL_SYS_ILEGEL_SIGN");
    EXPECT_EQ(Send().status, 419);
}

TEST_F(GatewayScenarioTest, AScenarioFileScriptsAnswersSessionsAndOmbrel) {
    const std::string path =
        std::string(QUIL_TEST_BINARY_DIR) + "/gateway-scenario-" + std::to_string(::getpid());
    {
        std::ofstream file(path);
        file << R"({
          "apis": {
            "Quil.Test.Echo": [
              {"status": 419, "headers": [["x-retcode", "FAIL_SYS_USER_VALIDATE"]],
               "body": {"ret": ["FAIL_SYS_USER_VALIDATE::x"]}},
              {"close": true},
              {"status": 200, "body": "", "delayMs": 10}
            ]
          },
          "sessions": ["sid-file"],
          "needSession": ["quil.test.private"],
          "echoOmbrel": true,
          "dns": [{"host": "gw.quil.example", "ips": ["10.0.0.1"]}]
        })";
    }
    std::string error;
    ASSERT_TRUE(emulator_.LoadScenarioFile(path, &error)) << error;
    std::remove(path.c_str());

    const RawHttpResponse flood = Send();
    EXPECT_EQ(flood.status, 419);
    EXPECT_EQ(flood.Header("x-retcode"), "FAIL_SYS_USER_VALIDATE");
    EXPECT_EQ(flood.body, "{\"ret\":[\"FAIL_SYS_USER_VALIDATE::x\"]}");
    RawHttpConnection closing;
    ASSERT_TRUE(closing.Connect(emulator_.Port()));
    ASSERT_TRUE(closing.Send(Wire()));
    EXPECT_TRUE(closing.ClosedWithoutAnswer());
    EXPECT_EQ(Send().body, "");
    EXPECT_TRUE(emulator_.Settings().IsSession("sid-file"));
    EXPECT_TRUE(emulator_.Settings().NeedsSession("quil.test.private"));
    EXPECT_TRUE(emulator_.Settings().EchoOmbrel());
    ASSERT_EQ(emulator_.Settings().DispatchEntries().size(), 1u);
    EXPECT_EQ(emulator_.Settings().DispatchEntries()[0].ips.at(0), "10.0.0.1");
}

TEST(GatewayScenario, ABrokenScenarioIsRefusedWithAReason) {
    GatewayScenario scenario;
    std::string error;
    EXPECT_FALSE(ParseGatewayScenario("not json", &scenario, &error));
    EXPECT_NE(error.find("not JSON"), std::string::npos);
    EXPECT_FALSE(ParseGatewayScenario("[]", &scenario, &error));
    EXPECT_FALSE(ParseGatewayScenario(R"({"apis": {"a": {}}})", &scenario, &error));
    EXPECT_FALSE(ParseGatewayScenario(R"({"apis": {"a": [{"status": "x"}]}})", &scenario, &error));
    EXPECT_EQ(error, "a: \"status\" must be an integer");
    EXPECT_FALSE(ParseGatewayScenario(R"({"apis": {"a": [{"times": 0}]}})", &scenario, &error));
    EXPECT_FALSE(ParseGatewayScenario(R"({"sessions": [1]})", &scenario, &error));
    EXPECT_FALSE(ParseGatewayScenario(R"({"dns": [{"ips": []}]})", &scenario, &error));
    GatewayEmulator emulator;
    EXPECT_FALSE(emulator.LoadScenarioFile("/nonexistent/scenario.json", &error));
    EXPECT_NE(error.find("cannot read"), std::string::npos);
}

TEST(GatewayScenario, AnEmptyScenarioChangesNothing) {
    GatewayScenario scenario;
    std::string error;
    ASSERT_TRUE(ParseGatewayScenario("{}", &scenario, &error)) << error;
    EXPECT_TRUE(scenario.scripts.empty());
    EXPECT_FALSE(scenario.hasDispatchEntries);
    EXPECT_FALSE(scenario.hasEchoOmbrel);
}

}  // namespace
}  // namespace quil
