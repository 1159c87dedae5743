// The traffic-protection filter and the ban table inside the whole pipeline, over the scripted
// signing bridge and transport: resends on both roads, bans that refuse calls locally, the
// bound on resends, and the filter as the default cookie storage.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "FakeCookieStorage.h"
#include "NetworkPoolBarrier.h"
#include "QuilCallbackRecorder.h"
#include "QuilResponseImpl.h"
#include "QuilServiceImpl.h"
#include "SecurityKolvaAfterFilter.h"
#include "ServiceTestHost.h"

using quil::test::Delivery;
using quil::test::FakeCookieStorage;
using quil::test::NetworkPoolBarrier;
using quil::test::QuilCallbackRecorder;
using quil::test::RecordedRequest;
using quil::test::ScriptedResponse;
using quil::test::ServiceTestHost;
using quil::test::Verdict;

namespace {

ScriptedResponse Challenge(int status) {
    ScriptedResponse response;
    response.statusCode = status;
    response.header = "HTTP/1.1 " + std::to_string(status) +
                      " Challenge\r\nx-retcode: FAIL_SYS_TRAFFIC_LIMIT\r\n";
    response.body = "{\"ret\":[\"FAIL_SYS_TRAFFIC_LIMIT::busy\"]}";
    return response;
}

bool HasHeaderLine(const RecordedRequest& request, const std::string& line) {
    return std::find(request.header.begin(), request.header.end(), line) != request.header.end();
}

class TrafficProtectionPipelineTest : public ::testing::Test {
protected:
    void SetUp() override {
        service = ServiceTestHost::Install();
        ServiceTestHost::Client().SetDefault(
            ServiceTestHost::GatewayAnswer("SUCCESS::call ok", "x-retcode: SUCCESS\r\n"));
        barrier.reset(new NetworkPoolBarrier(&ServiceTestHost::Client()));
        QuilConfig::GetInstance()->RegisterHttpClient(barrier.get());
    }
    void TearDown() override {
        EXPECT_TRUE(barrier->Drain());
        QuilConfig::GetInstance()->RegisterQuilLog(nullptr);
        QuilConfig::GetInstance()->RegisterUTStatistics(nullptr);
    }
    static QuilRequest* NewRequest(const std::string& version = "1.0") {
        QuilRequest* request = QuilRequest::Create("mtop.test.api", version);
        request->AddData("key", std::string("value"));
        return request;
    }
    std::unique_ptr<QuilResponse> Sync(QuilRequest* request) {
        return std::unique_ptr<QuilResponse>(service->SendSyncRequest(request));
    }
    static quil::test::RecordingLog& log() { return ServiceTestHost::Log(); }
    static quil::test::ScriptedHttpClient& client() { return ServiceTestHost::Client(); }

    QuilServiceImpl* service = nullptr;
    std::unique_ptr<NetworkPoolBarrier> barrier;
    QuilCallbackRecorder recorder;
};

}  // namespace

TEST_F(TrafficProtectionPipelineTest, ASyncResendCarriesTheParameterAndTheCallerSeesOneAnswer) {
    client().Enqueue(Challenge(420));
    ServiceTestHost::Sign().EnqueueVerdict(Verdict(4, 7, "token-1"));
    auto response = Sync(NewRequest());
    ASSERT_NE(response, nullptr);
    EXPECT_EQ(response->GetStatusCode(), 200);
    EXPECT_EQ(response->GetRetInfo()->retCode, "SUCCESS");
    std::vector<RecordedRequest> sent = client().Requests();
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_FALSE(HasHeaderLine(sent[0], "x-kv-resend:token-1"));
    EXPECT_TRUE(HasHeaderLine(sent[1], "x-kv-resend:token-1"));
    EXPECT_TRUE(log().Has("response flow control need retry, id: 1", QUIL_LOG_WARN));
    EXPECT_TRUE(log().Has("request: 1 interupt at after filter: a_security_kolva", QUIL_LOG_WARN));
    // The nested pass judged its own 200 and let it pass.
    EXPECT_EQ(ServiceTestHost::Sign().ContentCalls().size(), 1u);
}

TEST_F(TrafficProtectionPipelineTest, AnAsyncResendIsAnsweredOnceWithTheResentCallsAnswer) {
    client().Enqueue(Challenge(420));
    ServiceTestHost::Sign().EnqueueVerdict(Verdict(4, 0, "token-2"));
    QuilRequest* request = NewRequest();
    recorder.Attach(request);
    ASSERT_EQ(service->SendAsyncRequest(request), 0);
    ASSERT_TRUE(recorder.WaitFor(1));
    ASSERT_TRUE(barrier->Drain());
    std::vector<Delivery> deliveries = recorder.Deliveries();
    ASSERT_EQ(deliveries.size(), 1u);
    EXPECT_EQ(deliveries[0].statusCode, 200);
    EXPECT_EQ(deliveries[0].retCode, "SUCCESS");
    std::vector<RecordedRequest> sent = client().Requests();
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_TRUE(HasHeaderLine(sent[1], "x-kv-resend:token-2"));
    EXPECT_TRUE(log().Has("request: 1 skip before filter: b_ut", QUIL_LOG_WARN));
}

