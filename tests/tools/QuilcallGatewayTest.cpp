// quilcall as a process against the gateway emulator on 127.0.0.1, with the stand-in security
// library found through the default path: what goes on the wire for each flag, what is
// printed, and the exit code of each kind of outcome.
#include <gtest/gtest.h>
#include <json/json.h>

#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "GatewayEmulator.h"

namespace quil {
namespace {

using test::ChildResult;
using test::RunChild;

constexpr const char* kAppKey = "quilcall-test-key";

class QuilcallGateway : public ::testing::Test {
protected:
    void SetUp() override {
        GatewayEmulatorOptions options;
        options.appKey = kAppKey;
        options.sessions = {"sid-1"};
        options.sessionApis = {"my.private"};
        gateway_ = std::make_unique<GatewayEmulator>(options);
        ASSERT_TRUE(gateway_->Start(0));
        host_ = "127.0.0.1:" + std::to_string(gateway_->Port());
    }

    // quilcall with the emulator as the daily gateway and the test's app key, then args.
    ChildResult Call(std::vector<std::string> args,
                     const std::map<std::string, std::string>& environment = {}) {
        std::vector<std::string> all = {"--host", host_, "--appkey", kAppKey};
        all.insert(all.end(), args.begin(), args.end());
        return Bare(all, environment);
    }

    ChildResult Bare(const std::vector<std::string>& args,
                     const std::map<std::string, std::string>& environment = {}) {
        ChildResult result = RunChild(QUILCALL_PATH, args, environment);
        EXPECT_TRUE(result.started);
        EXPECT_TRUE(result.finished) << result.err;
        return result;
    }

    ReceivedRequest OnlyRequest() {
        EXPECT_EQ(gateway_->RequestCount(), 1u);
        const std::vector<ReceivedRequest> requests = gateway_->Requests();
        return requests.empty() ? ReceivedRequest() : requests.back();
    }

    std::unique_ptr<GatewayEmulator> gateway_;
    std::string host_;
};

Json::Value ParseJson(const std::string& text) {
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    std::string error;
    EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &value, &error))
        << error << "\n"
        << text;
    return value;
}

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

TEST_F(QuilcallGateway, SignedPostSucceeds) {
    const ChildResult result = Call({"--data", R"({"a":"b"})", "my.api", "1.0"});
    EXPECT_EQ(result.exitCode, 0) << result.out << result.err;
    EXPECT_EQ(result.out.rfind("status: 200\nretCode: SUCCESS\nretMsg: call succeeded\n"
                               "errorType: 0\nheaders:\n",
                               0),
              0u)
        << result.out;
    EXPECT_TRUE(Contains(result.out,
                         "\nbody:\n{\n  \"api\": \"my.api\",\n  \"data\": {\n"
                         "    \"a\": \"b\"\n  },\n"))
        << result.out;
    const ReceivedRequest request = OnlyRequest();
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.path, "/gw/my.api/1.0/");
    EXPECT_EQ(request.body, "data=%7B+++%22a%22+%3A+%22b%22%7D");
    EXPECT_EQ(request.Header("x-appkey"), kAppKey);
    EXPECT_EQ(request.answerCode, "SUCCESS");
}

TEST_F(QuilcallGateway, GetWithParamsAndHeaders) {
    const ChildResult result = Call(
        {"--get", "--param", "x=1", "--param", "y=2", "--header", "x-custom:v", "my.api", "1.0"});
    EXPECT_EQ(result.exitCode, 0) << result.out << result.err;
    const ReceivedRequest request = OnlyRequest();
    EXPECT_EQ(request.method, "GET");
    EXPECT_EQ(request.query, "data=%7B%7D&x=1&y=2");
    EXPECT_EQ(request.body, "");
    EXPECT_EQ(request.Header("x-custom"), "v");
    EXPECT_EQ(request.answerCode, "SUCCESS");
}

TEST_F(QuilcallGateway, IdentityAndRequestFieldsReachTheWireSigned) {
    const ChildResult result =
        Call({"--utdid",      "dev-utdid", "--ttid",     "ttid-1", "--devid",        "devid-1",
              "--features",   "27",        "--lat",      "30.25",  "--lng",          "120.5",
              "--reqbiz-ext", "rb",        "--open-biz", "ob",     "--act",          "ac",
              "--ext-type",   "et",        "--ext-data", "ed",     "--network-type", "wifi",
              "my.api",       "1.0"});
    EXPECT_EQ(result.exitCode, 0) << result.out << result.err;
    const ReceivedRequest request = OnlyRequest();
    EXPECT_EQ(request.Header("x-utdid"), "dev-utdid");
    EXPECT_EQ(request.Header("x-ttid"), "ttid-1");
    EXPECT_EQ(request.Header("x-devid"), "devid-1");
    EXPECT_EQ(request.Header("x-features"), "27");
    EXPECT_EQ(request.Header("x-location"), "120.5%2C30.25");
    EXPECT_EQ(request.Header("x-reqbiz-ext"), "rb");
    EXPECT_EQ(request.Header("x-open-biz"), "ob");
    EXPECT_EQ(request.Header("x-act"), "ac");
    EXPECT_EQ(request.Header("x-exttype"), "et");
    EXPECT_EQ(request.Header("x-extdata"), "ed");
    EXPECT_EQ(request.Header("x-nq"), "wifi");
    // The emulator rebuilt the signed text from all of these and found the signature good.
    EXPECT_EQ(request.answerCode, "SUCCESS");
}

