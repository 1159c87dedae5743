#include "SecurityKolvaAfterFilter.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "FilterTestObjects.h"
#include "MetricsEntity.h"
#include "QuilRequestImpl.h"
#include "QuilResponseImpl.h"
#include "RecordingLog.h"
#include "ScriptedSign.h"
#include "ThresholdBeforeFilter.h"
#include "UTDataSet.h"

using quil::test::MakeFilterRequest;
using quil::test::MakeGatewayErrorResponse;
using quil::test::ScopedRecordingLog;
using quil::test::ScriptedSign;
using quil::test::Verdict;

namespace {

class SecurityKolvaAfterFilterTest : public testing::Test {
protected:
    // Runs the filter over a response of status for the request of id.
    FilterResult Judge(int status, int id = 11) {
        request = MakeFilterRequest(id);
        response = MakeGatewayErrorResponse();
        response->statusCode = status;
        FilterResult result;
        result.code = 7;  // the filter sets it first thing
        filter.HandleResponse(request.get(), response.get(), &result);
        return result;
    }
    // True when the threshold filter now refuses a call of the test API.
    bool Banned() {
        auto next = MakeFilterRequest(99);
        FilterResult result;
        threshold.HandleRequest(next.get(), &result);
        if (result.response == nullptr) return false;
        next.release();  // the refused response owns it
        delete result.response;
        return true;
    }

    ScopedRecordingLog log;
    ScriptedSign sign;
    ThresholdBeforeFilter threshold;
    SecurityKolvaAfterFilter filter{&threshold, &sign};
    std::unique_ptr<QuilRequestImpl> request;
    std::unique_ptr<QuilResponseImpl> response;
};

}  // namespace

TEST_F(SecurityKolvaAfterFilterTest, BearsItsNameInTheChain) {
    EXPECT_STREQ(filter.GetName(), "a_security_kolva");
}

TEST_F(SecurityKolvaAfterFilterTest, StatusesOtherThanTheThreeNeverReachTheLibrary) {
    for (int status : {200, 418, 422, 499}) {
        FilterResult result = Judge(status, status);
        EXPECT_EQ(result.code, 0);
        const std::string id = std::to_string(status);
        EXPECT_TRUE(log->Has("handle security kolva after filter, id: " + id, QUIL_LOG_VERBOSE));
        EXPECT_TRUE(log->Has("response did not trigger flow control, id: " + id, QUIL_LOG_VERBOSE));
    }
    EXPECT_TRUE(sign.ContentCalls().empty());
}

TEST_F(SecurityKolvaAfterFilterTest, FourNineteenToFourTwentyOneReachTheLibraryWithTheRequestId) {
    for (int status : {419, 420, 421}) {
        Judge(status, status);
    }
    auto calls = sign.ContentCalls();
    ASSERT_EQ(calls.size(), 3u);
    EXPECT_EQ(calls[0].seqId, 419);
    EXPECT_EQ(calls[1].seqId, 420);
    EXPECT_EQ(calls[2].seqId, 421);
}

TEST_F(SecurityKolvaAfterFilterTest, TheContentIsTheCompactJsonOfHeadersAndStatus) {
    Judge(419);
    auto calls = sign.ContentCalls();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].content,
              "{\"header\":{\"native_login\":\"true\",\"x-retcode\":\"FAIL_BIZ_SOMETHING\"},"
              "\"httpCode\":419}\n");
}

TEST_F(SecurityKolvaAfterFilterTest, TheJudgementIsTimedInTheRequestsMetrics) {
    Judge(420);
    MetricsEntity* entity = UTDataSet::GetInstance()->GetExistMetricsEntity(request.get());
    EXPECT_GE(entity->processContentStartTime, 0.0);
    EXPECT_GE(entity->processContentEndTime, entity->processContentStartTime);
}

TEST_F(SecurityKolvaAfterFilterTest, ANullVerdictEndsWithCodeZeroAndNoLogLine) {
    sign.SetNullVerdict(true);
    FilterResult result = Judge(421);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(log->FindPrefix("response flow control resp action").message, "");
}

TEST_F(SecurityKolvaAfterFilterTest, ZerosPassWithoutLimit) {
    FilterResult result = Judge(419);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(log->Find("response flow control resp action: 0, subAction:0").level, QUIL_LOG_WARN);
    EXPECT_EQ(log->Find("response pass flow control without limit, id: 11").level, QUIL_LOG_INFO);
}

TEST_F(SecurityKolvaAfterFilterTest, MainActionOneWithSubActionThreeIsAPass) {
    sign.SetDefaultVerdict(Verdict(1, 3, "{\"kv-sleep\":\"5000\"}"));
    FilterResult result = Judge(419);
    EXPECT_EQ(result.code, 0);
    EXPECT_TRUE(log->Has("response pass flow control without limit, id: 11", QUIL_LOG_INFO));
    EXPECT_FALSE(Banned());
}

TEST_F(SecurityKolvaAfterFilterTest, ABanVerdictRecordsTheBanAndTheResponsePassesOn) {
    sign.SetDefaultVerdict(Verdict(1, 4, "{\"kv-sleep\":\"1500\"}"));
    FilterResult result = Judge(420);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(log->Find("response need to be flow control, id: 11").level, QUIL_LOG_WARN);
    EXPECT_EQ(log->Find("response under flow control (1)s").level, QUIL_LOG_INFO);
    EXPECT_TRUE(Banned());
    // The answer of this very request goes on untouched.
    EXPECT_EQ(response->statusCode, 420);
    EXPECT_EQ(request->retryTime, 0);
}

