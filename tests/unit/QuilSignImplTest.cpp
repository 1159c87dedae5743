// The signing bridge through the real loading path: the stand-in security library opened from
// the SafeGuard folder exactly as a host's would be, with both signing roads, their time limits
// and the closing of the JSON road after three time-outs.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>

#include "QuilConfig.h"
#include "QuilLogger.h"
#include "QuilSignImpl.h"
#include "SignBridgeFixture.h"
#include "StandInSignature.h"
#include "WaitSlot.h"

namespace {

using quil::test::DrainPool;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

const std::chrono::milliseconds kShortLimit(200);
// The limit for a step that must succeed after time-outs: a signing that succeeds is told apart
// from one that waits by a limit no pause of a loaded machine comes near.
const std::chrono::seconds kLongLimit(60);

std::string JsonLine(const std::string& api, const std::string& data, int env) {
    return "{\"api\":\"" + api + "\",\"appkey\":\"21646297\",\"authCode\":\"auth-7\",\"data\":\"" +
           data + "\",\"env\":" + std::to_string(env) + "}";
}

// A log message longer than the logger's buffer, as the logger writes it: cut, then "...".
std::string CutAsLogged(const std::string& message) {
    return message.substr(0, QuilLogger::kBufferSize - 1) + "...";
}

class QuilSignImplTest : public quil::test::SignBridgeFixture {
protected:
    std::unique_ptr<SignResult> Sign63(int seqId, std::string data = "a=1&b=2",
                                       std::string api = "mtop.quil.test") {
        return std::unique_ptr<SignResult>(sign()->Sign6_3(seqId, data, api));
    }
    std::unique_ptr<SignResult> Sign62(int seqId, std::string data = "a=1&b=2", int method = 1) {
        return std::unique_ptr<SignResult>(sign()->Sign6_2(seqId, data, method));
    }
    std::string StartQuietly() {
        CaptureStdout();
        sign()->Start();
        return GetCapturedStdout();
    }
};

TEST_F(QuilSignImplTest, StartLoadsEachComponentOnceAndLogsStarted) {
    CaptureStdout();
    EXPECT_TRUE(sign()->Start());
    GetCapturedStdout();
    EXPECT_EQ(control.Count("jsonSign.start"), 1);
    EXPECT_EQ(control.Count("urlSign.start"), 1);
    EXPECT_EQ(control.Count("traffic.start"), 1);
    EXPECT_TRUE(log->Has("QuilSignImpl Started", QUIL_LOG_INFO));
}

TEST_F(QuilSignImplTest, StartTwiceReturnsFalseTheSecondTimeAndLoadsNothing) {
    StartQuietly();
    const auto numbers = control.RequestedNumbers();
    CaptureStdout();
    EXPECT_FALSE(sign()->Start());
    EXPECT_EQ(GetCapturedStdout(), "");
    EXPECT_EQ(control.RequestedNumbers(), numbers);
    EXPECT_EQ(control.Count("jsonSign.start"), 1);
    EXPECT_EQ(control.Count("urlSign.start"), 1);
    EXPECT_EQ(control.Count("traffic.start"), 1);
    EXPECT_EQ(log->CountOf("QuilSignImpl Started"), 1u);
}

TEST_F(QuilSignImplTest, StopBeforeStartReturnsFalseAndStopsNothing) {
    EXPECT_FALSE(sign()->Stop());
    EXPECT_EQ(control.Count("jsonSign.stop"), 0);
    EXPECT_EQ(control.Count("urlSign.stop"), 0);
    EXPECT_FALSE(log->Has("QuilSignImpl Stopped"));
}

TEST_F(QuilSignImplTest, StopStopsEveryProxyAndAStartAfterItRestartsWithoutReopening) {
    StartQuietly();
    EXPECT_TRUE(sign()->Stop());
    EXPECT_EQ(control.Count("jsonSign.stop"), 1);
    EXPECT_EQ(control.Count("urlSign.stop"), 1);
    EXPECT_EQ(control.Count("traffic.stop"), 1);
    EXPECT_TRUE(log->Has("QuilSignImpl Stopped", QUIL_LOG_INFO));
    EXPECT_FALSE(sign()->Stop());

    const auto before = control.RequestedNumbers();
    StartQuietly();
    EXPECT_EQ(control.Count("jsonSign.start"), 2);
    EXPECT_EQ(control.Count("urlSign.start"), 2);
    EXPECT_EQ(control.Count("traffic.start"), 2);
    // The interfaces stay bound, so only the path component is asked for again.
    const auto after = control.RequestedNumbers();
    for (int number :
         {kErrorCodeNumber, kUrlSignProxyNumber, kJsonSignProxyNumber, kTrafficFilterProxyNumber}) {
        EXPECT_EQ(std::count(after.begin(), after.end(), number),
                  std::count(before.begin(), before.end(), number))
            << number;
    }
    EXPECT_GT(std::count(after.begin(), after.end(), kSecurityPathProxyNumber),
              std::count(before.begin(), before.end(), kSecurityPathProxyNumber));
}

TEST_F(QuilSignImplTest, StopLeavesTheTrafficFilterRunningWhenSecurityIsDisabled) {
    StartQuietly();
    QuilConfig::GetInstance()->securityEnabled = false;
    EXPECT_TRUE(sign()->Stop());
    EXPECT_EQ(control.Count("jsonSign.stop"), 1);
    EXPECT_EQ(control.Count("traffic.stop"), 0);
}

TEST_F(QuilSignImplTest, Sign63WithinTheLimitGivesCodeZeroAndTheLibrarysMembers) {
    StartQuietly();
    auto result = Sign63(1, "a=1&b=2");
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->errorCode, "0");
    EXPECT_EQ(result->sign, "");
    const std::string expected =
        quil::standin::Signature(kAppKey, quil::standin::kLabelJson, "a=1&b=2");
    EXPECT_EQ(result->signMap,
              (std::map<std::string, std::string>{{"x-standin-scheme", "hmac-sha256"},
                                                  {"x-standin-sign", expected}}));
    EXPECT_TRUE(log->Has("QUIL sign version 6.3, seqId: 1", QUIL_LOG_VERBOSE));
    EXPECT_TRUE(log->Has("urlSign success", QUIL_LOG_VERBOSE));
    EXPECT_TRUE(
        log->Has("urlSign(json): {\"x-standin-scheme\":\"hmac-sha256\",\"x-standin-sign\":\"" +
                     expected + "\"}",
                 QUIL_LOG_VERBOSE));
    EXPECT_EQ(control.Count("jsonSign.free"), 1);
    EXPECT_EQ(sign()->SignTimeoutCount(), 0);
}

