// The gateway emulator over real loopback TCP, driven by a bare client and hand-composed calls.
#include <gtest/gtest.h>
#include <json/json.h>

#include <chrono>
#include <ctime>
#include <memory>
#include <thread>

#include "GatewayEmulator.h"
#include "HandComposedCall.h"
#include "RawHttpConnection.h"
#include "WireCodec.h"

namespace quil {
namespace {

using test::HandComposedCall;
using test::RawHttpConnection;
using test::RawHttpResponse;

constexpr char kAppKey[] = "app-key-1";

Json::Value ParseJson(const std::string& text) {
    Json::Value value;
    Json::CharReaderBuilder builder;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &value, nullptr)) << text;
    return value;
}

std::string RetOf(const RawHttpResponse& response) {
    return ParseJson(response.body)["ret"][0].asString();
}

class GatewayEmulatorTest : public ::testing::Test {
protected:
    void SetUp() override {
        GatewayEmulatorOptions options;
        options.appKey = kAppKey;
        emulator_ = std::make_unique<GatewayEmulator>(options);
        ASSERT_TRUE(emulator_->Start(0));
        ASSERT_GT(emulator_->Port(), 0);
    }

    HandComposedCall Call() const {
        HandComposedCall call;
        call.appKey = kAppKey;
        call.timestamp = static_cast<long long>(std::time(nullptr));
        call.host = "127.0.0.1:" + std::to_string(emulator_->Port());
        return call;
    }

    RawHttpResponse Send(const std::string& wire) {
        RawHttpResponse response;
        EXPECT_TRUE(test::RoundTrip(emulator_->Port(), wire, &response));
        return response;
    }

    std::unique_ptr<GatewayEmulator> emulator_;
};

TEST_F(GatewayEmulatorTest, AddressNamesTheLoopbackPort) {
    EXPECT_EQ(emulator_->Address(), "http://127.0.0.1:" + std::to_string(emulator_->Port()));
    EXPECT_TRUE(emulator_->IsRunning());
}

TEST_F(GatewayEmulatorTest, AJsonRoadPostSignedByHandSucceedsAndEchoesItsData) {
    HandComposedCall call = Call();
    call.data = "{\"name\":\"\xE4\xB8\xAD a&b=c\"}";
    const RawHttpResponse response = Send(call.Wire());
    EXPECT_EQ(response.status, 200);
    EXPECT_FALSE(response.HasHeader("x-retcode"));
    EXPECT_TRUE(response.HasHeader("s-rt"));
    const Json::Value body = ParseJson(response.body);
    EXPECT_EQ(body["ret"][0].asString(), "SUCCESS::call succeeded");
    EXPECT_EQ(body["data"]["name"].asString(), "\xE4\xB8\xAD a&b=c");
    EXPECT_EQ(body["api"].asString(), "quil.test.echo");
    EXPECT_EQ(body["v"].asString(), "1.0");
    const auto requests = emulator_->Requests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].answerCode, "SUCCESS");
    EXPECT_EQ(requests[0].signInput, call.SignInput(true));
}

TEST_F(GatewayEmulatorTest, AWideRoadGetWithParamsAndEveryFieldSucceeds) {
    HandComposedCall call = Call();
    call.get = true;
    call.wideRoad = true;
    call.params = {{"p", "1"}};
    call.needLogin = true;
    call.sid = "sid 1";
    call.uid = "uid/1";
    call.lat = "30.25";
    call.lng = "120.5";
    call.reqBizExt = "biz";
    call.extType = "isv_open_api";
    call.extData = "e d";
    call.features = 300;
    call.openBiz = "ob";
    call.miniAppKey = "mk";
    call.reqAppKey = "rk";
    call.act = "ac";
    call.openBizData = "od";
    const RawHttpResponse response = Send(call.Wire());
    EXPECT_EQ(RetOf(response), "SUCCESS::call succeeded");
    EXPECT_EQ(emulator_->Requests().at(0).signInput, call.SignInput(false));
}

