// The asynchronous calls whose objects the library hands to nobody, as it must: a call withdrawn
// by CancelCall keeps its request with nobody (the host cannot delete it), and a call without a
// callback leaves its response, and with it the request, to nobody. These objects are never
// freed, so this executable alone runs with leak detection off (tests/CMakeLists.txt); every
// other test keeps LeakSanitizer on. The releasing cancel, which frees the request, is tested
// with leak detection on in QuilServiceAsyncTest.
#include <gtest/gtest.h>

#include <string>

#include "NetworkPoolBarrier.h"
#include "QuilCallbackRecorder.h"
#include "QuilRequestImpl.h"
#include "QuilServiceImpl.h"
#include "ServiceTestHost.h"
#include "UTDataSet.h"

using quil::test::LogLine;
using quil::test::NetworkPoolBarrier;
using quil::test::QuilCallbackRecorder;
using quil::test::ServiceTestHost;

namespace {

class AsyncCallHandedToNobodyTest : public ::testing::Test {
protected:
    void SetUp() override {
        service = ServiceTestHost::Install();
        ASSERT_NE(service, nullptr);
        client().SetDefault(
            ServiceTestHost::GatewayAnswer("SUCCESS::call ok", "x-retcode: SUCCESS\r\n"));
        barrier.reset(new NetworkPoolBarrier(&client()));
        QuilConfig::GetInstance()->RegisterHttpClient(barrier.get());
    }
    void TearDown() override {
        client().OpenGate();
        EXPECT_TRUE(barrier->Drain());
        QuilConfig::GetInstance()->RegisterQuilLog(nullptr);
        QuilConfig::GetInstance()->RegisterUTStatistics(nullptr);
    }

    QuilRequest* NewRequest() {
        QuilRequest* request = QuilRequest::Create("mtop.cancel.api", "2.0");
        recorder.Attach(request);
        return request;
    }
    std::size_t AbandonedSize() { return service->calls.AbandonedCount(); }

    quil::test::RecordingLog& log() { return ServiceTestHost::Log(); }
    quil::test::ScriptedHttpClient& client() { return ServiceTestHost::Client(); }

    QuilServiceImpl* service = nullptr;
    std::unique_ptr<NetworkPoolBarrier> barrier;
    QuilCallbackRecorder recorder;
};

}  // namespace

TEST_F(AsyncCallHandedToNobodyTest,
       ACancelAfterTheEntryWentInFlightGetsNoCallbackEvenWhenAnswered) {
    client().CloseGate();
    QuilRequest* request = NewRequest();
    ASSERT_EQ(service->SendAsyncRequest(request), 0);
    ASSERT_TRUE(client().WaitForInFlight(1));
    service->CancelCall(request);
    LogLine line = log().Find("cancel QuilRequest id = 1, api = mtop.cancel.api, version = 2.0");
    EXPECT_EQ(line.level, QUIL_LOG_INFO);
    EXPECT_EQ(line.function, "CancelCall");
    EXPECT_TRUE(request->IsCancelled());
    // The client answers now; the answer finds no entry.
    client().OpenGate();
    ASSERT_TRUE(barrier->Drain());
    EXPECT_EQ(recorder.Count(), 0u);
    EXPECT_FALSE(log().Has("handle ut after filter, id: 1"));
    EXPECT_TRUE(ServiceTestHost::Statistics().PerformanceReports().empty());
    // The request is nobody's: not deleted, its measurements not closed.
    EXPECT_FALSE(log().Has("destory QuilRequestImpl, id: 1"));
    EXPECT_EQ(UTDataSet::GetInstance()->Size(), 1u);
    // The late answer itself was freed with its HttpRequest.
    EXPECT_EQ(AbandonedSize(), 0u);
    // A second cancel finds nothing.
    log().Clear();
    service->CancelCall(request);
    service->CancelCall(1);
    EXPECT_EQ(log().Count(), 0u);
}

TEST_F(AsyncCallHandedToNobodyTest, ACancelByIdWithdrawsTheCallOnTheNetwork) {
    client().CloseGate();
    QuilRequest* request = NewRequest();
    request->SetId(90);
    ASSERT_EQ(service->SendAsyncRequest(request), 0);
    ASSERT_TRUE(client().WaitForInFlight(1));
    service->CancelCall(90);
    EXPECT_TRUE(log().Has("cancel QuilRequest id = 90, api = mtop.cancel.api, version = 2.0",
                          QUIL_LOG_INFO));
    EXPECT_TRUE(request->IsCancelled());
    client().OpenGate();
    ASSERT_TRUE(barrier->Drain());
    EXPECT_EQ(recorder.Count(), 0u);
    EXPECT_FALSE(log().Has("destory QuilRequestImpl, id: 90"));
}

TEST_F(AsyncCallHandedToNobodyTest, ACallWithoutACallbackCompletesAndHandsItsResponseToNobody) {
    QuilRequest* request = QuilRequest::Create("mtop.nocallback", "1.0");
    ASSERT_EQ(service->SendAsyncRequest(request), 0);
    ASSERT_TRUE(quil::test::WaitUntil(
        [] { return ServiceTestHost::Statistics().PerformanceReports().size() == 1; }));
    ASSERT_TRUE(barrier->Drain());
    EXPECT_TRUE(log().Has("handle ut after filter, id: 1"));
    EXPECT_EQ(ServiceTestHost::Statistics().LastPerformanceReport().dimensions["errorCode"],
              "SUCCESS");
    EXPECT_FALSE(log().Has("destory QuilRequestImpl, id: 1"));
    EXPECT_FALSE(log().Has("destory QuilResponseImpl, id: 1"));
}
