// The emulator's dispatch service: the signed form is checked, the answer is the Base64 of a
// JSON text with the configured "dns" entries, signed in "x-zn-sign".
#include <gtest/gtest.h>
#include <json/json.h>

#include <atomic>
#include <map>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include "DispatchEndpoint.h"
#include "GatewayEmulator.h"
#include "RawHttpConnection.h"
#include "StandInSignature.h"
#include "WireCodec.h"

namespace quil {
namespace {

using test::RawHttpResponse;

constexpr char kAppKey[] = "app-key-1";

// The form a client posts, as a key-ordered map.
std::map<std::string, std::string> Form() {
    return {{"appName", "Quil Demo"},
            {"appVersion", "1.0"},
            {"appkey", kAppKey},
            {"bssid", ""},
            {"channel", ""},
            {"deviceId", "utdid-1"},
            {"domain", "gw.quil.example"},
            {"lat", "30.1"},
            {"lng", "120.2"},
            {"machine", ""},
            {"netType", "WIFI"},
            {"other", ""},
            {"platform", "pc"},
            {"platformVersion", ""},
            {"preIp", ""},
            {"sid", ""},
            {"signType", "sec"},
            {"t", "1700000000"},
            {"v", "4.0"}};
}

std::string SignInputOf(const std::map<std::string, std::string>& form) {
    const char* const order[] = {
        "appkey", "domain", "appName", "appVersion", "bssid",   "channel",  "deviceId",
        "lat",    "lng",    "machine", "netType",    "other",   "platform", "platformVersion",
        "preIp",  "sid",    "t",       "v",          "signType"};
    std::string input;
    for (const char* key : order) {
        if (!input.empty() || key != order[0]) {
            input += "&";
        }
        input += form.at(key);
    }
    return input;
}

std::map<std::string, std::string> SignedForm() {
    std::map<std::string, std::string> form = Form();
    form["sign"] = standin::Signature(kAppKey, standin::kLabelUrlMethod2, SignInputOf(form));
    return form;
}

std::string Wire(const std::map<std::string, std::string>& form, bool gzip = false) {
    std::string body;
    for (const auto& field : form) {
        if (!body.empty()) {
            body += "&";
        }
        body += UrlEncode(field.first) + "=" + UrlEncode(field.second);
    }
    return "POST /zent/mobileDispatch?appkey=" + std::string(kAppKey) +
           "&v=4.0&deviceId=utdid-1&platform=pc HTTP/1.1\r\n"
           "Connection:close\r\n" +
           (gzip ? "Accept-Encoding:gzip\r\n" : "") +
           "Content-Type: application/x-www-form-urlencoded\r\n"
           "Content-Length: " +
           std::to_string(body.size()) + "\r\n\r\n" + body;
}

std::string Base64Decode(const std::string& text) {
    static const std::string alphabet =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    unsigned value = 0;
    int bits = 0;
    for (char c : text) {
        const std::size_t index = alphabet.find(c);
        if (index == std::string::npos) {
            break;
        }
        value = (value << 6) | static_cast<unsigned>(index);
        bits += 6;
        if (bits >= 8) {
            bits -= 8;
            out.push_back(static_cast<char>((value >> bits) & 0xff));
        }
    }
    return out;
}

class GatewayDispatchTest : public ::testing::Test {
protected:
    void SetUp() override {
        GatewayEmulatorOptions options;
        options.appKey = kAppKey;
        options.dispatchEntries = {{"gw.quil.example", {"10.0.0.1", "10.0.0.2"}},
                                   {"other.quil.example", {}}};
        emulator_ = std::make_unique<GatewayEmulator>(options);
        ASSERT_TRUE(emulator_->Start(0));
    }

    RawHttpResponse Send(const std::string& wire) {
        RawHttpResponse response;
        EXPECT_TRUE(test::RoundTrip(emulator_->Port(), wire, &response));
        return response;
    }

    std::unique_ptr<GatewayEmulator> emulator_;
};

TEST_F(GatewayDispatchTest, ASignedFormGetsTheSignedBase64OfTheDnsEntries) {
    const RawHttpResponse response = Send(Wire(SignedForm()));
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(response.Header("x-zn-code"), "1000");
    const std::string text = Base64Decode(response.body);
    EXPECT_EQ(text,
              "{\"dns\":[{\"host\":\"gw.quil.example\",\"ips\":[\"10.0.0.1\",\"10.0.0.2\"]},"
              "{\"host\":\"other.quil.example\",\"ips\":[]}]}");
    EXPECT_EQ(response.Header("x-zn-sign"),
              standin::Signature(kAppKey, standin::kLabelUrlMethod2, text));
    const auto requests = emulator_->Requests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].signInput, SignInputOf(Form()));
    EXPECT_EQ(requests[0].signInput,
              "app-key-1&gw.quil.example&Quil Demo&1.0&&&utdid-1&30.1&120.2&&WIFI&&pc&&&&"
              "1700000000&4.0&sec");
    EXPECT_EQ(requests[0].query, "appkey=app-key-1&v=4.0&deviceId=utdid-1&platform=pc");
}