TEST_F(GatewayEmulatorTest, ATamperedCallIsAnsweredAsAnIllegalSign) {
    HandComposedCall call = Call();
    std::string wire = call.Wire();
    // Same length, other data: the digest in the signed text no longer matches.
    const std::size_t at = wire.find("data=%7B%22k%22");
    ASSERT_NE(at, std::string::npos);
    wire.replace(at + 11, 1, "j");
    const RawHttpResponse response = Send(wire);
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(response.Header("x-retcode"), "FAIL_SYS_ILEGEL_SIGN");
    EXPECT_EQ(RetOf(response), "FAIL_SYS_ILEGEL_SIGN::illegal sign");
    EXPECT_EQ(emulator_->Requests().at(0).answerCode, "FAIL_SYS_ILEGEL_SIGN");
}

TEST_F(GatewayEmulatorTest, ATamperedHeaderOrAnotherAppKeyIsAnIllegalSign) {
    HandComposedCall call = Call();
    std::vector<std::string> lines = call.HeaderLines();
    for (std::string& line : lines) {
        if (line == "x-ttid:ttid-1") {
            line = "x-ttid:ttid-2";
        }
    }
    EXPECT_EQ(Send(call.Wire(lines)).Header("x-retcode"), "FAIL_SYS_ILEGEL_SIGN");

    HandComposedCall foreign = Call();
    foreign.appKey = "another-key";
    EXPECT_EQ(Send(foreign.Wire()).Header("x-retcode"), "FAIL_SYS_ILEGEL_SIGN");
}

TEST_F(GatewayEmulatorTest, ACallWithoutSignatureOrVersionIsAnIllegalSign) {
    HandComposedCall call = Call();
    std::vector<std::string> withoutSign;
    std::vector<std::string> withoutVersion;
    for (const std::string& line : call.HeaderLines()) {
        if (line.rfind("x-standin-sign:", 0) != 0) {
            withoutSign.push_back(line);
        }
        if (line.rfind("x-pv:", 0) != 0) {
            withoutVersion.push_back(line);
        }
    }
    EXPECT_EQ(Send(call.Wire(withoutSign)).Header("x-retcode"), "FAIL_SYS_ILEGEL_SIGN");
    EXPECT_EQ(Send(call.Wire(withoutVersion)).Header("x-retcode"), "FAIL_SYS_ILEGEL_SIGN");
}

TEST_F(GatewayEmulatorTest, WithVerificationOffAnUnsignedCallSucceeds) {
    emulator_->Settings().SetVerifySignatures(false);
    const std::string wire = "GET /gw/quil.test.echo/1.0/?data=%7B%7D HTTP/1.1\r\nx-t:" +
                             std::to_string(std::time(nullptr)) + "\r\n\r\n";
    EXPECT_EQ(RetOf(Send(wire)), "SUCCESS::call succeeded");
}

TEST_F(GatewayEmulatorTest, AClockAheadRejectsTheCallAsExpiredWithItsTime) {
    emulator_->Settings().SetClockOffset(3600);
    const HandComposedCall call = Call();
    const int64_t before = emulator_->Settings().Now();
    const RawHttpResponse response = Send(call.Wire());
    const int64_t after = emulator_->Settings().Now();
    EXPECT_EQ(response.Header("x-retcode"), "FAIL_SYS_REQUEST_EXPIRED");
    EXPECT_EQ(RetOf(response), "FAIL_SYS_REQUEST_EXPIRED::request expired");
    const long long systime = std::stoll(response.Header("x-systime"));
    EXPECT_GE(systime, before);
    EXPECT_LE(systime, after);
    EXPECT_GE(systime, call.timestamp + 3600);
}

TEST_F(GatewayEmulatorTest, AClockBehindRejectsTheCallAsExpired) {
    emulator_->Settings().SetClockOffset(-7200);
    const RawHttpResponse response = Send(Call().Wire());
    EXPECT_EQ(response.Header("x-retcode"), "FAIL_SYS_REQUEST_EXPIRED");
    EXPECT_LE(std::stoll(response.Header("x-systime")),
              static_cast<long long>(std::time(nullptr)) - 7200);
}

TEST_F(GatewayEmulatorTest, ATimestampWithinTheSkewPassesAndOneBeyondItDoesNot) {
    emulator_->Settings().SetSkew(100);
    emulator_->Settings().SetClockOffset(50);
    EXPECT_EQ(RetOf(Send(Call().Wire())), "SUCCESS::call succeeded");
    // A calibrated client sends the emulator's own time and passes however far it is off.
    emulator_->Settings().SetClockOffset(-5000);
    HandComposedCall calibrated = Call();
    calibrated.timestamp = emulator_->Settings().Now();
    EXPECT_EQ(RetOf(Send(calibrated.Wire())), "SUCCESS::call succeeded");
    emulator_->Settings().SetClockOffset(0);
    HandComposedCall late = Call();
    late.timestamp -= 1000;
    EXPECT_EQ(Send(late.Wire()).Header("x-retcode"), "FAIL_SYS_REQUEST_EXPIRED");
}