TEST_F(TrafficProtectionPipelineTest, AnEmptyParameterKeepsTheHeaderOfAnEarlierPass) {
    client().Enqueue(Challenge(419));
    client().Enqueue(Challenge(419));
    ServiceTestHost::Sign().EnqueueVerdict(Verdict(4, 0, "first"));
    ServiceTestHost::Sign().EnqueueVerdict(Verdict(4, 0, ""));
    auto response = Sync(NewRequest());
    ASSERT_NE(response, nullptr);
    EXPECT_EQ(response->GetStatusCode(), 200);
    std::vector<RecordedRequest> sent = client().Requests();
    ASSERT_EQ(sent.size(), 3u);
    EXPECT_TRUE(HasHeaderLine(sent[1], "x-kv-resend:first"));
    EXPECT_TRUE(HasHeaderLine(sent[2], "x-kv-resend:first"));
}

TEST_F(TrafficProtectionPipelineTest, ALibraryThatAlwaysSaysResendEndsAtThePassLimit) {
    client().SetDefault(Challenge(419));
    ServiceTestHost::Sign().SetDefaultVerdict(Verdict(4, 0, "again"));
    auto response = Sync(NewRequest());
    ASSERT_NE(response, nullptr);
    // The first pass and 64 resends; the last answer is what the caller sees.
    EXPECT_EQ(client().SendCount(), 65u);
    EXPECT_EQ(response->GetStatusCode(), 419);
    EXPECT_EQ(response->GetRetInfo()->retCode, "FAIL_SYS_TRAFFIC_LIMIT");
    EXPECT_TRUE(
        log().Has("response flow control resend limit reached, id: 1, passes: 64", QUIL_LOG_ERROR));
}

TEST_F(TrafficProtectionPipelineTest, ABanRefusesLaterCallsOnBothRoadsForEveryAccount) {
    client().Enqueue(Challenge(419));
    ServiceTestHost::Sign().EnqueueVerdict(Verdict(1, 4, "{\"kv-sleep\":\"60000\"}"));
    auto first = Sync(NewRequest());
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->GetStatusCode(), 419);
    ASSERT_EQ(client().SendCount(), 1u);

    QuilRequest* other = NewRequest();
    other->SetUserInfo("alice");
    auto refused = Sync(other);
    ASSERT_NE(refused, nullptr);
    EXPECT_EQ(refused->GetStatusCode(), 419);
    EXPECT_EQ(refused->GetRetInfo()->retCode, "FAIL_SYS_TRAFFIC_LIMIT");
    EXPECT_EQ(refused->GetRequest(), other);
    EXPECT_TRUE(log().Has("sync QuilRequest before filter stop id = 2", QUIL_LOG_ERROR));

    QuilRequest* queued = NewRequest();
    recorder.Attach(queued);
    ASSERT_EQ(service->SendAsyncRequest(queued), 0);
    ASSERT_TRUE(recorder.WaitFor(1));
    EXPECT_EQ(recorder.Deliveries()[0].statusCode, 419);
    EXPECT_TRUE(log().Has("async QuilRequest before filter stop id = 3", QUIL_LOG_ERROR));
    EXPECT_EQ(client().SendCount(), 1u);

    // Another version of the same API goes out.
    auto otherVersion = Sync(NewRequest("2.0"));
    ASSERT_NE(otherVersion, nullptr);
    EXPECT_EQ(otherVersion->GetStatusCode(), 200);
    EXPECT_EQ(client().SendCount(), 2u);
}

TEST_F(TrafficProtectionPipelineTest, TheFilterIsTheCookieStorageWhileTheHostRegistersNone) {
    ServiceTestHost::Sign().SetCookies("kv=abc");
    auto response = Sync(NewRequest());
    ASSERT_NE(response, nullptr);
    ASSERT_EQ(client().SendCount(), 1u);
    EXPECT_TRUE(HasHeaderLine(client().Requests()[0], "Cookie:kv=abc"));
    ASSERT_EQ(ServiceTestHost::Sign().CookieUrls().size(), 1u);
    EXPECT_EQ(ServiceTestHost::Sign().CookieUrls()[0], client().Requests()[0].url);

    // A storage the host registers later wins.
    FakeCookieStorage host("host=1");
    QuilConfig::GetInstance()->RegisterCookieStorage(&host);
    auto second = Sync(NewRequest());
    ASSERT_EQ(client().SendCount(), 2u);
    EXPECT_TRUE(HasHeaderLine(client().Requests()[1], "Cookie:host=1"));
    EXPECT_FALSE(HasHeaderLine(client().Requests()[1], "Cookie:kv=abc"));
    EXPECT_EQ(ServiceTestHost::Sign().CookieUrls().size(), 1u);
}

TEST_F(TrafficProtectionPipelineTest, AnAsyncCallThatIsAlwaysResentEndsOnceAtThePassLimit) {
    client().SetDefault(Challenge(421));
    ServiceTestHost::Sign().SetDefaultVerdict(Verdict(4, 1, "again"));
    QuilRequest* request = NewRequest();
    recorder.Attach(request);
    ASSERT_EQ(service->SendAsyncRequest(request), 0);
    ASSERT_TRUE(recorder.WaitFor(1));
    ASSERT_TRUE(barrier->Drain());
    ASSERT_EQ(recorder.Count(), 1u);
    EXPECT_EQ(recorder.Deliveries()[0].statusCode, 421);
    EXPECT_EQ(client().SendCount(), 65u);
    EXPECT_TRUE(
        log().Has("response flow control resend limit reached, id: 1, passes: 64", QUIL_LOG_ERROR));
}
