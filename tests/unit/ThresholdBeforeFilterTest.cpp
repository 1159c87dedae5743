#include "ThresholdBeforeFilter.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <limits>
#include <memory>

#include "FilterTestObjects.h"
#include "QuilRequestImpl.h"
#include "QuilResponseImpl.h"
#include "RecordingLog.h"

using quil::test::MakeFilterRequest;
using quil::test::MakeGatewayErrorResponse;
using quil::test::ScopedRecordingLog;

namespace {

constexpr int64_t kSecond = 1000000000;

// The filter's clock in these tests: set by hand.
std::atomic<int64_t> fakeNow{5 * kSecond};
int64_t FakeClock() { return fakeNow.load(); }

// A request of api/version, or the default test request.
std::unique_ptr<QuilRequestImpl> MakeRequest(int id, const char* api = "mtop.test.api",
                                             const char* version = "1.0") {
    std::unique_ptr<QuilRequestImpl> request(new QuilRequestImpl(api, version));
    request->SetId(id);
    return request;
}

// A traffic-protection answer as the gateway gives it.
std::unique_ptr<QuilResponseImpl> MakeBanResponse() {
    auto response = MakeGatewayErrorResponse();
    response->statusCode = 419;
    response->headers["x-retcode"] = "FAIL_SYS_TRAFFIC_LIMIT";
    response->body = "{\"ret\":[\"FAIL_SYS_TRAFFIC_LIMIT::busy\"]}";
    response->bodyJson["ret"][0] = "FAIL_SYS_TRAFFIC_LIMIT::busy";
    response->retInfo->retCode = "FAIL_SYS_TRAFFIC_LIMIT";
    response->retInfo->retMsg = "busy";
    return response;
}

class ThresholdBeforeFilterTest : public testing::Test {
protected:
    void SetUp() override { fakeNow.store(5 * kSecond); }

    // Runs the filter over a new request and keeps what it left behind. The refused
    // response, if any, owns the request.
    std::unique_ptr<QuilResponseImpl> Run(int id, FilterResult* result,
                                          const char* api = "mtop.test.api",
                                          const char* version = "1.0") {
        auto request = MakeRequest(id, api, version);
        filter.HandleRequest(request.get(), result);
        if (result->response != nullptr) {
            request.release();  // owned by the refused response now
            return std::unique_ptr<QuilResponseImpl>(
                dynamic_cast<QuilResponseImpl*>(result->response));
        }
        return nullptr;
    }

    ScopedRecordingLog log;
    ThresholdBeforeFilter filter{&FakeClock};
};

}  // namespace

TEST_F(ThresholdBeforeFilterTest, BearsItsNameInTheChain) {
    EXPECT_STREQ(filter.GetName(), "b_threshold");
}

TEST_F(ThresholdBeforeFilterTest, WithoutAnEntryTheRequestGoesOnWithCodeZero) {
    FilterResult result;
    auto request = MakeRequest(3);
    filter.HandleRequest(request.get(), &result);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.response, nullptr);
    EXPECT_EQ(log->Messages(),
              (std::vector<std::string>{"handle threshold before filter, id: 3",
                                        "request did not tigger flow control, id: 3"}));
    EXPECT_EQ(log->Find("handle threshold before filter, id: 3").level, QUIL_LOG_VERBOSE);
    EXPECT_EQ(log->Find("request did not tigger flow control, id: 3").level, QUIL_LOG_VERBOSE);
}

TEST_F(ThresholdBeforeFilterTest, NullArgumentsReturnAtOnceWithoutALogLine) {
    FilterResult result;
    filter.HandleRequest(nullptr, &result);
    auto request = MakeRequest(1);
    filter.HandleRequest(request.get(), nullptr);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(log->Count(), 0u);
}

