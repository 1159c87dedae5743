// Whole synchronous calls through QuilService with the real signing bridge, which loads the
// stand-in security library at the first call: signed by 6.3, by 6.2 when 6.3 fails, and the
// exact failure when both fail.
#include <gtest/gtest.h>

#include <json/json.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "QuilConfig.h"
#include "QuilRequestImpl.h"
#include "QuilServiceImpl.h"
#include "ScriptedHttpClient.h"
#include "SignBridgeFixture.h"
#include "StandInSignature.h"

namespace {

using quil::test::RecordedRequest;
using quil::test::ScriptedHttpClient;
using quil::test::ScriptedResponse;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;
using ResponsePtr = std::unique_ptr<QuilResponse>;

// The service keeps the client for the life of the process.
ScriptedHttpClient& Client() {
    static ScriptedHttpClient* client = new ScriptedHttpClient();
    return *client;
}

class SignedCallTest : public quil::test::SignBridgeFixture {
protected:
    void SetUp() override {
        SignBridgeFixture::SetUp();
        QuilConfig::GetInstance()->RegisterHttpClient(&Client());
        ScriptedResponse answer;
        answer.statusCode = 200;
        answer.header = "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\n";
        answer.body = "{\"data\":{},\"ret\":[\"SUCCESS::call ok\"]}";
        Client().SetDefault(answer);
        service = dynamic_cast<QuilServiceImpl*>(QuilService::GetInstance());
        ASSERT_NE(service, nullptr);
    }

    // Sends one call with an extension part; the stand-in's start messages are kept off the
    // test output.
    ResponsePtr Call() {
        QuilRequest* request = QuilRequest::Create("mtop.quil.signed", "1.0");
        request->AddData("key", std::string("value"));
        request->SetExtData("ext-part");
        CaptureStdout();
        ResponsePtr response(service->SendSyncRequest(request));
        GetCapturedStdout();
        return response;
    }

    std::string SignInput(QuilResponse* response, bool extended) {
        std::string input;
        service->GetOriginalSignUrl(input, dynamic_cast<QuilRequestImpl*>(response->GetRequest()),
                                    extended);
        return input;
    }

    static std::string DataOfJsonLine(const std::string& line) {
        Json::Value value;
        Json::Reader reader;
        reader.parse(line, value);
        return value["data"].asString();
    }

    static bool HasLine(const RecordedRequest& request, const std::string& line) {
        return std::find(request.header.begin(), request.header.end(), line) !=
               request.header.end();
    }