TEST_F(GatewayDispatchTest, AWrongOrMissingSignIsRefused) {
    std::map<std::string, std::string> form = SignedForm();
    form["domain"] = "tampered.quil.example";
    const RawHttpResponse tampered = Send(Wire(form));
    EXPECT_EQ(tampered.Header("x-zn-code"), kDispatchBadSign);
    EXPECT_FALSE(tampered.HasHeader("x-zn-sign"));
    EXPECT_EQ(tampered.body, "");

    form = Form();
    EXPECT_EQ(Send(Wire(form)).Header("x-zn-code"), kDispatchBadSign);
}

TEST_F(GatewayDispatchTest, AFormWithoutOneOfTheSignedKeysIsRefused) {
    std::map<std::string, std::string> form = SignedForm();
    form.erase("bssid");
    EXPECT_EQ(Send(Wire(form)).Header("x-zn-code"), kDispatchBadForm);
    EXPECT_EQ(Send("GET /zent/mobileDispatch HTTP/1.1\r\n\r\n").Header("x-zn-code"),
              kDispatchBadForm);
}

TEST_F(GatewayDispatchTest, ItCanBeToldToAnswerAWrongCodeOrSign) {
    emulator_->Settings().SetDispatchCode("01000");
    EXPECT_EQ(Send(Wire(SignedForm())).Header("x-zn-code"), "01000");
    emulator_->Settings().SetDispatchCode("1000");

    emulator_->Settings().SetDispatchSignMode(DispatchSignMode::kWrong);
    const RawHttpResponse wrong = Send(Wire(SignedForm()));
    EXPECT_EQ(wrong.Header("x-zn-code"), "1000");
    EXPECT_EQ(wrong.Header("x-zn-sign").size(), 64u);
    EXPECT_NE(wrong.Header("x-zn-sign"),
              standin::Signature(kAppKey, standin::kLabelUrlMethod2, Base64Decode(wrong.body)));

    emulator_->Settings().SetDispatchSignMode(DispatchSignMode::kMissing);
    const RawHttpResponse missing = Send(Wire(SignedForm()));
    EXPECT_FALSE(missing.HasHeader("x-zn-sign"));
    EXPECT_FALSE(missing.body.empty());
}

TEST_F(GatewayDispatchTest, AClientThatAcceptsGzipGetsTheAnswerCompressed) {
    const RawHttpResponse response = Send(Wire(SignedForm(), true));
    EXPECT_EQ(response.Header("x-zn-code"), "1000");
    EXPECT_EQ(response.Header("Content-Encoding"), "gzip");
}

TEST_F(GatewayDispatchTest, EachCallTakesTheNextScriptedAnswerThenTheSettingsAgain) {
    ScriptedDispatchAnswer wrongCode;
    wrongCode.hasCode = true;
    wrongCode.code = "01000";
    ScriptedDispatchAnswer otherEntries;
    otherEntries.hasEntries = true;
    otherEntries.entries = {{"gw.quil.example", {"10.9.9.9"}}};
    otherEntries.hasSignMode = true;
    otherEntries.signMode = DispatchSignMode::kMissing;
    ScriptedDispatchAnswer unavailable;
    unavailable.status = 503;
    ScriptedDispatchAnswer rawText;
    rawText.hasText = true;
    rawText.text = "not json";
    emulator_->ScriptDispatch({wrongCode, otherEntries, unavailable, rawText});

    EXPECT_EQ(Send(Wire(SignedForm())).Header("x-zn-code"), "01000");
    const RawHttpResponse second = Send(Wire(SignedForm()));
    EXPECT_EQ(second.Header("x-zn-code"), "1000");
    EXPECT_FALSE(second.HasHeader("x-zn-sign"));
    EXPECT_EQ(Base64Decode(second.body),
              "{\"dns\":[{\"host\":\"gw.quil.example\",\"ips\":[\"10.9.9.9\"]}]}");
    const RawHttpResponse third = Send(Wire(SignedForm()));
    EXPECT_EQ(third.status, 503);
    EXPECT_FALSE(third.HasHeader("x-zn-code"));
    const RawHttpResponse fourth = Send(Wire(SignedForm()));
    EXPECT_EQ(Base64Decode(fourth.body), "not json");
    EXPECT_EQ(fourth.Header("x-zn-sign"),
              standin::Signature(kAppKey, standin::kLabelUrlMethod2, "not json"));
    const RawHttpResponse fifth = Send(Wire(SignedForm()));
    EXPECT_EQ(fifth.Header("x-zn-code"), "1000");
    EXPECT_EQ(Base64Decode(fifth.body),
              "{\"dns\":[{\"host\":\"gw.quil.example\",\"ips\":[\"10.0.0.1\",\"10.0.0.2\"]},"
              "{\"host\":\"other.quil.example\",\"ips\":[]}]}");
}