TEST_F(ThresholdBeforeFilterTest, ARunningBanRefusesTheCallWithACopyThatOwnsTheRequest) {
    auto cause = MakeBanResponse();
    filter.AddFlowControl("mtop.test.api", "1.0", cause.get(), 2);
    FilterResult result;
    result.responseSource = reinterpret_cast<ResponseSource*>(&result);  // something to clear
    auto request = MakeRequest(9);
    QuilRequestImpl* raw = request.get();
    filter.HandleRequest(request.release(), &result);
    ASSERT_NE(result.response, nullptr);
    std::unique_ptr<QuilResponseImpl> refused(dynamic_cast<QuilResponseImpl*>(result.response));
    ASSERT_NE(refused, nullptr);
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(result.responseSource, nullptr);
    EXPECT_EQ(refused->GetRequest(), raw);
    EXPECT_NE(refused.get(), cause.get());
    EXPECT_EQ(refused->statusCode, 419);
    EXPECT_EQ(refused->headers, cause->headers);
    EXPECT_EQ(refused->body, cause->body);
    EXPECT_EQ(refused->bodyJson, cause->bodyJson);
    EXPECT_EQ(refused->retInfo->retCode, "FAIL_SYS_TRAFFIC_LIMIT");
    EXPECT_EQ(refused->retInfo->retMsg, "busy");
    EXPECT_EQ(refused->retInfo->errorType, 3);
    EXPECT_EQ(log->Find("request is undering flow control, id: 9").level, QUIL_LOG_WARN);
}

TEST_F(ThresholdBeforeFilterTest, EachRefusedCallGetsAResponseOfItsOwnAndTheStoredCopyStays) {
    auto cause = MakeBanResponse();
    filter.AddFlowControl("mtop.test.api", "1.0", cause.get(), 2);
    cause.reset();  // the filter keeps its own copy
    FilterResult first;
    FilterResult second;
    auto one = Run(1, &first);
    auto two = Run(2, &second);
    ASSERT_NE(one, nullptr);
    ASSERT_NE(two, nullptr);
    EXPECT_NE(one.get(), two.get());
    one.reset();  // deleting one leaves the stored copy alone
    FilterResult third;
    auto three = Run(3, &third);
    ASSERT_NE(three, nullptr);
    EXPECT_EQ(three->retInfo->retCode, "FAIL_SYS_TRAFFIC_LIMIT");
    EXPECT_EQ(filter.EntryCount(), 1u);
}

TEST_F(ThresholdBeforeFilterTest, ABanEndsExactlyAtItsEndTime) {
    auto cause = MakeBanResponse();
    filter.AddFlowControl("mtop.test.api", "1.0", cause.get(), 2);
    fakeNow.store(7 * kSecond - 1);
    FilterResult during;
    EXPECT_NE(Run(1, &during), nullptr);
    EXPECT_EQ(during.code, 1);
    // A clock equal to the end counts as over.
    fakeNow.store(7 * kSecond);
    FilterResult at;
    EXPECT_EQ(Run(2, &at), nullptr);
    EXPECT_EQ(at.code, 0);
    EXPECT_EQ(log->Find("request flow control expired, id: 2").level, QUIL_LOG_INFO);
    EXPECT_EQ(filter.EntryCount(), 0u);
    FilterResult after;
    EXPECT_EQ(Run(3, &after), nullptr);
    EXPECT_TRUE(log->Has("request did not tigger flow control, id: 3", QUIL_LOG_VERBOSE));
}

TEST_F(ThresholdBeforeFilterTest, ABanOfZeroSecondsExpiresAtTheFirstRequest) {
    auto cause = MakeBanResponse();
    filter.AddFlowControl("mtop.test.api", "1.0", cause.get(), 0);
    FilterResult result;
    EXPECT_EQ(Run(4, &result), nullptr);
    EXPECT_EQ(result.code, 0);
    EXPECT_TRUE(log->Has("request flow control expired, id: 4", QUIL_LOG_INFO));
    EXPECT_FALSE(log->Has("request is undering flow control, id: 4"));
}