TEST_F(GatewayEmulatorTest, AnApiThatNeedsASessionRefusesAMissingOrUnknownSid) {
    emulator_->Settings().RequireSession("Quil.Test.Echo", true);
    emulator_->Settings().AddSession("sid-good");

    const RawHttpResponse missing = Send(Call().Wire());
    EXPECT_EQ(missing.Header("x-retcode"), "FAIL_SYS_SESSION_EXPIRED");
    EXPECT_EQ(RetOf(missing), "FAIL_SYS_SESSION_EXPIRED::session expired");

    HandComposedCall unknown = Call();
    unknown.needLogin = true;
    unknown.sid = "sid-bad";
    EXPECT_EQ(Send(unknown.Wire()).Header("x-retcode"), "FAIL_SYS_SESSION_EXPIRED");

    HandComposedCall known = Call();
    known.needLogin = true;
    known.sid = "sid-good";
    known.uid = "user-1";
    EXPECT_EQ(RetOf(Send(known.Wire())), "SUCCESS::call succeeded");

    emulator_->Settings().RemoveSession("sid-good");
    EXPECT_EQ(Send(known.Wire()).Header("x-retcode"), "FAIL_SYS_SESSION_EXPIRED");

    HandComposedCall other = Call();
    other.api = "quil.test.other";
    EXPECT_EQ(RetOf(Send(other.Wire())), "SUCCESS::call succeeded");
}

TEST_F(GatewayEmulatorTest, OmbrelQueryComesBackOnlyWhenAskedTo) {
    HandComposedCall call = Call();
    call.customHeaders["a-ombrel-q"] = "q=1;r=2";
    EXPECT_FALSE(Send(call.Wire()).HasHeader("a-ombrel-p"));
    emulator_->Settings().SetEchoOmbrel(true);
    const RawHttpResponse echoed = Send(call.Wire());
    EXPECT_EQ(echoed.Header("a-ombrel-p"), "q=1;r=2");
    EXPECT_FALSE(Send(Call().Wire()).HasHeader("a-ombrel-p"));
}

TEST_F(GatewayEmulatorTest, HeaderLinesAreRecordedInReceivedOrderWithTheirCaseAndEmptyValues) {
    const HandComposedCall call = Call();
    std::vector<std::string> lines = call.HeaderLines();
    lines.insert(lines.begin() + 1, "X-Upper-Case:Value");
    lines.insert(lines.begin() + 1, "x-empty:");
    const std::string wire = call.Wire(lines);
    EXPECT_EQ(RetOf(Send(wire)), "SUCCESS::call succeeded");
    const auto requests = emulator_->Requests();
    ASSERT_EQ(requests.size(), 1u);
    const ReceivedRequest& received = requests[0];
    lines.push_back("Content-Length: " + std::to_string(call.Body().size()));
    EXPECT_EQ(received.headerLines, lines);
    EXPECT_EQ(received.method, "POST");
    EXPECT_EQ(received.target, call.Target());
    EXPECT_EQ(received.path, "/gw/quil.test.echo/1.0/");
    EXPECT_EQ(received.query, "");
    EXPECT_EQ(received.body, call.Body());
    EXPECT_EQ(received.httpVersion, "HTTP/1.1");
    EXPECT_EQ(received.sequence, 1u);
}

