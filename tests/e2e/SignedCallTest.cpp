// Whole synchronous calls through the shared library, the curl adapter and the gateway emulator,
// signed by the stand-in security library: by version 6.3, and by 6.2 when the stand-in's JSON
// road fails. The emulator rebuilds the signed text from the wire and checks the signature, so
// every success here also proves the composition byte for byte.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "E2eHost.h"
#include "ExpectedSignInput.h"
#include "StandInSignature.h"

namespace quil {
namespace test {
namespace {

// The data of a request with one member, in the gateway's styled layout without line feeds,
// and URL-encoded as the form body carries it.
const char kGreetingData[] = "{   \"greeting\" : \"hello\"}";
const char kGreetingForm[] = "data=%7B+++%22greeting%22+%3A+%22hello%22%7D";

class SignedCall : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(host.Start()); }

    ExpectedSignInput GreetingSignInput(int64_t timestamp) const {
        ExpectedSignInput input;
        input.utdid = E2eHost::kUtdid;
        input.appKey = E2eHost::kAppKey;
        input.data = kGreetingData;
        input.timestamp = timestamp;
        input.api = "e2e.echo";
        input.version = "1.0";
        input.ttid = E2eHost::kTtid;
        input.devId = E2eHost::kDevId;
        return input;
    }

    E2eHost host;
};

TEST_F(SignedCall, PostSignedByJsonRoadReachesGatewayAndSucceeds) {
    QuilRequest* request = QuilRequest::Create("e2e.echo", "1.0");
    request->AddData("greeting", std::string("hello"));
    ResponsePtr response = host.Call(request);

    ASSERT_NE(response, nullptr);
    ASSERT_NE(response->GetRequest(), nullptr);
    const int64_t timestamp = response->GetRequest()->GetTimestamp();
    ASSERT_EQ(host.Gateway().RequestCount(), 1u);
    const ReceivedRequest received = host.Gateway().Requests().at(0);

    const std::string signInput = GreetingSignInput(timestamp).Build(true);
    const std::string sign = standin::Signature(E2eHost::kAppKey, standin::kLabelJson, signInput);
    const std::vector<std::string> lines = {"host:" + host.HostText(),
                                            "x-utdid:e2e-utdid",
                                            "x-ttid:e2e-ttid",
                                            "x-devid:e2e-devid",
                                            "x-reqbiz-ext:",
                                            "x-t:" + std::to_string(timestamp),
                                            "x-pv:6.3",
                                            "x-appkey:e2e-app-key",
                                            kFormContentTypeLine,
                                            "x-standin-scheme:hmac-sha256",
                                            "x-standin-sign:" + sign};
    ASSERT_EQ(host.Client().Count(), 1u);
    const RecordedExchange exchange = host.Client().Exchanges().at(0);
    EXPECT_EQ(exchange.url, "http://" + host.HostText() + "/gw/e2e.echo/1.0/?");
    EXPECT_EQ(exchange.headerLines, lines);
    EXPECT_EQ(received.method, "POST");
    EXPECT_EQ(received.target, "/gw/e2e.echo/1.0/?");
    EXPECT_EQ(received.path, "/gw/e2e.echo/1.0/");
    EXPECT_EQ(received.query, "");
    EXPECT_EQ(received.headerLines, AsSentByCurl(lines, true, kGreetingForm));
    EXPECT_EQ(received.body, kGreetingForm);
    EXPECT_EQ(received.signInput, signInput);
    EXPECT_EQ(received.answerCode, "SUCCESS");

    EXPECT_EQ(response->GetStatusCode(), 200);
    EXPECT_TRUE(response->IsSuccess());
    ASSERT_NE(response->GetRetInfo(), nullptr);
    EXPECT_EQ(response->GetRetInfo()->retCode, "SUCCESS");
    EXPECT_EQ(response->GetRetInfo()->retMsg, "call succeeded");
    EXPECT_EQ(response->GetRetInfo()->errorType, 0);
    EXPECT_EQ(response->GetBody(),
              "{\"api\":\"e2e.echo\",\"data\":{\"greeting\":\"hello\"},\"ret\":[\"SUCCESS::call "
              "succeeded\"],\"v\":\"1.0\"}");
    const auto headers = response->GetHeaders();
    EXPECT_EQ(headers.count("s-rt"), 1u);
    EXPECT_EQ(headers.count("x-retcode"), 0u);
    EXPECT_EQ(headers.at("Content-Type"), "application/json;charset=UTF-8");
}

TEST_F(SignedCall, PostSignedByUrlRoadWhenJsonRoadFails) {
    host.StandIn().SetInt("jsonSign.fail", 1);
    host.StandIn().SetInt("jsonSign.code", 1907);
    QuilRequest* request = QuilRequest::Create("e2e.echo", "1.0");
    request->AddData("greeting", std::string("hello"));
    ResponsePtr response = host.Call(request);

    ASSERT_NE(response, nullptr);
    const int64_t timestamp = response->GetRequest()->GetTimestamp();
    ASSERT_EQ(host.Gateway().RequestCount(), 1u);
    const ReceivedRequest received = host.Gateway().Requests().at(0);

    const std::string signInput = GreetingSignInput(timestamp).Build(false);
    const std::string sign =
        standin::Signature(E2eHost::kAppKey, standin::kLabelUrlMethod1, signInput);
    // No sign headers at the end: "x-sign:" stands in its own place, and "x-pv:" says 6.2.
    const std::vector<std::string> lines = {
        "host:" + host.HostText(), "x-utdid:e2e-utdid", "x-ttid:e2e-ttid",
        "x-devid:e2e-devid",       "x-reqbiz-ext:",     "x-t:" + std::to_string(timestamp),
        "x-sign:" + sign,          "x-pv:6.2",          "x-appkey:e2e-app-key",
        kFormContentTypeLine};
    EXPECT_EQ(received.method, "POST");
    EXPECT_EQ(received.target, "/gw/e2e.echo/1.0/?");
    EXPECT_EQ(received.headerLines, AsSentByCurl(lines, true, kGreetingForm));
    EXPECT_EQ(received.body, kGreetingForm);
    EXPECT_EQ(received.signInput, signInput);
    EXPECT_EQ(received.answerCode, "SUCCESS");
    // Both roads were asked, the JSON road first.
    EXPECT_EQ(host.StandIn().Count("jsonSign.sign"), 1);
    EXPECT_EQ(host.StandIn().Count("urlSign.sign"), 1);

    EXPECT_EQ(response->GetStatusCode(), 200);
    EXPECT_TRUE(response->IsSuccess());
    EXPECT_EQ(response->GetRetInfo()->retCode, "SUCCESS");
    EXPECT_EQ(response->GetRetInfo()->retMsg, "call succeeded");
    EXPECT_EQ(response->GetRetInfo()->errorType, 0);
}

}  // namespace
}  // namespace test
}  // namespace quil