TEST_F(QuilSignImplTest, Sign63HandsTheLibraryOneCompactJsonLineWithoutLineFeed) {
    StartQuietly();
    auto result = Sign63(2, "x=\"q\"", "mtop.a.b");
    ASSERT_NE(result, nullptr);
    ASSERT_EQ(control.Texts("jsonSign.input").size(), 1u);
    EXPECT_EQ(control.Texts("jsonSign.input")[0],
              "{\"api\":\"mtop.a.b\",\"appkey\":\"21646297\",\"authCode\":\"auth-7\","
              "\"data\":\"x=\\\"q\\\"\",\"env\":0}");
}

class QuilSignImplEnvTest : public QuilSignImplTest,
                            public testing::WithParamInterface<std::pair<int, int>> {};

TEST_P(QuilSignImplEnvTest, TheJsonLineCarriesTheSignEnvironment) {
    QuilConfig::GetInstance()->environment = GetParam().first;
    StartQuietly();
    auto result = Sign63(3);
    ASSERT_NE(result, nullptr);
    ASSERT_EQ(control.Texts("jsonSign.input").size(), 1u);
    EXPECT_EQ(control.Texts("jsonSign.input")[0],
              JsonLine("mtop.quil.test", "a=1&b=2", GetParam().second));
}

// Production and pre-release both count as 0; daily and its neighbour as 2; anything else 0.
INSTANTIATE_TEST_SUITE_P(EachEnvironment, QuilSignImplEnvTest,
                         testing::Values(std::make_pair(0, 0), std::make_pair(1, 0),
                                         std::make_pair(2, 2), std::make_pair(3, 2),
                                         std::make_pair(4, 0), std::make_pair(-1, 0)));