TEST_F(ThresholdBeforeFilterTest, AShorterLaterBanReplacesTheLongerOne) {
    auto cause = MakeBanResponse();
    filter.AddFlowControl("mtop.test.api", "1.0", cause.get(), 100);
    auto second = MakeBanResponse();
    second->retInfo->retMsg = "second";
    filter.AddFlowControl("mtop.test.api", "1.0", second.get(), 1);
    EXPECT_EQ(filter.EntryCount(), 1u);
    FilterResult during;
    auto refused = Run(1, &during);
    ASSERT_NE(refused, nullptr);
    EXPECT_EQ(refused->retInfo->retMsg, "second");
    fakeNow.store(6 * kSecond);  // the last word counts: one second, not a hundred
    FilterResult after;
    EXPECT_EQ(Run(2, &after), nullptr);
    EXPECT_EQ(after.code, 0);
}

TEST_F(ThresholdBeforeFilterTest, AnotherVersionOrApiIsNotAffected) {
    auto cause = MakeBanResponse();
    filter.AddFlowControl("mtop.test.api", "1.0", cause.get(), 2);
    FilterResult otherVersion;
    EXPECT_EQ(Run(1, &otherVersion, "mtop.test.api", "2.0"), nullptr);
    EXPECT_EQ(otherVersion.code, 0);
    FilterResult otherApi;
    EXPECT_EQ(Run(2, &otherApi, "mtop.other.api", "1.0"), nullptr);
    EXPECT_EQ(otherApi.code, 0);
}

TEST_F(ThresholdBeforeFilterTest, TheKeyKeepsApiAndVersionApartWithItsDollarSign) {
    // "a.b$1" + "0" and "a.b" + "1$0" would meet only if the key were joined otherwise.
    auto cause = MakeBanResponse();
    filter.AddFlowControl("a.b", "1.0", cause.get(), 2);
    FilterResult same;
    EXPECT_NE(Run(1, &same, "a.b", "1.0"), nullptr);
    FilterResult joined;
    EXPECT_EQ(Run(2, &joined, "a.b1", ".0"), nullptr);
}

TEST_F(ThresholdBeforeFilterTest, ABanCoversEveryAccount) {
    auto cause = MakeBanResponse();
    filter.AddFlowControl("mtop.test.api", "1.0", cause.get(), 2);
    auto request = MakeRequest(5);
    request->SetUserInfo("alice");
    FilterResult result;
    filter.HandleRequest(request.get(), &result);
    ASSERT_EQ(result.code, 1);
    request.release();
    delete result.response;
}

TEST_F(ThresholdBeforeFilterTest, AnEmptyApiOrVersionRecordsNothing) {
    auto cause = MakeBanResponse();
    filter.AddFlowControl("", "1.0", cause.get(), 2);
    filter.AddFlowControl("mtop.test.api", "", cause.get(), 2);
    EXPECT_EQ(filter.EntryCount(), 0u);
    FilterResult result;
    EXPECT_EQ(Run(1, &result), nullptr);
}

TEST_F(ThresholdBeforeFilterTest, TheEndTimeIsSixtyFourBitAndHeldAtTheEndOfTheRange) {
    auto cause = MakeBanResponse();
    // Longer than a 32-bit count of nanoseconds could hold.
    filter.AddFlowControl("mtop.test.api", "1.0", cause.get(), 3);
    fakeNow.store(5 * kSecond + 3 * kSecond - 1);
    FilterResult during;
    EXPECT_NE(Run(1, &during), nullptr);
    // The longest ban there is, near the end of the clock's range: no overflow, still banned.
    fakeNow.store(std::numeric_limits<int64_t>::max() - kSecond);
    filter.AddFlowControl("mtop.test.api", "1.0", cause.get(), std::numeric_limits<int>::max());
    FilterResult late;
    EXPECT_NE(Run(2, &late), nullptr);
    fakeNow.store(std::numeric_limits<int64_t>::min() + kSecond);
    filter.AddFlowControl("mtop.test.api", "1.0", cause.get(), std::numeric_limits<int>::min());
    FilterResult negative;
    EXPECT_EQ(Run(3, &negative), nullptr);
}
