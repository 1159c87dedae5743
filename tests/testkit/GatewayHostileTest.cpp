// The gateway emulator's hostile mode: the same seed replays the same answers, every kind of
// bad answer is reached, and each kind is as bad as it says (checked on the answer the mode
// builds, and over loopback for the sequence as served).
#include <gtest/gtest.h>

#include <ctime>
#include <set>
#include <string>
#include <vector>

#include "GatewayEmulator.h"
#include "HandComposedCall.h"
#include "HostileMode.h"
#include "RawHttpConnection.h"

namespace quil {
namespace {

constexpr int kKinds = static_cast<int>(HostileKind::kCount);

EmulatorAnswer NormalAnswer() {
    EmulatorAnswer normal;
    normal.code = "SUCCESS";
    normal.headers.emplace_back("x-retcode", "SUCCESS");
    normal.body = "{\"ret\":[\"SUCCESS::call succeeded\"],\"data\":{}}";
    return normal;
}

// Feeds answers to mode until one of kind comes; that answer, or a failed expectation.
EmulatorAnswer FirstOfKind(HostileMode& mode, HostileKind kind) {
    for (int i = 0; i < 5000; ++i) {
        EmulatorAnswer answer = mode.AnswerGateway(ReceivedRequest(), NormalAnswer());
        if (answer.code == HostileKindName(kind)) return answer;
    }
    ADD_FAILURE() << "no answer of kind " << HostileKindName(kind);
    return EmulatorAnswer();
}

std::size_t ContentLength(const std::string& raw) {
    const std::size_t at = raw.find("Content-Length: ");
    return at == std::string::npos ? 0 : std::stoul(raw.substr(at + 16));
}

std::string BodyOf(const std::string& raw) {
    const std::size_t end = raw.find("\r\n\r\n");
    return end == std::string::npos ? std::string() : raw.substr(end + 4);
}

TEST(GatewayHostile, TheSameSeedReplaysTheSameKindsAndAnotherSeedDoesNot) {
    HostileOptions options;
    options.seed = 42;
    const HostileMode first(options);
    const HostileMode again(options);
    options.seed = 43;
    const HostileMode other(options);
    int differences = 0;
    for (uint64_t n = 1; n <= 1000; ++n) {
        EXPECT_EQ(first.KindOf(n), again.KindOf(n)) << n;
        differences += first.KindOf(n) != other.KindOf(n) ? 1 : 0;
    }
    EXPECT_GT(differences, 100);
}

TEST(GatewayHostile, EveryKindComesWithinAThousandAnswers) {
    HostileOptions options;
    options.seed = 7;
    const HostileMode mode(options);
    std::set<HostileKind> seen;
    for (uint64_t n = 1; n <= 1000; ++n) seen.insert(mode.KindOf(n));
    EXPECT_EQ(seen.size(), static_cast<std::size_t>(kKinds));
}

TEST(GatewayHostile, NormalPercentBoundsTheShareOfNormalAnswers) {
    HostileOptions options;
    options.normalPercent = 100;
    EXPECT_EQ(HostileMode(options).KindOf(5), HostileKind::kNormal);
    options.normalPercent = 0;
    const HostileMode never(options);
    for (uint64_t n = 1; n <= 500; ++n) EXPECT_NE(never.KindOf(n), HostileKind::kNormal);
}

TEST(GatewayHostile, ATruncatedBodyAnnouncesMoreThanItSendsAndCloses) {
    HostileMode mode{HostileOptions()};
    const EmulatorAnswer answer = FirstOfKind(mode, HostileKind::kTruncatedBody);
    ASSERT_FALSE(answer.raw.empty());
    EXPECT_GT(ContentLength(answer.raw), BodyOf(answer.raw).size());
}

TEST(GatewayHostile, AShortContentLengthAnnouncesLessThanItSends) {
    HostileMode mode{HostileOptions()};
    const EmulatorAnswer answer = FirstOfKind(mode, HostileKind::kShortContentLength);
    EXPECT_LT(ContentLength(answer.raw), BodyOf(answer.raw).size());
}

TEST(GatewayHostile, AnOversizedHeaderLineIsLongerThanSixteenKibibytes) {
    HostileMode mode{HostileOptions()};
    const EmulatorAnswer answer = FirstOfKind(mode, HostileKind::kOversizedHeader);
    const std::size_t start = answer.raw.find("x-big: ");
    ASSERT_NE(start, std::string::npos);
    EXPECT_GT(answer.raw.find("\r\n", start) - start, 16u * 1024u);
}

TEST(GatewayHostile, AnOversizedBodyIsAtLeastHalfTheConfiguredSize) {
    HostileOptions options;
    options.oversizedBytes = 4096;
    HostileMode mode(options);
    const EmulatorAnswer answer = FirstOfKind(mode, HostileKind::kOversizedBody);
    EXPECT_GE(answer.body.size(), 2048u);
}

TEST(GatewayHostile, ADropClosesWithoutAnswerAndASlowAnswerWaitsTheSlowTime) {
    HostileOptions options;
    options.slowMs = 1234;
    HostileMode mode(options);
    EXPECT_TRUE(FirstOfKind(mode, HostileKind::kDrop).closeWithoutAnswer);
    const EmulatorAnswer slow = FirstOfKind(mode, HostileKind::kSlow);
    EXPECT_EQ(slow.delayMs, 1234);
    EXPECT_EQ(slow.body, NormalAnswer().body);
}

TEST(GatewayHostile, FlowStatusesAreTheFloodLimitAndTrafficCodes) {
    HostileMode mode{HostileOptions()};
    const std::set<int> flow = {410, 411, 412, 413, 414, 415, 416, 417,
                                418, 419, 420, 421, 422, 499, 599};
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(flow.count(FirstOfKind(mode, HostileKind::kFlowStatus).status), 1u);
    }
}

TEST(GatewayHostile, ExpiredSessionsAndClocksCarryTheirCodes) {
    HostileMode mode{HostileOptions()};
    const EmulatorAnswer session = FirstOfKind(mode, HostileKind::kSessionExpired);
    ASSERT_FALSE(session.headers.empty());
    EXPECT_TRUE(session.headers[0].second == "FAIL_SYS_SESSION_EXPIRED" ||
                session.headers[0].second == "ERR_SID_INVALID");
    const EmulatorAnswer clock = FirstOfKind(mode, HostileKind::kClockExpired);
    ASSERT_EQ(clock.headers.size(), 2u);
    EXPECT_EQ(clock.headers[1].first, "x-systime");
}

TEST(GatewayHostile, DispatchAnswersComeInEveryKind) {
    HostileMode mode{HostileOptions()};
    EmulatorAnswer normal;
    normal.headers = {{"x-zn-code", "1000"}, {"x-zn-sign", "good"}};
    normal.body = "eyJkbnMiOltdfQ==";
    int unsigned_ = 0, wronglySigned = 0, dropped = 0, valid = 0;
    for (int i = 0; i < 200; ++i) {
        const EmulatorAnswer answer = mode.AnswerDispatch(normal);
        bool signedAnswer = false;
        for (const auto& header : answer.headers) {
            if (header.first == "x-zn-sign") {
                signedAnswer = true;
                wronglySigned += header.second != "good" ? 1 : 0;
            }
        }
        unsigned_ += signedAnswer || !answer.raw.empty() ? 0 : 1;
        dropped += answer.closeWithoutAnswer ? 1 : 0;
        valid += answer.code == "hostile:dispatch-valid" ? 1 : 0;
    }
    EXPECT_GT(unsigned_, 0);
    EXPECT_GT(wronglySigned, 0);
    EXPECT_GT(dropped, 0);
    EXPECT_GT(valid, 0);
}

// Over loopback: the answers come in the order KindOf gives, as the journal records them.
TEST(GatewayHostile, TheEmulatorServesTheSeededSequence) {
    HostileOptions options;
    options.seed = 99;
    options.slowMs = 10;
    options.oversizedBytes = 4096;
    GatewayEmulator emulator;
    emulator.SetHostile(options);
    ASSERT_TRUE(emulator.Start(0));
    const HostileMode expected(options);
    for (int i = 0; i < 30; ++i) {
        test::HandComposedCall call;
        call.timestamp = static_cast<long long>(std::time(nullptr));
        test::RawHttpConnection connection;
        ASSERT_TRUE(connection.Connect(emulator.Port()));
        ASSERT_TRUE(connection.Send(call.Wire()));
        test::RawHttpResponse response;
        connection.ReadResponse(&response, 5000);  // malformed on purpose, often
    }
    ASSERT_TRUE(emulator.WaitForRequests(30, std::chrono::seconds(10)));
    const std::vector<ReceivedRequest> requests = emulator.Requests();
    for (uint64_t n = 1; n <= 30; ++n) {
        const HostileKind kind = expected.KindOf(n);
        const std::string& code = requests.at(n - 1).answerCode;
        if (kind == HostileKind::kNormal) {
            EXPECT_EQ(code, "SUCCESS") << n;  // the endpoint's own answer to a good call
        } else {
            EXPECT_EQ(code, HostileKindName(kind)) << n;
        }
    }
}

}  // namespace
}  // namespace quil
