#include "TimeCalibrationAfterFilter.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>
#include <memory>
#include <string>

#include "FilterTestObjects.h"
#include "Platform.h"
#include "QuilCallbackRecorder.h"
#include "QuilRequestImpl.h"
#include "QuilResponseImpl.h"
#include "ServiceTestHost.h"

using quil::test::LogLine;
using quil::test::RecordedRequest;
using quil::test::ServiceTestHost;

namespace {

class TimeCalibrationAfterFilterTest : public ::testing::Test {
protected:
    void SetUp() override {
        service = ServiceTestHost::Install();
        ServiceTestHost::Log().Clear();
    }
    void TearDown() override {
        // Lets every network worker finish before the process ends.
        EXPECT_TRUE(ServiceTestHost::Retire());
    }

    static quil::test::RecordingLog& log() { return ServiceTestHost::Log(); }
    static quil::test::ScriptedHttpClient& client() { return ServiceTestHost::Client(); }

    // The gateway's "expired" answer with the given server time header line (may be empty).
    static quil::test::ScriptedResponse Expired(const std::string& sysTimeLine) {
        return ServiceTestHost::GatewayAnswer(
            "FAIL_SYS_REQUEST_EXPIRED::request expired",
            "x-retcode: FAIL_SYS_REQUEST_EXPIRED\r\n" + sysTimeLine);
    }
    static std::string SysTimeLine(int64_t seconds) {
        return "x-systime: " + std::to_string(seconds) + "\r\n";
    }

    // The value of the "x-t" header line of a recorded send, as a number.
    static int64_t Timestamp(const RecordedRequest& sent) {
        for (const std::string& line : sent.header) {
            if (line.compare(0, 4, "x-t:") == 0) {
                return std::strtoll(line.c_str() + 4, nullptr, 10);
            }
        }
        ADD_FAILURE() << "no x-t line";
        return 0;
    }

    static QuilRequestImpl* NewRequest() { return new QuilRequestImpl("mtop.clock.api", "1.0"); }

    QuilServiceImpl* service = nullptr;
};

// A response that the filter sees directly, outside any call.
std::unique_ptr<QuilResponseImpl> ResponseWithHeader(const std::string& retCode) {
    auto response = quil::test::MakeGatewayErrorResponse();
    response->headers["x-retcode"] = retCode;
    response->retInfo->retCode = retCode;
    return response;
}

}  // namespace

TEST_F(TimeCalibrationAfterFilterTest, BearsItsNameInTheChain) {
    TimeCalibrationAfterFilter filter;
    EXPECT_STREQ(filter.GetName(), "a_time_calibration");
}

TEST_F(TimeCalibrationAfterFilterTest, ANullResponsePassesAfterTheEntryLine) {
    TimeCalibrationAfterFilter filter;
    auto request = quil::test::MakeFilterRequest(5);
    FilterResult result;
    result.code = 1;
    filter.HandleResponse(request.get(), nullptr, &result);
    EXPECT_EQ(result.code, 0);
    LogLine line = log().Find("handle time calibration after filter, id: 5");
    EXPECT_EQ(line.level, QUIL_LOG_VERBOSE);
    EXPECT_EQ(line.function, "HandleResponse");
    EXPECT_EQ(log().Count(), 1u);
    EXPECT_FALSE(service->timeCalibrated.load());
}

TEST_F(TimeCalibrationAfterFilterTest, TheRegisteredExpiredCodeDoesNotCalibrate) {
    TimeCalibrationAfterFilter filter;
    auto request = quil::test::MakeFilterRequest(6);
    auto response = ResponseWithHeader("FAIL_SYS_EXPIRED_REQUEST");
    FilterResult result;
    filter.HandleResponse(request.get(), response.get(), &result);
    EXPECT_EQ(result.code, 0);
    EXPECT_FALSE(service->timeCalibrated.load());
    EXPECT_EQ(service->timeOffset.load(), 0);
    EXPECT_EQ(request->retryTime, 0);
    EXPECT_EQ(log().Count(), 1u);
}

TEST_F(TimeCalibrationAfterFilterTest, AnExpiredCodeInTheBodyAloneDoesNotCalibrate) {
    TimeCalibrationAfterFilter filter;
    auto request = quil::test::MakeFilterRequest(7);
    auto response = quil::test::MakeGatewayErrorResponse();
    response->headers.clear();
    response->retInfo->retCode = "FAIL_SYS_REQUEST_EXPIRED";
    response->body = "{\"ret\":[\"FAIL_SYS_REQUEST_EXPIRED::expired\"]}";
    FilterResult result;
    filter.HandleResponse(request.get(), response.get(), &result);
    EXPECT_EQ(result.code, 0);
    EXPECT_FALSE(service->timeCalibrated.load());
    EXPECT_FALSE(log().Has("response expired, local time calibrate, id: 7"));
}