TEST_F(QuilSignImplTest, Sign63FailureGivesTheLibrarysCodeAndTheParseFailureLine) {
    control.SetInt("jsonSign.fail", 1);
    control.SetInt("jsonSign.code", 77);
    StartQuietly();
    auto result = Sign63(4);
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->errorCode, "77");
    EXPECT_TRUE(result->signMap.empty());
    EXPECT_TRUE(log->Has(
        "urlSign error, sign Buf: " + JsonLine("mtop.quil.test", "a=1&b=2", 0) + ", sign code: 77",
        QUIL_LOG_ERROR));
    EXPECT_TRUE(log->Has("__SwitchToMap json parse failed, data: ", QUIL_LOG_INFO));
    EXPECT_FALSE(log->Has("urlSign time limit exceeded, version 6.3"));
    EXPECT_EQ(sign()->SignTimeoutCount(), 0);
}

// The library's text is untrusted: nesting deep enough to make the JSON reader give up by
// throwing is an unreadable answer like any other, never an exception out of the call.
TEST_F(QuilSignImplTest, Sign63WithADeeplyNestedAnswerGivesAnEmptyMapAndTheParseFailureLine) {
    const std::string nested =
        "{\"x-sign\":" + std::string(5000, '[') + std::string(5000, ']') + "}";
    control.SetText("jsonSign.answer", nested.c_str());
    StartQuietly();
    auto result = Sign63(6);
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->errorCode, "0");
    EXPECT_TRUE(result->signMap.empty());
    EXPECT_TRUE(
        log->Has(CutAsLogged("__SwitchToMap json parse failed, data: " + nested), QUIL_LOG_INFO));
    EXPECT_EQ(control.Count("jsonSign.free"), 1);
}

TEST_F(QuilSignImplTest, Sign63WithAnEmptyAnswerGivesAnEmptyMapAndCodeZero) {
    control.SetInt("jsonSign.empty", 1);
    StartQuietly();
    auto result = Sign63(5);
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->errorCode, "0");
    EXPECT_TRUE(result->signMap.empty());
    EXPECT_FALSE(log->Has("__SwitchToMap json parse failed, data: {}"));
    EXPECT_EQ(control.Count("jsonSign.free"), 1);
}

TEST_F(QuilSignImplTest, Sign63WithoutTheComponentGivesCode16000) {
    UseMissingLibrary();
    StartQuietly();
    auto result = Sign63(6);
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->errorCode, "16000");
    EXPECT_TRUE(result->signMap.empty());
    EXPECT_TRUE(log->Has("urlSign error, sign Buf: " + JsonLine("mtop.quil.test", "a=1&b=2", 0) +
                             ", sign code: 16000",
                         QUIL_LOG_ERROR));
}

TEST_F(QuilSignImplTest, Sign63BeforeStartFindsNoComponent) {
    auto result = Sign63(7);
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->errorCode, "16000");
    EXPECT_EQ(control.Count("jsonSign.sign"), 0);
}

TEST_F(QuilSignImplTest, Sign63TimeOutGivesMinusOneCountsAndReports) {
    ShortenLimits(kShortLimit);
    control.SetInt("jsonSign.hangMs", -1);
    StartQuietly();
    auto result = Sign63(8);
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->errorCode, "-1");
    EXPECT_TRUE(result->signMap.empty());
    EXPECT_TRUE(log->Has("urlSign time limit exceeded, version 6.3", QUIL_LOG_WARN));
    EXPECT_EQ(sign()->SignTimeoutCount(), 1);
    auto reports = statistics->Calls("CommitCount", "signTimeout");
    ASSERT_EQ(reports.size(), 1u);
    EXPECT_EQ(reports[0].module, "quilsdk");
    EXPECT_EQ(reports[0].arg, "quil sign 6.3");
    EXPECT_EQ(reports[0].value, 1.0);
}

