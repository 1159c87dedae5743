// quilcall's parameters on the wire, against the gateway emulator on 127.0.0.1: each key and
// value arrives percent-encoded, so a blank no longer breaks the URL and an "&" or "=" no longer
// adds a parameter of its own, and the call still succeeds signed.
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

constexpr const char* kAppKey = "quilcall-test-key";

class QuilcallParamGateway : public ::testing::Test {
protected:
    void SetUp() override {
        GatewayEmulatorOptions options;
        options.appKey = kAppKey;
        gateway_ = std::make_unique<GatewayEmulator>(options);
        ASSERT_TRUE(gateway_->Start(0));
    }

    ChildResult Call(const std::vector<std::string>& args) {
        std::vector<std::string> all = {"--host", "127.0.0.1:" + std::to_string(gateway_->Port()),
                                        "--appkey", kAppKey};
        all.insert(all.end(), args.begin(), args.end());
        ChildResult result = RunChild(QUILCALL_PATH, all);
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
};

TEST_F(QuilcallParamGateway, AGetCarriesEachParameterEncoded) {
    const ChildResult result = Call({"--get", "--param", "q=a b", "--param", "r=a&c=1", "--param",
                                     "k y=\xe5\x80\xbc", "my.api", "1.0"});
    EXPECT_EQ(result.exitCode, 0) << result.out << result.err;
    const ReceivedRequest request = OnlyRequest();
    EXPECT_EQ(request.method, "GET");
    EXPECT_EQ(request.path, "/gw/my.api/1.0/");
    EXPECT_EQ(request.query, "data=%7B%7D&k%20y=%E5%80%BC&q=a%20b&r=a%26c%3D1");
    EXPECT_EQ(request.answerCode, "SUCCESS");
}

TEST_F(QuilcallParamGateway, APostCarriesEachParameterEncoded) {
    const ChildResult result = Call({"--param", "q=a b", "--param", "r=a&c=1", "my.api", "1.0"});
    EXPECT_EQ(result.exitCode, 0) << result.out << result.err;
    const ReceivedRequest request = OnlyRequest();
    EXPECT_EQ(request.method, "POST");
    // The SDK joins the parameters after "?&" on a POST; each arrives encoded.
    EXPECT_EQ(request.target, "/gw/my.api/1.0/?&q=a%20b&r=a%26c%3D1");
    EXPECT_EQ(request.answerCode, "SUCCESS");
}

TEST_F(QuilcallParamGateway, ARefusedApiNameSendsNothing) {
    const ChildResult result = Call({"my.api/../../admin", "1.0"});
    EXPECT_EQ(result.exitCode, 64);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(gateway_->RequestCount(), 0u);
}

}  // namespace
}  // namespace quil