TEST_F(TimeCalibrationAfterFilterTest, ASkewedClockIsCorrectedAndTheCallerSeesOnlyTheSuccess) {
    const int64_t serverNow = quil::platform::WallClockSeconds() + 7200;
    client().Enqueue(Expired(SysTimeLine(serverNow)));
    client().Enqueue(ServiceTestHost::GatewayAnswer());
    std::unique_ptr<QuilResponse> response(service->SendSyncRequest(NewRequest()));
    ASSERT_NE(response, nullptr);
    EXPECT_TRUE(response->IsSuccess());
    EXPECT_EQ(response->GetRetInfo()->retCode, "SUCCESS");
    EXPECT_TRUE(log().Has("response expired, local time calibrate, id: 1", QUIL_LOG_WARN));
    EXPECT_EQ(log().Find("response expired, local time calibrate, id: 1").function,
              "HandleResponse");
    EXPECT_TRUE(service->timeCalibrated.load());
    EXPECT_NEAR(static_cast<double>(service->timeOffset.load()), 7200.0, 5.0);
    std::vector<RecordedRequest> sent = client().Requests();
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_NEAR(static_cast<double>(Timestamp(sent[1])), static_cast<double>(serverNow), 5.0);
    EXPECT_NEAR(static_cast<double>(Timestamp(sent[1]) - Timestamp(sent[0])), 7200.0, 5.0);
    EXPECT_EQ(ServiceTestHost::Statistics().PerformanceReports().size(), 1u);
    EXPECT_EQ(ServiceTestHost::Statistics().LastPerformanceReport().dimensions["retryTime"], "1");
    EXPECT_EQ(log().CountOf("start sync QuilRequest id = 1, api = mtop.clock.api, version = 1.0"),
              2u);
}

TEST_F(TimeCalibrationAfterFilterTest, ALaterCallCarriesTheOffsetFromTheStart) {
    const int64_t serverNow = quil::platform::WallClockSeconds() + 7200;
    client().Enqueue(Expired(SysTimeLine(serverNow)));
    client().Enqueue(ServiceTestHost::GatewayAnswer());
    client().Enqueue(ServiceTestHost::GatewayAnswer());
    std::unique_ptr<QuilResponse> first(service->SendSyncRequest(NewRequest()));
    std::unique_ptr<QuilResponse> second(service->SendSyncRequest(NewRequest()));
    ASSERT_NE(second, nullptr);
    EXPECT_TRUE(second->IsSuccess());
    std::vector<RecordedRequest> sent = client().Requests();
    ASSERT_EQ(sent.size(), 3u);
    EXPECT_NEAR(static_cast<double>(Timestamp(sent[2])), static_cast<double>(serverNow), 5.0);
    EXPECT_EQ(ServiceTestHost::Statistics().LastPerformanceReport().dimensions["retryTime"], "0");
}

TEST_F(TimeCalibrationAfterFilterTest, TheFourthRejectionEndsWithTheExpiredResponse) {
    const int64_t serverNow = quil::platform::WallClockSeconds() + 7200;
    client().SetDefault(Expired(SysTimeLine(serverNow)));
    std::unique_ptr<QuilResponse> response(service->SendSyncRequest(NewRequest()));
    ASSERT_NE(response, nullptr);
    EXPECT_EQ(client().SendCount(), 4u);
    EXPECT_EQ(response->GetRetInfo()->retCode, "FAIL_SYS_REQUEST_EXPIRED");
    EXPECT_EQ(log().CountOf("response expired, local time calibrate, id: 1"), 4u);
    EXPECT_EQ(log().CountOf("response get max retrtTime, id: 1"), 1u);
    EXPECT_TRUE(log().Has("response get max retrtTime, id: 1", QUIL_LOG_WARN));
    // The response that reached the bound went on down the chain: the error handlers saw it.
    EXPECT_TRUE(log().Has("handle with errorhandle default, action: 0", QUIL_LOG_WARN));
    EXPECT_EQ(ServiceTestHost::Statistics().LastPerformanceReport().dimensions["retryTime"], "3");
    EXPECT_TRUE(service->timeCalibrated.load());
}

TEST_F(TimeCalibrationAfterFilterTest, AMissingServerTimeSetsTheOffsetToMinusTheLocalTime) {
    client().Enqueue(Expired(""));
    client().Enqueue(ServiceTestHost::GatewayAnswer());
    std::unique_ptr<QuilResponse> response(service->SendSyncRequest(NewRequest()));
    const double now = static_cast<double>(quil::platform::WallClockSeconds());
    EXPECT_TRUE(service->timeCalibrated.load());
    EXPECT_NEAR(static_cast<double>(service->timeOffset.load()), -now, 5.0);
    // The retry carried the nonsense time the offset makes: about zero.
    std::vector<RecordedRequest> sent = client().Requests();
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_NEAR(static_cast<double>(Timestamp(sent[1])), 0.0, 5.0);
}

