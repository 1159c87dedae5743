// What quilcall shows of the traffic protection: the watch that reads the SDK's lines (in
// process), and whole runs against the gateway emulator with the stand-in security library
// told its verdict through the environment: a ban refusing the repeated call locally, and a
// resend on the library's verdict.
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "GatewayEmulator.h"
#include "ResponseRenderer.h"
#include "TrafficWatch.h"

namespace quil {
namespace {

using test::ChildResult;
using test::RunChild;

constexpr const char* kAppKey = "quilcall-test-key";
// 2026-11-23T21:00:00Z
constexpr int64_t kNow = 1795467600;

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

TEST(QuilcallTrafficWatch, ReadsResendsBansAndRefusals) {
    TrafficNote note;
    std::string lastBanUntil;
    TrafficWatch::Observe("response flow control need retry, id: 1", kNow, &note, &lastBanUntil);
    TrafficWatch::Observe("response flow control need retry, id: 1", kNow, &note, &lastBanUntil);
    EXPECT_EQ(note.resends, 2);
    TrafficWatch::Observe("response under flow control (5)s", kNow, &note, &lastBanUntil);
    EXPECT_TRUE(note.banStarted);
    EXPECT_EQ(note.banSeconds, 5);
    EXPECT_EQ(note.banUntil, "2026-11-23T21:00:05Z");

    TrafficNote later;
    TrafficWatch::Observe("request is undering flow control, id: 2", kNow + 1, &later,
                          &lastBanUntil);
    EXPECT_TRUE(later.refused);
    EXPECT_EQ(later.banUntil, "2026-11-23T21:00:05Z");
    EXPECT_FALSE(later.banStarted);
}

TEST(QuilcallTrafficWatch, TheDefaultBanLineCountsTenSeconds) {
    TrafficNote note;
    std::string lastBanUntil;
    TrafficWatch::Observe("response under flow control with default (10)s", kNow, &note,
                          &lastBanUntil);
    EXPECT_EQ(note.banSeconds, 10);
    EXPECT_EQ(lastBanUntil, "2026-11-23T21:00:10Z");
}

TEST(QuilcallTrafficWatch, OtherLinesChangeNothing) {
    TrafficNote note;
    std::string lastBanUntil;
    for (const char* line :
         {"response need to be flow control, id: 3",
          "response pass flow control without limit, id: 3", "response under flow control (x)s",
          "handle threshold before filter"}) {
        TrafficWatch::Observe(line, kNow, &note, &lastBanUntil);
    }
    EXPECT_FALSE(note.Any());
    EXPECT_EQ(lastBanUntil, "");
}

TEST(QuilcallTrafficRender, TextAndJsonSayWhatHappened) {
    CallOutcome outcome;
    outcome.answered = true;
    outcome.status = 419;
    outcome.traffic.refused = true;
    outcome.traffic.banUntil = "2026-11-23T21:00:05Z";
    EXPECT_EQ(RenderText(outcome).rfind("traffic: refused locally by a flow-control ban until "
                                        "2026-11-23T21:00:05Z; no request went out\nstatus: 419\n",
                                        0),
              0u);
    EXPECT_TRUE(Contains(RenderJson(outcome, nullptr),
                         "\"traffic\":{\"banStarted\":false,\"banUntil\":\"2026-11-23T21:00:05Z\","
                         "\"refusedLocally\":true,\"resends\":0}"));
    CallOutcome resent;
    resent.answered = true;
    resent.traffic.resends = 1;
    EXPECT_TRUE(
        Contains(RenderText(resent), "traffic: resent 1 time on the security library's verdict\n"));
    CallOutcome plain;
    plain.answered = true;
    EXPECT_FALSE(Contains(RenderText(plain), "traffic:"));
    EXPECT_FALSE(Contains(RenderJson(plain, nullptr), "traffic"));
}

class QuilcallTraffic : public ::testing::Test {
protected:
    void SetUp() override {
        GatewayEmulatorOptions options;
        options.appKey = kAppKey;
        gateway_ = std::make_unique<GatewayEmulator>(options);
        ASSERT_TRUE(gateway_->Start(0));
    }
    ChildResult Call(const std::vector<std::string>& args, const std::string& controls) {
        std::vector<std::string> all = {"--host", "127.0.0.1:" + std::to_string(gateway_->Port()),
                                        "--appkey", kAppKey};
        all.insert(all.end(), args.begin(), args.end());
        ChildResult result = RunChild(QUILCALL_PATH, all, {{"QUIL_STANDIN_CONTROLS", controls}});
        EXPECT_TRUE(result.started);
        EXPECT_TRUE(result.finished) << result.err;
        return result;
    }
    static ScriptedAnswer Challenge(int status) {
        ScriptedAnswer answer;
        answer.status = status;
        answer.headers = {{"x-retcode", "FAIL_SYS_USER_VALIDATE"}};
        answer.body = R"({"ret":["FAIL_SYS_USER_VALIDATE::busy"]})";
        return answer;
    }

    std::unique_ptr<GatewayEmulator> gateway_;
};

TEST_F(QuilcallTraffic, ARepeatedCallIsRefusedLocallyWhileTheBanRuns) {
    gateway_->Script("my.guarded", {Challenge(419)});
    ChildResult result =
        Call({"--repeat", "2", "my.guarded", "1.0"},
             "traffic.mainAction=1;traffic.subAction=4;traffic.param={\"kv-sleep\":\"60000\"}");
    EXPECT_EQ(gateway_->RequestCount(), 1u);
    EXPECT_TRUE(Contains(result.out,
                         "call 1 of 2:\ntraffic: this answer started a flow-control "
                         "ban of 60 s, until "))
        << result.out;
    EXPECT_TRUE(Contains(result.out,
                         "\ncall 2 of 2:\ntraffic: refused locally by a flow-control "
                         "ban until "))
        << result.out;
    EXPECT_TRUE(Contains(result.out, "; no request went out\nstatus: 419\n"));
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.err.find("quilsdk "), std::string::npos);  // no --log-level: no lines
}

TEST_F(QuilcallTraffic, AResendOnTheLibrarysVerdictIsShown) {
    gateway_->Script("my.guarded", {Challenge(420)});
    ChildResult result =
        Call({"--json", "my.guarded", "1.0"}, "traffic.mainAction=4;traffic.param=token-7");
    ASSERT_EQ(gateway_->RequestCount(), 2u);
    EXPECT_EQ(gateway_->Requests().at(1).Header("x-kv-resend"), "token-7");
    EXPECT_TRUE(Contains(result.out,
                         "\"traffic\":{\"banStarted\":false,\"refusedLocally\":false,"
                         "\"resends\":1}"))
        << result.out;
    EXPECT_EQ(result.exitCode, 0);
}

TEST_F(QuilcallTraffic, TheLogLevelSinkStillSeesOnlyItsLevels) {
    ChildResult result = Call({"--log-level", "3", "my.plain", "1.0"}, "");
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.err.find("quilsdk INFO"), std::string::npos) << result.err;
    EXPECT_EQ(result.err.find("quilsdk WARN"), std::string::npos) << result.err;
}

}  // namespace
}  // namespace quil