TEST_F(QuilcallGateway, RawDataIsSentAsItStands) {
    const ChildResult result = Call({"--raw-data", R"({"n":{"deep":true}})", "my.api", "1.0"});
    EXPECT_EQ(result.exitCode, 0) << result.out << result.err;
    EXPECT_EQ(OnlyRequest().body, "data=%7B%22n%22%3A%7B%22deep%22%3Atrue%7D%7D");
}

TEST_F(QuilcallGateway, DataFileIsSentInTheRequestsOwnLayout) {
    const std::string path = ::testing::TempDir() + "/quilcall-gateway-data.json";
    std::ofstream(path) << "{\"k\": \"v\", \"n\": 2}\n";
    const ChildResult result = Call({"--data-file", path, "my.api", "1.0"});
    EXPECT_EQ(result.exitCode, 0) << result.out << result.err;
    EXPECT_EQ(OnlyRequest().body, "data=%7B+++%22k%22+%3A+%22v%22%2C+++%22n%22+%3A+2%7D");
}

TEST_F(QuilcallGateway, AsynchronousCallAnswersThroughTheCallback) {
    const ChildResult result = Call({"--async", "--json", "my.api", "1.0"});
    EXPECT_EQ(result.exitCode, 0) << result.out << result.err;
    const Json::Value value = ParseJson(result.out);
    EXPECT_TRUE(value["success"].asBool());
    EXPECT_EQ(value["retCode"].asString(), "SUCCESS");
    EXPECT_EQ(OnlyRequest().answerCode, "SUCCESS");
}

TEST_F(QuilcallGateway, CallWithASession) {
    const ChildResult result =
        Call({"--need-login", "--sid", "sid-1", "--uid", "uid-1", "my.private", "1.0"});
    EXPECT_EQ(result.exitCode, 0) << result.out << result.err;
    const ReceivedRequest request = OnlyRequest();
    EXPECT_EQ(request.Header("x-sid"), "sid-1");
    EXPECT_EQ(request.Header("x-uid"), "uid-1");
    EXPECT_EQ(request.answerCode, "SUCCESS");
}

TEST_F(QuilcallGateway, SessionOfAnotherAccount) {
    const ChildResult result = Call(
        {"--need-login", "--user", "alice", "--sid", "sid-1", "--uid", "u", "my.private", "1.0"});
    EXPECT_EQ(result.exitCode, 0) << result.out << result.err;
    EXPECT_EQ(OnlyRequest().Header("x-sid"), "sid-1");
}

TEST_F(QuilcallGateway, AnExpiredSessionLogsInAndTheCallIsSentAgain) {
    gateway_->Settings().AddSession("sid-login");
    const ChildResult result =
        Call({"--need-login", "--async", "--login-sid", "sid-login", "--login-uid", "uid-login",
              "--log-level", "1", "--json", "my.private", "1.0"});
    EXPECT_EQ(result.exitCode, 0) << result.out << result.err;
    const Json::Value value = ParseJson(result.out);
    EXPECT_TRUE(value["success"].asBool());
    EXPECT_EQ(value["retCode"].asString(), "SUCCESS");
    const std::vector<ReceivedRequest> requests = gateway_->Requests();
    ASSERT_EQ(requests.size(), 2u);
    // The first goes out without a session and is refused; the second carries the login's.
    EXPECT_FALSE(requests[0].HasHeader("x-sid"));
    EXPECT_EQ(requests[0].answerCode, "FAIL_SYS_SESSION_EXPIRED");
    EXPECT_EQ(requests[1].Header("x-sid"), "sid-login");
    EXPECT_EQ(requests[1].Header("x-uid"), "uid-login");
    EXPECT_EQ(requests[1].answerCode, "SUCCESS");
    EXPECT_TRUE(Contains(result.err, "response need login, but session invalid, id: 1\n"))
        << result.err;
    EXPECT_TRUE(Contains(result.err, "async request addToRequestPool, id: 1\n")) << result.err;
    EXPECT_TRUE(Contains(result.err, "onLoginSuccess, retryAllRequest: Default\n")) << result.err;
    EXPECT_TRUE(Contains(result.err,
                         "updateSessionInfo userInfo: Default, sid: sid-login, uid: uid-login\n"))
        << result.err;
}