TEST_F(QuilSignImplTest, TheFourthSign63AfterThreeTimeOutsReturnsNullAtOnceWithNoTaskQueued) {
    ShortenLimits(kShortLimit);
    control.SetInt("jsonSign.hangMs", -1);
    StartQuietly();
    for (int seqId = 1; seqId <= 3; ++seqId) {
        auto result = Sign63(seqId);
        ASSERT_NE(result, nullptr);
        EXPECT_EQ(result->errorCode, "-1");
    }
    EXPECT_EQ(sign()->SignTimeoutCount(), 3);
    // The first task is inside the library; the other two queue behind it.
    ASSERT_TRUE(control.WaitForCount("jsonSign.hangMs.entered", 1, 10000));
    EXPECT_EQ(sign()->SignPool63()->QueueLength(), 2u);

    // A long limit from here on: a fourth signing that waited would wait this long, far longer
    // than any pause a loaded machine makes.
    ShortenLimits(kLongLimit);
    const auto before = std::chrono::steady_clock::now();
    auto fourth = Sign63(4);
    EXPECT_EQ(fourth, nullptr);
    EXPECT_LT(std::chrono::steady_clock::now() - before, kLongLimit / 2);
    EXPECT_EQ(sign()->SignPool63()->QueueLength(), 2u);
    EXPECT_FALSE(log->Has("QUIL sign version 6.3, seqId: 4"));
    EXPECT_EQ(log->CountOf("urlSign time limit exceeded, version 6.3"), 3u);
    EXPECT_EQ(statistics->CountOf("CommitCount", "signTimeout"), 3u);

    EndHangs();
    ASSERT_TRUE(DrainPool(sign()->SignPool63()));
    EXPECT_EQ(control.Count("jsonSign.sign"), 3);
}

TEST_F(QuilSignImplTest, APostAfterTheLimitIsDroppedWithNoError) {
    ShortenLimits(kShortLimit);
    control.SetInt("jsonSign.hangMs", -1);
    StartQuietly();
    auto late = Sign63(9);
    ASSERT_NE(late, nullptr);
    EXPECT_EQ(late->errorCode, "-1");

    EndHangs();
    ASSERT_TRUE(DrainPool(sign()->SignPool63()));
    // The task ran to its end and posted to a key whose slot had gone.
    EXPECT_EQ(control.Count("jsonSign.free"), 1);
    EXPECT_FALSE(WaitSlotRegistry::PostWaitSlot("9_sign6.2", "probe"));
    EXPECT_TRUE(log->Has("urlSign success", QUIL_LOG_VERBOSE));
    for (const auto& line : log->Lines()) EXPECT_LT(line.level, QUIL_LOG_ERROR) << line.message;

    // The dropped answer does not leak into the next signing of the same id.
    control.SetInt("jsonSign.empty", 1);
    ShortenLimits(kLongLimit);
    auto next = Sign63(9);
    ASSERT_NE(next, nullptr);
    EXPECT_EQ(next->errorCode, "0");
    EXPECT_TRUE(next->signMap.empty());
}

TEST_F(QuilSignImplTest, Sign63WaitsOnTheKeyThatNamesTheOtherRoad) {
    control.SetInt("jsonSign.hangMs", -1);
    StartQuietly();
    std::future<std::unique_ptr<SignResult>> pending =
        std::async(std::launch::async, [this] { return Sign63(10); });
    ASSERT_TRUE(control.WaitForCount("jsonSign.hangMs.entered", 1, 10000));
    EXPECT_FALSE(WaitSlotRegistry::PostWaitSlot("10_sign6.3", "wrong key"));
    EXPECT_TRUE(WaitSlotRegistry::PostWaitSlot(
        "10_sign6.2", "{\"errorCode\":\"0\",\"sign\":\"{\\\"x-k\\\":\\\"v\\\"}\"}"));
    auto result = pending.get();
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->errorCode, "0");
    EXPECT_EQ(result->signMap, (std::map<std::string, std::string>{{"x-k", "v"}}));
}