TEST_F(GatewayEmulatorTest, OneKeptAliveConnectionIsCountedOnceAndItsRequestsInOrder) {
    RawHttpConnection connection;
    ASSERT_TRUE(connection.Connect(emulator_->Port()));
    for (int i = 0; i < 3; ++i) {
        RawHttpResponse response;
        ASSERT_TRUE(connection.Send(Call().Wire()));
        ASSERT_TRUE(connection.ReadResponse(&response));
        EXPECT_EQ(RetOf(response), "SUCCESS::call succeeded");
    }
    EXPECT_EQ(emulator_->AcceptedConnections(), 1u);
    RawHttpConnection second;
    ASSERT_TRUE(second.Connect(emulator_->Port()));
    RawHttpResponse response;
    ASSERT_TRUE(second.Send(Call().Wire()));
    ASSERT_TRUE(second.ReadResponse(&response));
    EXPECT_EQ(emulator_->AcceptedConnections(), 2u);

    const auto requests = emulator_->Requests();
    ASSERT_EQ(requests.size(), 4u);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(requests[i].connection, requests[0].connection);
        EXPECT_EQ(requests[i].indexOnConnection, static_cast<uint64_t>(i + 1));
        EXPECT_EQ(requests[i].sequence, static_cast<uint64_t>(i + 1));
    }
    EXPECT_NE(requests[3].connection, requests[0].connection);
    EXPECT_EQ(requests[3].indexOnConnection, 1u);
}

TEST_F(GatewayEmulatorTest, AnUnknownPathIsNotFoundAndStillRecorded) {
    const RawHttpResponse response = Send("GET /elsewhere HTTP/1.1\r\nHost: h\r\n\r\n");
    EXPECT_EQ(response.status, 404);
    ASSERT_TRUE(emulator_->WaitForRequests(1, std::chrono::seconds(5)));
    EXPECT_EQ(emulator_->Requests().at(0).answerCode, "NOT_FOUND");
    EXPECT_EQ(Send("GET /gw/only-api/ HTTP/1.1\r\n\r\n").status, 404);
}

TEST_F(GatewayEmulatorTest, ClearRequestsForgetsTheRecord) {
    Send(Call().Wire());
    EXPECT_EQ(emulator_->RequestCount(), 1u);
    emulator_->ClearRequests();
    EXPECT_EQ(emulator_->RequestCount(), 0u);
    EXPECT_TRUE(emulator_->Requests().empty());
    Send(Call().Wire());
    EXPECT_EQ(emulator_->Requests().at(0).sequence, 2u);
}

TEST_F(GatewayEmulatorTest, StopClosesKeptConnectionsAndRefusesNewOnes) {
    RawHttpConnection connection;
    ASSERT_TRUE(connection.Connect(emulator_->Port()));
    RawHttpResponse response;
    ASSERT_TRUE(connection.Send(Call().Wire()));
    ASSERT_TRUE(connection.ReadResponse(&response));
    const int port = emulator_->Port();
    emulator_->Stop();
    EXPECT_FALSE(emulator_->IsRunning());
    EXPECT_EQ(emulator_->Port(), 0);
    EXPECT_TRUE(connection.ClosedWithoutAnswer());
    RawHttpConnection late;
    EXPECT_FALSE(late.Connect(port));
    EXPECT_EQ(emulator_->RequestCount(), 1u);
    EXPECT_EQ(emulator_->AcceptedConnections(), 1u);
    emulator_->Stop();
}

TEST_F(GatewayEmulatorTest, StopCutsADelayedAnswerShort) {
    ScriptedAnswer slow;
    slow.delayMs = 600000;
    emulator_->Script("quil.test.echo", {slow});
    RawHttpConnection connection;
    ASSERT_TRUE(connection.Connect(emulator_->Port()));
    ASSERT_TRUE(connection.Send(Call().Wire()));
    ASSERT_TRUE(emulator_->WaitForRequests(1, std::chrono::seconds(5)));
    const auto started = std::chrono::steady_clock::now();
    emulator_->Stop();
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(30));
    RawHttpResponse response;
    // Either the answer went out as the delay was cut, or the connection closed; no wait.
    if (connection.ReadResponse(&response)) {
        EXPECT_EQ(response.status, 200);
    }
}

TEST_F(GatewayEmulatorTest, TheEmulatorStartsAgainAfterStop) {
    emulator_->Stop();
    ASSERT_TRUE(emulator_->Start(0));
    EXPECT_EQ(RetOf(Send(Call().Wire())), "SUCCESS::call succeeded");
    EXPECT_FALSE(emulator_->Start(0));
}

TEST(GatewayEmulator, AnOccupiedPortIsRefused) {
    GatewayEmulator first;
    ASSERT_TRUE(first.Start(0));
    GatewayEmulator second;
    EXPECT_FALSE(second.Start(first.Port()));
    EXPECT_FALSE(second.IsRunning());
}

}  // namespace
}  // namespace quil