TEST_F(QuilcallGateway, AnExpiredSessionOfASynchronousCallIsNotLoggedIn) {
    gateway_->Settings().AddSession("sid-login");
    const ChildResult result =
        Call({"--need-login", "--login-sid", "sid-login", "--json", "my.private", "1.0"});
    EXPECT_EQ(result.exitCode, 1) << result.out << result.err;
    const Json::Value value = ParseJson(result.out);
    EXPECT_EQ(value["retCode"].asString(), "FAIL_SYS_SESSION_EXPIRED");
    EXPECT_EQ(OnlyRequest().answerCode, "FAIL_SYS_SESSION_EXPIRED");
}

TEST_F(QuilcallGateway, GatewayRefusalExitsOne) {
    ScriptedAnswer refusal;
    refusal.status = 200;
    refusal.headers = {{"x-retcode", "FAIL_BIZ_NO_SUCH_ITEM"}};
    refusal.body = R"({"api":"my.api","ret":["FAIL_BIZ_NO_SUCH_ITEM::no such item"],"v":"1.0"})";
    gateway_->Script("my.api", {refusal});
    const ChildResult result = Call({"my.api", "1.0"});
    EXPECT_EQ(result.exitCode, 1) << result.out << result.err;
    EXPECT_EQ(result.out.rfind("status: 200\nretCode: FAIL_BIZ_NO_SUCH_ITEM\n"
                               "retMsg: no such item\nerrorType: 3\n",
                               0),
              0u)
        << result.out;
    EXPECT_TRUE(Contains(result.out, "  x-retcode: FAIL_BIZ_NO_SUCH_ITEM\n")) << result.out;
}

TEST_F(QuilcallGateway, WrongAppKeyIsRefusedAsAnIllegalSignature) {
    const ChildResult result = Bare({"--host", host_, "--appkey", "other-key", "my.api", "1.0"});
    EXPECT_EQ(result.exitCode, 1) << result.out << result.err;
    EXPECT_TRUE(Contains(result.out, "retCode: FAIL_SYS_ILEGEL_SIGN\n")) << result.out;
}

TEST_F(QuilcallGateway, NetworkFailureExitsTwo) {
    gateway_->Stop();
    const ChildResult result = Call({"my.api", "1.0"});
    EXPECT_EQ(result.exitCode, 2) << result.out << result.err;
    EXPECT_EQ(result.out.rfind("status: 0\nretCode: FAIL_NETWORK_CONNECT_ERROR\n", 0), 0u)
        << result.out;
    EXPECT_TRUE(Contains(result.out, "\nerrorType: 2\n")) << result.out;
}

TEST_F(QuilcallGateway, TimeoutCutsASlowAnswer) {
    ScriptedAnswer slow;
    slow.delayMs = 5000;
    gateway_->Script("my.api", {slow});
    const ChildResult result = Call({"--timeout", "0.5", "my.api", "1.0"});
    EXPECT_EQ(result.exitCode, 2) << result.out << result.err;
    EXPECT_TRUE(Contains(result.out, "retCode: FAIL_NETWORK_CONNECT_ERROR\n")) << result.out;
    EXPECT_TRUE(Contains(result.out, "Operation timed out")) << result.out;
}

TEST_F(QuilcallGateway, MissingAppKeyIsALocalFailure) {
    const ChildResult result = Bare({"--host", host_, "my.api", "1.0"});
    EXPECT_EQ(result.exitCode, 2) << result.out << result.err;
    EXPECT_EQ(result.out.rfind("status: 0\nretCode: FAIL_SYS_DEPENDENCY_LOST\n"
                               "retMsg: check dependency fail\nerrorType: 1\n",
                               0),
              0u)
        << result.out;
    EXPECT_EQ(gateway_->RequestCount(), 0u);
}

TEST_F(QuilcallGateway, JsonIsOneObjectEvenWhenTheSecurityLibraryComplains) {
    // Loading the security library prints to standard output; the answer stays clean.
    const ChildResult result = Call({"--json", "my.api", "1.0"});
    EXPECT_EQ(result.exitCode, 0) << result.out << result.err;
    ASSERT_FALSE(result.out.empty());
    EXPECT_EQ(result.out.find('\n'), result.out.size() - 1) << result.out;
    const Json::Value value = ParseJson(result.out);
    EXPECT_TRUE(value["answered"].asBool());
    EXPECT_TRUE(value["success"].asBool());
    EXPECT_EQ(value["status"].asInt(), 200);
    EXPECT_EQ(value["errorType"].asInt(), 0);
    EXPECT_EQ(value["requestId"].asInt(), 1);
    EXPECT_EQ(value["body"]["api"].asString(), "my.api");
    EXPECT_EQ(value["exitCode"].asInt(), 0);
}