TEST_F(GatewayDispatchTest, ARefusedCallUsesUpItsScriptedAnswerToo) {
    ScriptedDispatchAnswer wrongCode;
    wrongCode.hasCode = true;
    wrongCode.code = "01000";
    emulator_->ScriptDispatch({wrongCode});
    EXPECT_EQ(Send(Wire(Form())).Header("x-zn-code"), kDispatchBadSign);
    EXPECT_EQ(Send(Wire(SignedForm())).Header("x-zn-code"), "1000");
}

TEST_F(GatewayDispatchTest, AScriptedDelayHoldsTheRequestInFlightUntilStopped) {
    ScriptedDispatchAnswer slow;
    slow.delayMs = 600000;
    emulator_->ScriptDispatch({slow});
    std::atomic<bool> done{false};
    std::thread client([this, &done] {
        RawHttpResponse response;
        test::RoundTrip(emulator_->Port(), Wire(SignedForm()), &response);
        done = true;
    });
    // Received and held: the journal has it while the client still waits for its answer.
    ASSERT_TRUE(emulator_->WaitForRequests(1, std::chrono::seconds(20)));
    EXPECT_EQ(emulator_->Requests()[0].answerCode, "1000");
    EXPECT_FALSE(done.load());
    // Stopping cuts the delay short, so the client is released.
    emulator_->Stop();
    client.join();
    EXPECT_TRUE(done.load());
}

TEST_F(GatewayDispatchTest, AScenarioScriptsTheDispatchService) {
    std::string error;
    ASSERT_TRUE(emulator_->LoadScenarioText(
        R"({"dispatchScript": [{"code": "01000"},
                               {"sign": "wrong", "dns": [{"host": "a.example", "ips": ["1"]}]},
                               {"text": "raw", "sign": "missing", "times": 2}]})",
        &error))
        << error;
    EXPECT_EQ(Send(Wire(SignedForm())).Header("x-zn-code"), "01000");
    const RawHttpResponse wrong = Send(Wire(SignedForm()));
    EXPECT_EQ(Base64Decode(wrong.body), "{\"dns\":[{\"host\":\"a.example\",\"ips\":[\"1\"]}]}");
    EXPECT_NE(wrong.Header("x-zn-sign"),
              standin::Signature(kAppKey, standin::kLabelUrlMethod2, Base64Decode(wrong.body)));
    for (int i = 0; i < 2; ++i) {
        const RawHttpResponse raw = Send(Wire(SignedForm()));
        EXPECT_EQ(Base64Decode(raw.body), "raw");
        EXPECT_FALSE(raw.HasHeader("x-zn-sign"));
    }
    EXPECT_EQ(
        Send(Wire(SignedForm())).Header("x-zn-sign"),
        standin::Signature(kAppKey, standin::kLabelUrlMethod2,
                           DispatchEndpoint::AnswerText(emulator_->Settings().DispatchEntries())));
}

TEST(GatewayDispatchScript, BadScriptsAreRefusedWithAMessage) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {R"({"dispatchScript": {}})", "\"dispatchScript\" must be an array"},
        {R"({"dispatchScript": [1]})", "dispatchScript: a dispatch answer must be an object"},
        {R"({"dispatchScript": [{"sign": "maybe"}]})",
         "dispatchScript: \"sign\" must be \"valid\", \"wrong\" or \"missing\""},
        {R"({"dispatchScript": [{"code": 1000}]})", "dispatchScript: \"code\" must be a string"},
        {R"({"dispatchScript": [{"dns": [{"host": "h", "ips": [1]}]}]})",
         "dispatchScript: \"ips\" must be an array of strings"},
        {R"({"dispatchScript": [{"delayMs": -1}]})",
         "dispatchScript: \"delayMs\", \"times\" or \"status\" out of range"}};
    for (const auto& item : cases) {
        GatewayScenario scenario;
        std::string error;
        EXPECT_FALSE(ParseGatewayScenario(item.first, &scenario, &error)) << item.first;
        EXPECT_EQ(error, item.second);
    }
}

TEST(GatewayDispatchAnswer, NoEntriesGiveAnEmptyDnsArray) {
    EXPECT_EQ(DispatchEndpoint::AnswerText({}), "{\"dns\":[]}");
}

}  // namespace
}  // namespace quil
