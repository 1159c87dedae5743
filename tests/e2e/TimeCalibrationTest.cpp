// A host whose clock is two hours behind the gateway's, end to end: the first expired answer
// teaches the library the gateway's clock, the call runs again with a corrected "x-t", the
// caller sees only the success, and later calls carry the offset from the start. A gateway
// that never stops answering "expired" gets four passes, and the caller its expired answer.
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <ctime>
#include <mutex>
#include <string>
#include <vector>

#include "E2eHost.h"
#include "RecordingLog.h"

namespace quil {
namespace test {
namespace {

constexpr int64_t kAhead = 2 * 60 * 60;

GatewayEmulatorOptions AheadByTwoHours() {
    GatewayEmulatorOptions options;
    options.clockOffsetSeconds = kAhead;
    return options;
}

// The "x-t" of one exchange as the gateway received it.
int64_t SentTimestamp(const RecordedExchange& exchange) {
    for (const std::string& line : exchange.headerLines) {
        if (line.compare(0, 4, "x-t:") == 0) {
            return std::strtoll(line.c_str() + 4, nullptr, 10);
        }
    }
    ADD_FAILURE() << "no x-t line";
    return 0;
}

double Distance(int64_t a, int64_t b) { return static_cast<double>(a > b ? a - b : b - a); }

// One asynchronous completion, waited for with a limit.
struct OneCallback {
    static void OnResponse(QuilResponse* response, void* userData) {
        OneCallback* self = static_cast<OneCallback*>(userData);
        std::lock_guard<std::mutex> lock(self->mutex);
        self->responses.emplace_back(response);
        self->changed.notify_all();
    }
    bool WaitFor(std::size_t count) {
        std::unique_lock<std::mutex> lock(mutex);
        return changed.wait_for(lock, std::chrono::seconds(10),
                                [&] { return responses.size() >= count; });
    }
    std::mutex mutex;  // guards responses
    std::condition_variable changed;
    std::vector<ResponsePtr> responses;
};

class TimeCalibration : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(host.Start());
        QuilConfig::GetInstance()->RegisterQuilLog(&log);
        QuilConfig::GetInstance()->SetQuilLogLevel(QUIL_LOG_VERBOSE);
    }
    void TearDown() override {
        EXPECT_TRUE(host.Client().WaitForEveryCompletion(std::chrono::seconds(10)));
        QuilConfig::GetInstance()->RegisterQuilLog(nullptr);
    }
    std::string RetryTimeOfLastReport() {
        const std::vector<StatisticsCall> reports =
            host.Statistics().Calls("CommitPoint", "performance");
        if (reports.empty()) return "none";
        return reports.back().Dimension("retryTime");
    }
    E2eHost host{AheadByTwoHours()};
    RecordingLog log;
};

}  // namespace

TEST_F(TimeCalibration, ASkewedHostSucceedsAfterExactlyOneRetry) {
    ResponsePtr response = host.Call(QuilRequest::Create("e2e.echo", "1.0"));
    ASSERT_NE(response, nullptr);
    EXPECT_TRUE(response->IsSuccess());
    EXPECT_EQ(response->GetRetInfo()->retCode, "SUCCESS");

    const std::vector<RecordedExchange> exchanges = host.Client().Exchanges();
    ASSERT_EQ(exchanges.size(), 2u);
    EXPECT_NE(exchanges[0].responseHeader.find("FAIL_SYS_REQUEST_EXPIRED"), std::string::npos);
    EXPECT_LT(Distance(SentTimestamp(exchanges[1]), host.Gateway().Settings().Now()), 10.0);
    EXPECT_EQ(RetryTimeOfLastReport(), "1");
    EXPECT_EQ(host.Statistics().Calls("CommitPoint", "performance").size(), 1u);
    EXPECT_TRUE(log.Has("response expired, local time calibrate, id: 1", QUIL_LOG_WARN));
    EXPECT_FALSE(log.Has("response get max retrtTime, id: 1"));

    // A later call carries the offset from its first pass.
    ResponsePtr later = host.Call(QuilRequest::Create("e2e.echo", "1.0"));
    ASSERT_NE(later, nullptr);
    EXPECT_TRUE(later->IsSuccess());
    ASSERT_EQ(host.Client().Count(), 3u);
    EXPECT_LT(
        Distance(SentTimestamp(host.Client().Exchanges()[2]), host.Gateway().Settings().Now()),
        10.0);
    EXPECT_EQ(RetryTimeOfLastReport(), "0");
}

TEST_F(TimeCalibration, OnTheAsynchronousRoadOneCallbackComesAfterTheRetry) {
    OneCallback callback;
    QuilRequest* request = QuilRequest::Create("e2e.echo", "1.0");
    request->SetCallback(&OneCallback::OnResponse);
    request->SetUserData(&callback);
    ASSERT_EQ(QuilService::GetInstance()->SendAsyncRequest(request), 0);
    ASSERT_TRUE(callback.WaitFor(1));
    ASSERT_TRUE(host.Client().WaitForExchanges(2, std::chrono::seconds(10)));
    std::lock_guard<std::mutex> lock(callback.mutex);
    ASSERT_EQ(callback.responses.size(), 1u);
    EXPECT_TRUE(callback.responses[0]->IsSuccess());
    EXPECT_EQ(host.Client().Count(), 2u);
    EXPECT_EQ(RetryTimeOfLastReport(), "1");
}

TEST_F(TimeCalibration, AGatewayThatAlwaysAnswersExpiredGetsFourPasses) {
    ScriptedAnswer expired;
    expired.status = 200;
    expired.headers = {{"x-retcode", "FAIL_SYS_REQUEST_EXPIRED"},
                       {"x-systime", std::to_string(host.Gateway().Settings().Now())},
                       {"Content-Type", "application/json"}};
    expired.body = "{\"data\":{},\"ret\":[\"FAIL_SYS_REQUEST_EXPIRED::request expired\"]}";
    expired.times = -1;
    host.Gateway().Settings().AddScript("e2e.echo", {expired});
    ResponsePtr response = host.Call(QuilRequest::Create("e2e.echo", "1.0"));
    ASSERT_NE(response, nullptr);
    EXPECT_FALSE(response->IsSuccess());
    EXPECT_EQ(response->GetRetInfo()->retCode, "FAIL_SYS_REQUEST_EXPIRED");
    EXPECT_EQ(host.Client().Count(), 4u);
    EXPECT_EQ(host.Gateway().RequestCount(), 4u);
    EXPECT_EQ(RetryTimeOfLastReport(), "3");
    EXPECT_EQ(log.CountOf("response expired, local time calibrate, id: 1"), 4u);
    EXPECT_TRUE(log.Has("response get max retrtTime, id: 1", QUIL_LOG_WARN));
}

}  // namespace test
}  // namespace quil