TEST_F(QuilSignImplTest, Sign62WaitsOnTheKeyThatNamesTheOtherRoad) {
    control.SetInt("urlSign.hangMs", -1);
    StartQuietly();
    std::future<std::unique_ptr<SignResult>> pending =
        std::async(std::launch::async, [this] { return Sign62(11); });
    ASSERT_TRUE(control.WaitForCount("urlSign.hangMs.entered", 1, 10000));
    EXPECT_FALSE(WaitSlotRegistry::PostWaitSlot("11_sign6.2", "wrong key"));
    EXPECT_TRUE(
        WaitSlotRegistry::PostWaitSlot("11_sign6.3", "{\"errorCode\":\"0\",\"sign\":\"s\"}"));
    auto result = pending.get();
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->errorCode, "0");
    EXPECT_EQ(result->sign, "s");
}

TEST_F(QuilSignImplTest, AnAnswerWithMembersOfAnotherTypeReadsAsEmpty) {
    control.SetInt("urlSign.hangMs", -1);
    StartQuietly();
    std::future<std::unique_ptr<SignResult>> pending =
        std::async(std::launch::async, [this] { return Sign62(23); });
    ASSERT_TRUE(control.WaitForCount("urlSign.hangMs.entered", 1, 10000));
    EXPECT_TRUE(WaitSlotRegistry::PostWaitSlot("23_sign6.3", "{\"errorCode\":0,\"sign\":[1]}"));
    auto result = pending.get();
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->errorCode, "");
    EXPECT_EQ(result->sign, "");
    EXPECT_FALSE(log->Has("urlSign time limit exceeded, version 6.2"));
}

TEST_F(QuilSignImplTest, AnAnswerThatIsNotAnObjectReadsAsATimeOut) {
    control.SetInt("jsonSign.hangMs", -1);
    StartQuietly();
    std::future<std::unique_ptr<SignResult>> pending =
        std::async(std::launch::async, [this] { return Sign63(24); });
    ASSERT_TRUE(control.WaitForCount("jsonSign.hangMs.entered", 1, 10000));
    EXPECT_TRUE(WaitSlotRegistry::PostWaitSlot("24_sign6.2", "[\"0\"]"));
    auto result = pending.get();
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->errorCode, "-1");
    EXPECT_TRUE(log->Has("urlSign time limit exceeded, version 6.3", QUIL_LOG_WARN));
    EXPECT_EQ(sign()->SignTimeoutCount(), 1);
}

TEST_F(QuilSignImplTest, Sign62SignsTheBufferAndNarrowsItsAnswer) {
    StartQuietly();
    CaptureStdout();
    auto result = Sign62(12, "a=1&b=2", 1);
    const std::string printed = GetCapturedStdout();
    ASSERT_NE(result, nullptr);
    const std::string expected =
        quil::standin::Signature(kAppKey, quil::standin::kLabelUrlMethod1, "a=1&b=2");
    EXPECT_EQ(result->errorCode, "0");
    EXPECT_EQ(result->sign, expected);
    EXPECT_TRUE(result->signMap.empty());
    EXPECT_EQ(printed, "UrlSign success\nresult:[0]\n");
    EXPECT_TRUE(log->Has("QUIL degrade sign version 6.2, seqId: 12", QUIL_LOG_INFO));
    EXPECT_TRUE(log->Has("urlSign success", QUIL_LOG_VERBOSE));
    EXPECT_TRUE(log->Has("urlSign: " + expected + " len: 64", QUIL_LOG_VERBOSE));
    EXPECT_EQ(control.Texts("urlSign.appKey"), std::vector<std::string>{kAppKey});
    EXPECT_EQ(control.Texts("urlSign.data"), std::vector<std::string>{"a=1&b=2"});
}

TEST_F(QuilSignImplTest, Sign62WithMethod2UsesSignMethod2) {
    StartQuietly();
    auto result = Sign62(13, "a=1", 2);
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(control.Texts("urlSign.method"), std::vector<std::string>{"2"});
    EXPECT_EQ(result->sign,
              quil::standin::Signature(kAppKey, quil::standin::kLabelUrlMethod2, "a=1"));
}