TEST_F(TimeCalibrationAfterFilterTest, AMalformedServerTimeSetsTheOffsetToMinusTheLocalTime) {
    client().Enqueue(Expired("x-systime: soon\r\n"));
    client().Enqueue(ServiceTestHost::GatewayAnswer());
    std::unique_ptr<QuilResponse> response(service->SendSyncRequest(NewRequest()));
    const double now = static_cast<double>(quil::platform::WallClockSeconds());
    EXPECT_TRUE(service->timeCalibrated.load());
    EXPECT_NEAR(static_cast<double>(service->timeOffset.load()), -now, 5.0);
}

TEST_F(TimeCalibrationAfterFilterTest, OnTheAsynchronousRoadOneCallbackComesAfterTheRetry) {
    const int64_t serverNow = quil::platform::WallClockSeconds() + 7200;
    client().Enqueue(Expired(SysTimeLine(serverNow)));
    client().Enqueue(ServiceTestHost::GatewayAnswer());
    quil::test::QuilCallbackRecorder recorder;
    QuilRequestImpl* request = NewRequest();
    recorder.Attach(request);
    ASSERT_EQ(service->SendAsyncRequest(request), 0);
    ASSERT_TRUE(recorder.WaitFor(1));
    ASSERT_TRUE(client().WaitForSends(2));
    std::vector<quil::test::Delivery> deliveries = recorder.Deliveries();
    ASSERT_EQ(deliveries.size(), 1u);
    EXPECT_EQ(deliveries[0].retCode, "SUCCESS");
    EXPECT_EQ(deliveries[0].id, 1);
    EXPECT_EQ(client().SendCount(), 2u);
    EXPECT_NEAR(static_cast<double>(Timestamp(client().Requests()[1])),
                static_cast<double>(serverNow), 5.0);
    EXPECT_TRUE(log().Has("response expired, local time calibrate, id: 1", QUIL_LOG_WARN));
    // The new pass resumed after "b_ut".
    EXPECT_TRUE(log().Has("request: 1 skip before filter: b_ut", QUIL_LOG_WARN));
    EXPECT_EQ(ServiceTestHost::Statistics().LastPerformanceReport().dimensions["retryTime"], "1");
}

// A server time at the edge of the type: strtoll holds "99999999999999999999" at the 64-bit
// maximum, and the offset and the next "x-t" stop there instead of overflowing.
TEST_F(TimeCalibrationAfterFilterTest, AServerTimeBeyondTheRangeHoldsTheNextTimestampAtTheLimit) {
    client().Enqueue(Expired("x-systime: 99999999999999999999\r\n"));
    client().Enqueue(ServiceTestHost::GatewayAnswer());
    const int64_t before = quil::platform::WallClockSeconds();
    std::unique_ptr<QuilResponse> response(service->SendSyncRequest(NewRequest()));
    const int64_t after = quil::platform::WallClockSeconds();
    ASSERT_NE(response, nullptr);
    EXPECT_TRUE(response->IsSuccess());
    EXPECT_TRUE(service->timeCalibrated.load());
    const int64_t offset = service->timeOffset.load();
    EXPECT_GE(offset, std::numeric_limits<int64_t>::max() - after);
    EXPECT_LE(offset, std::numeric_limits<int64_t>::max() - before);
    std::vector<RecordedRequest> sent = client().Requests();
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_EQ(Timestamp(sent[1]), std::numeric_limits<int64_t>::max());
}

TEST_F(TimeCalibrationAfterFilterTest, TheLowestServerTimeHoldsTheOffsetAtTheLimit) {
    client().Enqueue(Expired("x-systime: -9223372036854775808\r\n"));
    client().Enqueue(ServiceTestHost::GatewayAnswer());
    std::unique_ptr<QuilResponse> response(service->SendSyncRequest(NewRequest()));
    ASSERT_NE(response, nullptr);
    EXPECT_TRUE(response->IsSuccess());
    EXPECT_EQ(service->timeOffset.load(), std::numeric_limits<int64_t>::min());
    std::vector<RecordedRequest> sent = client().Requests();
    ASSERT_EQ(sent.size(), 2u);
    // The local clock added to the lowest offset: defined, and far in the past.
    EXPECT_LT(Timestamp(sent[1]), std::numeric_limits<int64_t>::min() + 4102444800LL);
}

// The offset a server at the maximum teaches, read a second or more later: the clock has moved
// on, and the sum would pass the maximum.
TEST_F(TimeCalibrationAfterFilterTest, AnOffsetAtTheLimitHoldsTheTimestampThere) {
    service->Calibrate(std::numeric_limits<int64_t>::max());
    client().Enqueue(ServiceTestHost::GatewayAnswer());
    std::unique_ptr<QuilResponse> response(service->SendSyncRequest(NewRequest()));
    ASSERT_NE(response, nullptr);
    EXPECT_TRUE(response->IsSuccess());
    std::vector<RecordedRequest> sent = client().Requests();
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(Timestamp(sent[0]), std::numeric_limits<int64_t>::max());
}
