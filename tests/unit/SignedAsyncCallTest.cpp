// Whole asynchronous calls through QuilService with the real signing bridge, which loads the
// stand-in security library on the service's worker at the first call: the signed exchange
// answered in the host's callback, and the exact failure in the callback when signing fails.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "NetworkPoolBarrier.h"
#include "QuilCallbackRecorder.h"
#include "QuilConfig.h"
#include "QuilRequestImpl.h"
#include "QuilServiceImpl.h"
#include "ScriptedHttpClient.h"
#include "SignBridgeFixture.h"
#include "StandInSignature.h"

namespace {

using quil::test::Delivery;
using quil::test::NetworkPoolBarrier;
using quil::test::QuilCallbackRecorder;
using quil::test::RecordedRequest;
using quil::test::ScriptedHttpClient;
using quil::test::ScriptedResponse;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

// The service keeps the client for the life of the process.
ScriptedHttpClient& Client() {
    static ScriptedHttpClient* client = new ScriptedHttpClient();
    return *client;
}

class SignedAsyncCallTest : public quil::test::SignBridgeFixture {
protected:
    void SetUp() override {
        SignBridgeFixture::SetUp();
        barrier.reset(new NetworkPoolBarrier(&Client()));
        QuilConfig::GetInstance()->RegisterHttpClient(barrier.get());
        ScriptedResponse answer;
        answer.statusCode = 200;
        answer.header = "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\n";
        answer.body = "{\"data\":{},\"ret\":[\"SUCCESS::call ok\"]}";
        Client().SetDefault(answer);
        service = dynamic_cast<QuilServiceImpl*>(QuilService::GetInstance());
        ASSERT_NE(service, nullptr);
        // The sign input of each call, taken in its callback while the request still lives.
        recorder.SetOnDeliver([this](QuilResponse* response) {
            if (response == nullptr) return;
            std::string input;
            service->GetOriginalSignUrl(
                input, dynamic_cast<QuilRequestImpl*>(response->GetRequest()), true);
            std::lock_guard<std::mutex> lock(inputsMutex);
            inputs.push_back(input);
        });
    }
    void TearDown() override {
        EXPECT_TRUE(barrier->Drain());
        SignBridgeFixture::TearDown();
    }

    // Queues calls and waits for all their callbacks; the stand-in's start messages are kept
    // off the test output.
    bool Calls(int count) {
        CaptureStdout();
        for (int i = 0; i < count; ++i) {
            QuilRequest* request = QuilRequest::Create("mtop.quil.signed.async", "1.0");
            request->AddData("index", i);
            recorder.Attach(request);
            if (service->SendAsyncRequest(request) != 0) {
                GetCapturedStdout();
                return false;
            }
        }
        const bool all = recorder.WaitFor(static_cast<std::size_t>(count));
        GetCapturedStdout();
        return all;
    }

    static bool HasLine(const RecordedRequest& request, const std::string& line) {
        return std::find(request.header.begin(), request.header.end(), line) !=
               request.header.end();
    }

    QuilServiceImpl* service = nullptr;
    std::unique_ptr<NetworkPoolBarrier> barrier;
    QuilCallbackRecorder recorder;
    std::mutex inputsMutex;  // guards inputs
    std::vector<std::string> inputs;
};

TEST_F(SignedAsyncCallTest, CallsAreSignedByTheStandInAndAnsweredInTheirCallbacks) {
    ASSERT_TRUE(Calls(3));
    ASSERT_TRUE(barrier->Drain());
    EXPECT_EQ(service->sign.load(), QuilSignImpl::GetInstance());
    EXPECT_EQ(control.Count("jsonSign.start"), 1);
    for (const Delivery& delivery : recorder.Deliveries()) {
        EXPECT_EQ(delivery.retCode, "SUCCESS");
        EXPECT_EQ(delivery.errorType, 0);
    }
    std::vector<RecordedRequest> sent = Client().Requests();
    ASSERT_EQ(sent.size(), 3u);
    std::lock_guard<std::mutex> lock(inputsMutex);
    ASSERT_EQ(inputs.size(), 3u);
    // Each send carries the stand-in's signature of one call's sign input.
    for (const RecordedRequest& request : sent) {
        int matches = 0;
        for (const std::string& input : inputs) {
            if (HasLine(request,
                        "x-standin-sign:" +
                            quil::standin::Signature(kAppKey, quil::standin::kLabelJson, input)))
                ++matches;
        }
        EXPECT_EQ(matches, 1) << request.cancelKey;
        EXPECT_TRUE(HasLine(request, "x-pv:6.3"));
    }
    EXPECT_EQ(statistics->PerformanceReports().size(), 3u);
    EXPECT_EQ(statistics->LastPerformanceReport().dimensions["protocolVersion"], "6.3");
    EXPECT_EQ(statistics->LastPerformanceReport().dimensions["isSync"], "false");
}

TEST_F(SignedAsyncCallTest, WhenBothRoadsFailTheCallbackGetsTheWideRoadsCode) {
    control.SetInt("jsonSign.fail", 1);
    control.SetInt("jsonSign.code", 77);
    control.SetInt("urlSign.fail", 1);
    control.SetInt("urlSign.code", 55);
    ASSERT_TRUE(Calls(1));
    Delivery delivery = recorder.Deliveries()[0];
    EXPECT_EQ(delivery.retCode, "FAIL_SYS_SIGN_ERROR");
    EXPECT_EQ(delivery.retMsg, "url sign fail, signError = 55");
    EXPECT_EQ(delivery.errorType, 1);
    EXPECT_TRUE(log->Has("async QuilRequest security sign fail id = 1", QUIL_LOG_ERROR));
    EXPECT_EQ(Client().SendCount(), 0u);
}

}  // namespace
