// Calls that fail, end to end, and what the host sees of each: no gateway listening (the
// transport's own error text inside the network failure), a status 500 with a body (judged by
// the body) and without one (a network failure whatever the status), and a call the gateway
// refuses with a gateway error.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "E2eHost.h"

namespace quil {
namespace test {
namespace {

class Failure : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(host.Start()); }

    // The single report of a failed exchange: one "networkSendError".
    void ExpectNetworkSendError(const std::string& status) {
        const std::vector<StatisticsCall> fails =
            host.Statistics().Calls("CommitFail", "networkSendError");
        ASSERT_EQ(fails.size(), 1u);
        EXPECT_EQ(fails[0].module, "quilsdk");
        EXPECT_EQ(fails[0].arg, "");
        EXPECT_EQ(fails[0].errorCode, status);
        EXPECT_EQ(fails[0].errorMsg, "network send error");
    }

    E2eHost host;
};

TEST_F(Failure, NoGatewayListeningGivesConnectErrorWithTransportMessage) {
    const int port = host.Gateway().Port();
    const uint64_t connections = host.Gateway().AcceptedConnections();
    host.Gateway().Stop();
    ResponsePtr response = host.Call(QuilRequest::Create("e2e.echo", "1.0"));

    ASSERT_NE(response, nullptr);
    ASSERT_EQ(host.Client().Count(), 1u);
    const RecordedExchange exchange = host.Client().Exchanges().at(0);
    ASSERT_TRUE(exchange.answered);
    EXPECT_EQ(exchange.statusCode, 0);
    // libcurl's own words, which the library passes on untouched.
    EXPECT_THAT(exchange.errorMessage,
                ::testing::MatchesRegex("Failed to connect to 127\\.0\\.0\\.1 port " +
                                        std::to_string(port) +
                                        " after [0-9]+ ms: Couldn't connect to server"));
    EXPECT_EQ(host.Gateway().AcceptedConnections(), connections);
    EXPECT_EQ(host.Gateway().RequestCount(), 0u);

    EXPECT_EQ(response->GetStatusCode(), 0);
    EXPECT_FALSE(response->IsSuccess());
    EXPECT_EQ(response->GetBody(), "");
    // No header came; reading the server time for the report leaves an empty "s-rt" behind.
    EXPECT_EQ(response->GetHeaders(), (std::map<std::string, std::string>{{"s-rt", ""}}));
    ASSERT_NE(response->GetRetInfo(), nullptr);
    EXPECT_EQ(response->GetRetInfo()->retCode, "FAIL_NETWORK_CONNECT_ERROR");
    // Two blanks after "=", then the transport's text, then the status.
    EXPECT_EQ(response->GetRetInfo()->retMsg,
              "http connect with error message =  " + exchange.errorMessage + ", responseCode = 0");
    EXPECT_EQ(response->GetRetInfo()->errorType, 2);
    ExpectNetworkSendError("0");
}

TEST_F(Failure, Status500WithGatewayBodyIsJudgedByTheBody) {
    ScriptedAnswer fault;
    fault.status = 500;
    fault.headers = {{"x-retcode", "FAIL_SYS_INTERNAL_FAULT"}};
    fault.body = "{\"ret\":[\"FAIL_SYS_INTERNAL_FAULT::service busy\"]}";
    host.Gateway().Script("e2e.echo", {fault});
    ResponsePtr response = host.Call(QuilRequest::Create("e2e.echo", "1.0"));

    ASSERT_NE(response, nullptr);
    ASSERT_EQ(host.Gateway().RequestCount(), 1u);
    EXPECT_EQ(host.Gateway().Requests().at(0).answerCode, "scripted");
    EXPECT_EQ(response->GetStatusCode(), 500);
    EXPECT_FALSE(response->IsSuccess());
    EXPECT_EQ(response->GetBody(), "{\"ret\":[\"FAIL_SYS_INTERNAL_FAULT::service busy\"]}");
    EXPECT_EQ(response->GetHeaders().at("x-retcode"), "FAIL_SYS_INTERNAL_FAULT");
    EXPECT_EQ(response->GetRetInfo()->retCode, "FAIL_SYS_INTERNAL_FAULT");
    EXPECT_EQ(response->GetRetInfo()->retMsg, "service busy");
    EXPECT_EQ(response->GetRetInfo()->errorType, 3);
    EXPECT_TRUE(host.Statistics().Calls("CommitFail", "networkSendError").empty());
}

TEST_F(Failure, Status500WithTextBodyIsServerError) {
    ScriptedAnswer fault;
    fault.status = 500;
    fault.body = "oops";
    host.Gateway().Script("e2e.echo", {fault});
    ResponsePtr response = host.Call(QuilRequest::Create("e2e.echo", "1.0"));

    ASSERT_NE(response, nullptr);
    EXPECT_EQ(response->GetStatusCode(), 500);
    EXPECT_EQ(response->GetBody(), "oops");
    EXPECT_EQ(response->GetRetInfo()->retCode, "FAIL_SYS_CUSTOM_ERROR");
    EXPECT_EQ(response->GetRetInfo()->retMsg, "server return error");
    EXPECT_EQ(response->GetRetInfo()->errorType, 3);
    EXPECT_TRUE(host.Statistics().Calls("CommitFail", "networkSendError").empty());
}

TEST_F(Failure, Status500WithoutBodyIsNetworkFailure) {
    ScriptedAnswer fault;
    fault.status = 500;
    host.Gateway().Script("e2e.echo", {fault});
    ResponsePtr response = host.Call(QuilRequest::Create("e2e.echo", "1.0"));

    ASSERT_NE(response, nullptr);
    ASSERT_EQ(host.Gateway().RequestCount(), 1u);
    ASSERT_EQ(host.Client().Count(), 1u);
    // The transport had nothing to complain about.
    EXPECT_EQ(host.Client().Exchanges().at(0).errorMessage, "");
    EXPECT_EQ(response->GetStatusCode(), 500);
    EXPECT_FALSE(response->IsSuccess());
    EXPECT_EQ(response->GetBody(), "");
    EXPECT_EQ(response->GetHeaders().count("s-rt"), 1u);
    EXPECT_EQ(response->GetRetInfo()->retCode, "FAIL_NETWORK_CONNECT_ERROR");
    EXPECT_EQ(response->GetRetInfo()->retMsg,
              "http connect with error message =  , responseCode = 500");
    EXPECT_EQ(response->GetRetInfo()->errorType, 2);
    ExpectNetworkSendError("500");
}

TEST(FailureOfSign, GatewayWithAnotherAppKeyRefusesTheSignature) {
    GatewayEmulatorOptions options;
    options.appKey = "another-app-key";
    E2eHost host(options);
    ASSERT_TRUE(host.Start());
    ResponsePtr response = host.Call(QuilRequest::Create("e2e.echo", "1.0"));

    ASSERT_NE(response, nullptr);
    ASSERT_EQ(host.Gateway().RequestCount(), 1u);
    EXPECT_EQ(host.Gateway().Requests().at(0).answerCode, "FAIL_SYS_ILEGEL_SIGN");
    EXPECT_EQ(response->GetStatusCode(), 200);
    EXPECT_FALSE(response->IsSuccess());
    EXPECT_EQ(response->GetHeaders().at("x-retcode"), "FAIL_SYS_ILEGEL_SIGN");
    EXPECT_EQ(response->GetRetInfo()->retCode, "FAIL_SYS_ILEGEL_SIGN");
    EXPECT_EQ(response->GetRetInfo()->retMsg, "illegal sign");
    EXPECT_EQ(response->GetRetInfo()->errorType, 3);
    EXPECT_EQ(response->GetBody(),
              "{\"api\":\"e2e.echo\",\"data\":{},\"ret\":[\"FAIL_SYS_ILEGEL_SIGN::illegal "
              "sign\"],\"v\":\"1.0\"}");
}

}  // namespace
}  // namespace test
}  // namespace quil