TEST_F(QuilSignImplTest, Sign62WithMethod7UsesSignMethod1) {
    StartQuietly();
    auto result = Sign62(14, "a=1", 7);
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(control.Texts("urlSign.method"), std::vector<std::string>{"1"});
    EXPECT_EQ(result->sign,
              quil::standin::Signature(kAppKey, quil::standin::kLabelUrlMethod1, "a=1"));
}

TEST_F(QuilSignImplTest, AnInputOf1024WideCharactersUsesThe1024Buffer) {
    StartQuietly();
    auto result = Sign62(15, std::string(1024, 'd'));
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(control.Texts("urlSign.capacity"), std::vector<std::string>{"1024"});
    // The truncating copy keeps room for the terminator.
    ASSERT_EQ(control.Texts("urlSign.data").size(), 1u);
    EXPECT_EQ(control.Texts("urlSign.data")[0], std::string(1023, 'd'));
}

TEST_F(QuilSignImplTest, AnInputOf1025WideCharactersUsesABufferOf1026) {
    StartQuietly();
    auto result = Sign62(16, std::string(1025, 'd'));
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(control.Texts("urlSign.capacity"), std::vector<std::string>{"1026"});
    EXPECT_EQ(control.Texts("urlSign.data"), std::vector<std::string>{std::string(1025, 'd')});
    EXPECT_EQ(result->errorCode, "0");
}

TEST_F(QuilSignImplTest, AShortInputUsesThe1024BufferCountedInWideCharacters) {
    StartQuietly();
    // Two bytes of UTF-8 per character: 600 wide characters fit the 1024 buffer.
    std::string data;
    for (int i = 0; i < 600; ++i) data += "\xC3\xA9";
    auto result = Sign62(17, data);
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(control.Texts("urlSign.capacity"), std::vector<std::string>{"1024"});
    EXPECT_EQ(control.Texts("urlSign.data"), std::vector<std::string>{data});
}

TEST_F(QuilSignImplTest, TheBufferCapacityCountsThePlatformsWideCharacters) {
    StartQuietly();
    // 1023 ASCII characters and one character outside the Basic Multilingual Plane: a 16-bit
    // wide string (Windows) needs a surrogate pair for it, 1025 units in all, so the buffer grows
    // to 1026 and the whole input goes in; a 32-bit wide string holds 1024 units, which fit the
    // 1024 buffer, and the truncating copy keeps room for the terminator.
    const std::string data = std::string(1023, 'd') + "\xF0\x9F\x98\x80";
    auto result = Sign62(18, data);
    ASSERT_NE(result, nullptr);
    if (sizeof(wchar_t) == 2) {
        EXPECT_EQ(control.Texts("urlSign.capacity"), std::vector<std::string>{"1026"});
        EXPECT_EQ(control.Texts("urlSign.data"), std::vector<std::string>{data});
    } else {
        EXPECT_EQ(control.Texts("urlSign.capacity"), std::vector<std::string>{"1024"});
        EXPECT_EQ(control.Texts("urlSign.data"), std::vector<std::string>{std::string(1023, 'd')});
    }
    EXPECT_EQ(result->errorCode, "0");
}

TEST_F(QuilSignImplTest, Sign62FailureTakesItsCodeFromGetLastError) {
    control.SetInt("urlSign.fail", 1);
    control.SetInt("urlSign.code", 55);
    StartQuietly();
    CaptureStdout();
    auto result = Sign62(18, "a=1", 7);
    const std::string printed = GetCapturedStdout();
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->errorCode, "55");
    EXPECT_EQ(result->sign, "");
    EXPECT_EQ(printed, "UrlSign error\nresult:[55]\n");
    EXPECT_EQ(control.Count("errorCode.getLastError"), 2);
    EXPECT_TRUE(
        log->Has("urlSign error, appKey: 21646297, sign method: 1, original: a=1, sign code: 55",
                 QUIL_LOG_ERROR));
}