    QuilServiceImpl* service = nullptr;
};

TEST_F(SignedCallTest, TheFirstCallStartsTheBridgeOnceAndReportsTheStartTime) {
    ResponsePtr first = Call();
    ResponsePtr second = Call();
    EXPECT_EQ(service->sign.load(), QuilSignImpl::GetInstance());
    EXPECT_EQ(control.Count("jsonSign.start"), 1);
    EXPECT_EQ(control.Count("urlSign.start"), 1);
    EXPECT_EQ(log->CountOf("QuilSignImpl Started"), 1u);
    auto start = statistics->Calls("CommitPoint", "startUseTime");
    ASSERT_EQ(start.size(), 1u);
    EXPECT_EQ(start[0].module, "quilsdk");
    EXPECT_EQ(start[0].measures.count("timeUsed"), 1u);
}

TEST_F(SignedCallTest, ACallIsSignedByVersion63) {
    ResponsePtr response = Call();
    ASSERT_NE(response, nullptr);
    EXPECT_EQ(response->GetRetInfo()->errorType, 0);
    ASSERT_EQ(control.Texts("jsonSign.input").size(), 1u);
    const std::string input = SignInput(response.get(), true);
    EXPECT_EQ(DataOfJsonLine(control.Texts("jsonSign.input")[0]), input);
    EXPECT_EQ(control.Count("urlSign.sign"), 0);

    ASSERT_EQ(Client().Requests().size(), 1u);
    const RecordedRequest sent = Client().Requests()[0];
    EXPECT_TRUE(HasLine(sent, "x-standin-sign:" + quil::standin::Signature(
                                                      kAppKey, quil::standin::kLabelJson, input)));
    EXPECT_TRUE(HasLine(sent, "x-standin-scheme:hmac-sha256"));
    EXPECT_TRUE(HasLine(sent, "x-pv:6.3"));
    EXPECT_EQ(statistics->LastPerformanceReport().dimensions["protocolVersion"], "6.3");
}

TEST_F(SignedCallTest, WhenVersion63FailsVersion62SignsTheInputWithoutTheExtensionPart) {
    control.SetInt("jsonSign.fail", 1);
    control.SetInt("jsonSign.code", 77);
    ResponsePtr response = Call();
    ASSERT_NE(response, nullptr);
    EXPECT_EQ(response->GetRetInfo()->errorType, 0);

    const std::string extended = SignInput(response.get(), true);
    const std::string plain = SignInput(response.get(), false);
    EXPECT_NE(extended.find("ext-part&"), std::string::npos);
    EXPECT_EQ(plain.find("ext-part"), std::string::npos);
    ASSERT_EQ(control.Texts("jsonSign.input").size(), 1u);
    EXPECT_EQ(DataOfJsonLine(control.Texts("jsonSign.input")[0]), extended);
    EXPECT_EQ(control.Texts("urlSign.data"), std::vector<std::string>{plain});
    EXPECT_EQ(control.Texts("urlSign.method"), std::vector<std::string>{"1"});

    ASSERT_EQ(Client().Requests().size(), 1u);
    const RecordedRequest sent = Client().Requests()[0];
    EXPECT_TRUE(HasLine(sent, "x-sign:" + quil::standin::Signature(
                                              kAppKey, quil::standin::kLabelUrlMethod1, plain)));
    EXPECT_TRUE(HasLine(sent, "x-pv:6.2"));
    EXPECT_EQ(statistics->LastPerformanceReport().dimensions["protocolVersion"], "6.2");
}

TEST_F(SignedCallTest, WhenBothRoadsFailTheCallFailsWithTheWideRoadsCode) {
    control.SetInt("jsonSign.fail", 1);
    control.SetInt("jsonSign.code", 77);
    control.SetInt("urlSign.fail", 1);
    control.SetInt("urlSign.code", 55);
    ResponsePtr response = Call();
    ASSERT_NE(response, nullptr);
    EXPECT_EQ(response->GetRetInfo()->retCode, "FAIL_SYS_SIGN_ERROR");
    EXPECT_EQ(response->GetRetInfo()->retMsg, "url sign fail, signError = 55");
    EXPECT_EQ(response->GetRetInfo()->errorType, 1);
    EXPECT_TRUE(log->Has("sync QuilRequest security sign fail id = 1", QUIL_LOG_ERROR));
    EXPECT_EQ(Client().SendCount(), 0u);
}

TEST_F(SignedCallTest, WithoutTheClosedLibraryEveryCallFailsWithCode16000) {
    UseMissingLibrary();
    ResponsePtr response = Call();
    ASSERT_NE(response, nullptr);
    EXPECT_EQ(response->GetRetInfo()->retCode, "FAIL_SYS_SIGN_ERROR");
    EXPECT_EQ(response->GetRetInfo()->retMsg, "url sign fail, signError = 16000");
    EXPECT_EQ(response->GetRetInfo()->errorType, 1);
    EXPECT_EQ(Client().SendCount(), 0u);
}

TEST_F(SignedCallTest, AfterThreeTimeOutsOfVersion63CallsGoStraightToVersion62) {
    ShortenLimits(std::chrono::milliseconds(200));
    control.SetInt("jsonSign.hangMs", -1);
    for (int call = 1; call <= 4; ++call) {
        // The fourth call must succeed on version 6.2: a limit of seconds, so that a loaded
        // machine cannot turn its success into a time-out.
        if (call == 4) ShortenLimits(std::chrono::seconds(60));
        ResponsePtr response = Call();
        ASSERT_NE(response, nullptr);
        EXPECT_EQ(response->GetRetInfo()->errorType, 0) << call;
    }
    EXPECT_EQ(log->CountOf("urlSign time limit exceeded, version 6.3"), 3u);
    EXPECT_TRUE(log->Has("QUIL sign version 6.3, seqId: 3"));
    EXPECT_FALSE(log->Has("QUIL sign version 6.3, seqId: 4"));
    EXPECT_TRUE(log->Has("QUIL degrade sign version 6.2, seqId: 4"));
    EXPECT_EQ(control.Count("urlSign.sign"), 4);
    EXPECT_EQ(Client().SendCount(), 4u);
}

}  // namespace