TEST_F(QuilcallGateway, TimingDrawsEveryPhaseWithinTheColumns) {
    const ChildResult result = Call({"--timing", "my.api", "1.0"}, {{"COLUMNS", "72"}});
    EXPECT_EQ(result.exitCode, 0) << result.out << result.err;
    const std::size_t start = result.out.find("\ntiming: ");
    ASSERT_NE(start, std::string::npos) << result.out;
    std::istringstream lines(result.out.substr(start + 1));
    std::string line;
    std::vector<std::string> drawn;
    while (std::getline(lines, line)) {
        EXPECT_LE(line.size(), 72u) << line;
        drawn.push_back(line);
    }
    ASSERT_EQ(drawn.size(), 8u) << result.out;
    const char* phases[] = {"before filters", "sign",          "compose", "network",
                            "parse",          "after filters", "total"};
    for (int i = 0; i < 7; ++i) {
        EXPECT_EQ(drawn[i + 1].rfind(phases[i], 0), 0u) << drawn[i + 1];
        EXPECT_EQ(drawn[i + 1].size(), 72u) << drawn[i + 1];
        EXPECT_EQ(drawn[i + 1].substr(drawn[i + 1].size() - 3), " ms") << drawn[i + 1];
    }
}

TEST_F(QuilcallGateway, TimingWithJsonCarriesThePerformanceReport) {
    const ChildResult result = Call({"--timing", "--json", "my.api", "1.0"});
    EXPECT_EQ(result.exitCode, 0) << result.out << result.err;
    const Json::Value value = ParseJson(result.out);
    ASSERT_EQ(value["timing"].size(), 7u);
    for (const Json::Value& phase : value["timing"]) {
        EXPECT_TRUE(phase["reached"].asBool()) << phase["phase"].asString();
    }
    EXPECT_EQ(value["performance"]["api"].asString(), "my.api");
    EXPECT_EQ(value["performance"]["protocolVersion"].asString(), "6.3");
    EXPECT_EQ(value["performance"]["httpStatusCode"].asString(), "200");
}

TEST_F(QuilcallGateway, LogLevelSendsSdkLinesToStandardError) {
    const ChildResult result = Call({"--log-level", "1", "my.api", "1.0"});
    EXPECT_EQ(result.exitCode, 0) << result.out << result.err;
    EXPECT_TRUE(
        Contains(result.err, "start sync QuilRequest id = 1, api = my.api, version = 1.0\n"))
        << result.err;
    EXPECT_TRUE(Contains(result.err, "quilsdk INFO ")) << result.err;
    EXPECT_FALSE(Contains(result.out, "quilsdk ")) << result.out;
}

TEST_F(QuilcallGateway, WithoutLogLevelTheSdkIsQuiet) {
    const ChildResult result = Call({"my.api", "1.0"});
    EXPECT_EQ(result.exitCode, 0) << result.out << result.err;
    EXPECT_FALSE(Contains(result.err, "quilsdk ")) << result.err;
}

TEST_F(QuilcallGateway, HostOverridesTheChosenEnvironment) {
    for (const char* environment : {"online", "pre", "daily"}) {
        const ChildResult result = Call({"--env", environment, "my.api", "1.0"});
        EXPECT_EQ(result.exitCode, 0) << environment << result.out << result.err;
    }
    EXPECT_EQ(gateway_->RequestCount(), 3u);
    for (const ReceivedRequest& request : gateway_->Requests()) {
        EXPECT_EQ(request.Header("host"), host_);
    }
}

TEST_F(QuilcallGateway, ConnectToReachesTheEmulatorUnderAnotherName) {
    const std::string name = "gw-quilcall.quil.example:8080";
    const ChildResult result =
        Bare({"--host", name, "--appkey", kAppKey, "--connect-to",
              name + ":127.0.0.1:" + std::to_string(gateway_->Port()), "my.api", "1.0"});
    EXPECT_EQ(result.exitCode, 0) << result.out << result.err;
    EXPECT_EQ(OnlyRequest().Header("host"), name);
}

TEST_F(QuilcallGateway, SecurityLibraryThatCannotBeFoundFailsLocally) {
    const ChildResult result =
        Call({"--security-path", "../NoSuchDirectory/OruSafePath.dll", "my.api", "1.0"});
    EXPECT_EQ(result.exitCode, 2) << result.out << result.err;
    EXPECT_TRUE(Contains(result.out, "\nerrorType: 1\n")) << result.out;
    EXPECT_EQ(gateway_->RequestCount(), 0u);
}

}  // namespace
}  // namespace quil