TEST_F(QuilSignImplTest, Sign62NegativeCodeIsGivenInUnsignedDecimal) {
    control.SetInt("urlSign.fail", 1);
    control.SetInt("urlSign.code", -2);
    StartQuietly();
    CaptureStdout();
    auto result = Sign62(19);
    GetCapturedStdout();
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->errorCode, "4294967294");
}

TEST_F(QuilSignImplTest, Sign62WithoutTheComponentGivesCode16000) {
    UseMissingLibrary();
    StartQuietly();
    CaptureStdout();
    auto result = Sign62(20, "a=1");
    EXPECT_EQ(GetCapturedStdout(), "");
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->errorCode, "16000");
    EXPECT_TRUE(
        log->Has("urlSign error, appKey: 21646297, sign method: 1, original: a=1, sign code: 16000",
                 QUIL_LOG_ERROR));
}

TEST_F(QuilSignImplTest, Sign62WithOnlyTheErrorCodeBoundTakesItsLastError) {
    control.SetInt("refuseInterface", kUrlSignProxyNumber);
    StartQuietly();
    auto result = Sign62(21, "a=1");
    ASSERT_NE(result, nullptr);
    // The library's last error is 0, which reads as success: the buffer still holds the input.
    EXPECT_EQ(result->errorCode, "0");
    EXPECT_EQ(result->sign, "a=1");
    EXPECT_TRUE(log->Has("urlSign: a=1 len: 3", QUIL_LOG_VERBOSE));
    EXPECT_EQ(control.Count("errorCode.getLastError"), 1);
    EXPECT_EQ(control.Count("urlSign.sign"), 0);
}

TEST_F(QuilSignImplTest, Sign62TimeOutReportsButNeverClosesEitherRoad) {
    ShortenLimits(kShortLimit);
    control.SetInt("urlSign.hangMs", -1);
    StartQuietly();
    for (int seqId = 1; seqId <= 4; ++seqId) {
        auto result = Sign62(seqId);
        ASSERT_NE(result, nullptr);
        EXPECT_EQ(result->errorCode, "-1");
        EXPECT_EQ(result->sign, "");
    }
    EXPECT_EQ(log->CountOf("urlSign time limit exceeded, version 6.2"), 4u);
    EXPECT_TRUE(log->Has("urlSign time limit exceeded, version 6.2", QUIL_LOG_WARN));
    auto reports = statistics->Calls("CommitCount", "signTimeout");
    ASSERT_EQ(reports.size(), 4u);
    EXPECT_EQ(reports[0].arg, "quil sign 6.2");
    EXPECT_EQ(sign()->SignTimeoutCount(), 0);
    ShortenLimits(kLongLimit);
    auto json = Sign63(5);
    ASSERT_NE(json, nullptr);
    EXPECT_EQ(json->errorCode, "0");
}

TEST_F(QuilSignImplTest, AHungJsonRoadDoesNotDelayTheWideRoad) {
    control.SetInt("jsonSign.hangMs", -1);
    StartQuietly();
    std::future<std::unique_ptr<SignResult>> json =
        std::async(std::launch::async, [this] { return Sign63(22); });
    ASSERT_TRUE(control.WaitForCount("jsonSign.hangMs.entered", 1, 10000));
    auto wide = Sign62(22);
    ASSERT_NE(wide, nullptr);
    EXPECT_EQ(wide->errorCode, "0");
    EndHangs();
    auto late = json.get();
    ASSERT_NE(late, nullptr);
    EXPECT_EQ(late->errorCode, "0");
}

TEST_F(QuilSignImplTest, GetInstanceGivesOneObject) {
    EXPECT_EQ(QuilSignImpl::GetInstance(), QuilSignImpl::GetInstance());
    EXPECT_NE(QuilSignImpl::GetInstance()->SignPool63(), QuilSignImpl::GetInstance()->SignPool62());
    EXPECT_EQ(QuilSignImpl::GetInstance()->SignPool63()->MaxThreads(), 1u);
    EXPECT_EQ(QuilSignImpl::GetInstance()->SignPool63()->MinThreads(), 1u);
    EXPECT_EQ(QuilSignImpl::GetInstance()->SignPool62()->MaxThreads(), 1u);
}

}  // namespace
