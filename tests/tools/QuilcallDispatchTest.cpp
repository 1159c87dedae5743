// quilcall's --dispatch and --dispatch-failed as a process against the gateway emulator's
// dispatch service, reached through --connect-to, with the stand-in security library.
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "GatewayEmulator.h"
#include "WireCodec.h"

namespace quil {
namespace {

using test::ChildResult;
using test::RunChild;

constexpr const char* kAppKey = "quilcall-test-key";

class QuilcallDispatch : public ::testing::Test {
protected:
    void SetUp() override {
        GatewayEmulatorOptions options;
        options.appKey = kAppKey;
        options.dispatchEntries = {{"gw.quil.example", {"10.0.0.1", "10.0.0.2"}}};
        gateway_ = std::make_unique<GatewayEmulator>(options);
        ASSERT_TRUE(gateway_->Start(0));
        host_ = "127.0.0.1:" + std::to_string(gateway_->Port());
    }

    // quilcall with the emulator as the production gateway (environment 0, whose dispatch host
    // is the test one) and as that dispatch host's port 80, then args.
    ChildResult Run(std::vector<std::string> args) {
        std::vector<std::string> all = {
            "--env",        "online",
            "--host",       host_,
            "--appkey",     kAppKey,
            "--connect-to", std::string(QUIL_TEST_DISPATCH_HOST) + ":80:" + host_};
        all.insert(all.end(), args.begin(), args.end());
        ChildResult result = RunChild(QUILCALL_PATH, all, {});
        EXPECT_TRUE(result.started);
        EXPECT_TRUE(result.finished) << result.err;
        return result;
    }

    std::vector<ReceivedRequest> DispatchRequests() const {
        std::vector<ReceivedRequest> found;
        for (const ReceivedRequest& request : gateway_->Requests()) {
            if (request.path == "/zent/mobileDispatch") found.push_back(request);
        }
        return found;
    }

    std::unique_ptr<GatewayEmulator> gateway_;
    std::string host_;
};

bool EndsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

TEST_F(QuilcallDispatch, AfterACallTheSignedRequestGivesTheLastAddress) {
    const ChildResult result = Run({"e2e.echo", "1.0", "--dispatch", "gw.quil.example"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_TRUE(EndsWith(result.out, "\ndispatch gw.quil.example: 10.0.0.2\n")) << result.out;
    const std::vector<ReceivedRequest> requests = DispatchRequests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].answerCode, "1000");
    EXPECT_EQ(DecodeForm(requests[0].body).count("sign"), 1u);
    EXPECT_EQ(requests[0].Header("Host"), QUIL_TEST_DISPATCH_HOST);
}

TEST_F(QuilcallDispatch, AFailedAddressIsReportedAndTheOneBeforeItPrinted) {
    const ChildResult result =
        Run({"e2e.echo", "1.0", "--dispatch", "gw.quil.example", "--dispatch-failed",
             "gw.quil.example", "--dispatch-failed", "gw.quil.example"});
    EXPECT_EQ(result.exitCode, 2) << result.err;
    EXPECT_TRUE(EndsWith(result.out,
                         "\ndispatch gw.quil.example: 10.0.0.2\n"
                         "dispatch-failed gw.quil.example\n"
                         "dispatch gw.quil.example: 10.0.0.1\n"
                         "dispatch-failed gw.quil.example\n"
                         "dispatch gw.quil.example: no address (none left)\n"))
        << result.out;
    EXPECT_EQ(DispatchRequests().size(), 1u);
}

TEST_F(QuilcallDispatch, ADispatchWithoutACallGoesUnsignedAndIsRefused) {
    const ChildResult result = Run({"--dispatch", "gw.quil.example"});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.out,
              "dispatch gw.quil.example: no address (ZENT request failed, "
              "responseHeader[x-zn-code]: 4001)\n");
    const std::vector<ReceivedRequest> requests = DispatchRequests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(DecodeForm(requests[0].body).count("sign"), 0u);
    EXPECT_EQ(gateway_->RequestCount(), 1u);
}

TEST_F(QuilcallDispatch, ADomainTheServiceDoesNotNameHasNoAddress) {
    const ChildResult result = Run({"e2e.echo", "1.0", "--dispatch", "other.example"});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_TRUE(
        EndsWith(result.out, "\ndispatch other.example: no address (the service named none)\n"))
        << result.out;
}

TEST_F(QuilcallDispatch, LogLinesAreForwardedFromTheChosenLevel) {
    const ChildResult result = Run({"--log-level", "3", "--dispatch", "gw.quil.example"});
    EXPECT_NE(result.err.find("ZENT request failed, responseHeader[x-zn-code]: 4001"),
              std::string::npos)
        << result.err;
    EXPECT_EQ(result.err.find("ZENT request for domain"), std::string::npos) << result.err;
}

}  // namespace
}  // namespace quil