TEST_F(SecurityKolvaAfterFilterTest, NineHundredNinetyNineMillisecondsBanForZeroSeconds) {
    sign.SetDefaultVerdict(Verdict(1, 4, "{\"kv-sleep\":\"999\"}"));
    Judge(419);
    EXPECT_TRUE(log->Has("response under flow control (0)s", QUIL_LOG_INFO));
    EXPECT_EQ(threshold.EntryCount(), 1u);
    EXPECT_FALSE(Banned());  // the next request ends it at once
    EXPECT_EQ(threshold.EntryCount(), 0u);
}

TEST_F(SecurityKolvaAfterFilterTest, AParameterWithoutKvSleepRecordsNoBanAndLogsNoMore) {
    sign.SetDefaultVerdict(Verdict(1, 4, "{\"sleep\":\"5000\"}"));
    Judge(419);
    EXPECT_TRUE(log->Has("response need to be flow control, id: 11"));
    EXPECT_EQ(log->FindPrefix("response under flow control").message, "");
    EXPECT_EQ(threshold.EntryCount(), 0u);
}

TEST_F(SecurityKolvaAfterFilterTest, KvSleepInATextThatIsNotJsonBansForTheDefaultTenSeconds) {
    sign.SetDefaultVerdict(Verdict(1, 4, "kv-sleep=5000"));
    Judge(419);
    EXPECT_EQ(log->Find("response under flow control with default (10)s").level, QUIL_LOG_INFO);
    EXPECT_TRUE(Banned());
}

TEST_F(SecurityKolvaAfterFilterTest, AKvSleepThatCannotBeReadAsTextBansForTheDefault) {
    // The JSON library throws for an array here; on a network worker that counts as unreadable.
    sign.SetDefaultVerdict(Verdict(1, 4, "{\"kv-sleep\":[2000]}"));
    Judge(419);
    EXPECT_TRUE(log->Has("response under flow control with default (10)s", QUIL_LOG_INFO));
    EXPECT_TRUE(Banned());
}

TEST_F(SecurityKolvaAfterFilterTest, AVerdictThatIsJsonButNotAnObjectBansForTheDefault) {
    sign.SetDefaultVerdict(Verdict(1, 4, "\"kv-sleep\""));
    Judge(419);
    EXPECT_TRUE(log->Has("response under flow control with default (10)s", QUIL_LOG_INFO));
}

TEST_F(SecurityKolvaAfterFilterTest, ANumericKvSleepGivesItsLength) {
    // This JSON library converts a number to text, so the number is read as the length.
    sign.SetDefaultVerdict(Verdict(1, 4, "{\"kv-sleep\":2000}"));
    Judge(419);
    EXPECT_TRUE(log->Has("response under flow control (2)s", QUIL_LOG_INFO));
}

TEST_F(SecurityKolvaAfterFilterTest, AHugeKvSleepIsHeldWithinTheBanRange) {
    sign.SetDefaultVerdict(Verdict(1, 4, "{\"kv-sleep\":\"99999999999999999999999\"}"));
    Judge(419);
    EXPECT_TRUE(log->Has("response under flow control (2147483647)s", QUIL_LOG_INFO));
    EXPECT_TRUE(Banned());
}

TEST_F(SecurityKolvaAfterFilterTest, WithoutAThresholdFilterABanVerdictRecordsNothing) {
    SecurityKolvaAfterFilter unwired(nullptr, &sign);
    sign.SetDefaultVerdict(Verdict(1, 4, "{\"kv-sleep\":\"5000\"}"));
    request = MakeFilterRequest(5);
    response = MakeGatewayErrorResponse();
    response->statusCode = 419;
    FilterResult result;
    unwired.HandleResponse(request.get(), response.get(), &result);
    EXPECT_EQ(result.code, 0);
    EXPECT_TRUE(log->Has("response need to be flow control, id: 5"));
    EXPECT_EQ(log->FindPrefix("response under flow control").message, "");
}

TEST_F(SecurityKolvaAfterFilterTest, ANullResponseEndsWithCodeZero) {
    request = MakeFilterRequest(3);
    FilterResult result;
    result.code = 1;
    filter.HandleResponse(request.get(), nullptr, &result);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(log->Count(), 0u);
}

TEST_F(SecurityKolvaAfterFilterTest, AResendBeyondThePassLimitEndsTheCallWithTheLastAnswer) {
    sign.SetDefaultVerdict(Verdict(4, 0, "again"));
    request = MakeFilterRequest(12);
    request->retryTime = SecurityKolvaAfterFilter::kResendPassLimit;
    response = MakeGatewayErrorResponse();
    response->statusCode = 419;
    FilterResult result;
    filter.HandleResponse(request.get(), response.get(), &result);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(request->retryTime, 64);
    EXPECT_EQ(request->headers.count("x-kv-resend"), 0u);
    EXPECT_EQ(log->Find("response flow control resend limit reached, id: 12, passes: 64").level,
              QUIL_LOG_ERROR);
    EXPECT_FALSE(log->Has("response flow control need retry, id: 12"));
    EXPECT_EQ(response->statusCode, 419);
}

TEST_F(SecurityKolvaAfterFilterTest, TheCookieSideGivesTheLibrarysCookiesForTheUrl) {
    sign.SetCookies("kv=1; kv2=2");
    std::string cookie = "stale";
    EXPECT_TRUE(filter.GetCookie("https://gw.quil.example/gw/a/1.0/", cookie));
    EXPECT_EQ(cookie, "kv=1; kv2=2");
    EXPECT_EQ(sign.CookieUrls(), std::vector<std::string>{"https://gw.quil.example/gw/a/1.0/"});
}

TEST_F(SecurityKolvaAfterFilterTest, TheCookieSideWithoutCookiesIsFalseAndEmpty) {
    std::string cookie = "stale";
    EXPECT_FALSE(filter.GetCookie("https://gw.quil.example/", cookie));
    EXPECT_EQ(cookie, "");
}
