// The example hosts as child processes against the gateway emulator on 127.0.0.1, with the
// stand-in security library found through the default path: what they print, their exit
// codes, and what reached the gateway.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "GatewayEmulator.h"

namespace quil {
namespace {

using test::ChildResult;
using test::RunChild;

constexpr const char* kAppKey = "example-test-key";

bool EndsWith(const std::string& text, const std::string& tail) {
    return text.size() >= tail.size() &&
           text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

class ExampleHosts : public ::testing::Test {
protected:
    void SetUp() override {
        GatewayEmulatorOptions options;
        options.appKey = kAppKey;
        options.sessions = {"sid-from-login"};
        options.sessionApis = {"example.user.profile"};
        gateway_ = std::make_unique<GatewayEmulator>(options);
        ASSERT_TRUE(gateway_->Start(0));
        host_ = "127.0.0.1:" + std::to_string(gateway_->Port());
    }

    std::unique_ptr<GatewayEmulator> gateway_;
    std::string host_;
};

TEST_F(ExampleHosts, AsyncHostLogsInForTheCallThatNeedsASessionAndBothSucceed) {
    const ChildResult result = RunChild(ASYNC_HOST_PATH, {host_, kAppKey, "sid-from-login"});
    ASSERT_TRUE(result.started);
    ASSERT_TRUE(result.finished) << result.err;
    EXPECT_EQ(result.exitCode, 0) << result.out << result.err;
    // The stand-in security library prints its own lines first, as the real one does.
    EXPECT_TRUE(EndsWith(result.out,
                         "example.item.add: SUCCESS\n"
                         "example.user.profile: SUCCESS\n"
                         "logins: 1\n"))
        << result.out;

    // The call that needed a session waited for the login and went out once, with its session.
    const std::vector<ReceivedRequest> requests = gateway_->Requests();
    ASSERT_EQ(requests.size(), 2u);
    int profiles = 0;
    for (const ReceivedRequest& request : requests) {
        EXPECT_EQ(request.answerCode, "SUCCESS") << request.path;
        if (request.path == "/gw/example.user.profile/1.0/") {
            ++profiles;
            EXPECT_EQ(request.Header("x-sid"), "sid-from-login");
            EXPECT_EQ(request.Header("x-uid"), "example-uid");
        } else {
            EXPECT_EQ(request.path, "/gw/example.item.add/1.0/");
            EXPECT_FALSE(request.HasHeader("x-sid"));
        }
    }
    EXPECT_EQ(profiles, 1);
    // The host's log sink saw why the call waited: it was the second one queued.
    EXPECT_NE(result.err.find("quilsdk ERROR LoginBeforeFilter.cpp:"), std::string::npos)
        << result.err;
    EXPECT_NE(result.err.find(" HandleRequest: request need login, but session invalid, id: 2\n"),
              std::string::npos)
        << result.err;
}

TEST_F(ExampleHosts, AsyncHostWithTooFewArgumentsIsAUsageError) {
    const ChildResult result = RunChild(ASYNC_HOST_PATH, {host_, kAppKey});
    ASSERT_TRUE(result.finished);
    EXPECT_EQ(result.exitCode, 64);
    EXPECT_EQ(result.err, "usage: async_host HOST[:PORT] APPKEY LOGIN_SID [SECURITY_LIBRARY]\n");
    EXPECT_EQ(gateway_->RequestCount(), 0u);
}

}  // namespace
}  // namespace quil
