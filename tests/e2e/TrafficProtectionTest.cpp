// The gateway's traffic protection end to end: the emulator answers 419, 420 or 421, the
// library hands the answer to the stand-in security library, and acts on its verdict: a ban
// refuses later calls locally (not a byte reaches the emulator) until it is over, a resend
// goes out again with the library's parameter. The stand-in's cookies go out with each
// request while the host registers no cookie storage of its own.
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "E2eHost.h"
#include "FakeCookieStorage.h"

namespace quil {
namespace test {
namespace {

constexpr std::chrono::seconds kLimit(10);

// Takes the responses of asynchronous calls; owns them from then on.
class Deliveries {
public:
    static void OnResponse(QuilResponse* response, void* userData) {
        Deliveries* self = static_cast<Deliveries*>(userData);
        std::lock_guard<std::mutex> lock(self->mutex_);
        self->responses_.emplace_back(response);
        self->changed_.notify_all();
    }
    bool WaitFor(std::size_t count) {
        std::unique_lock<std::mutex> lock(mutex_);
        return changed_.wait_for(lock, kLimit, [&] { return responses_.size() >= count; });
    }
    int StatusAt(std::size_t index) {
        std::lock_guard<std::mutex> lock(mutex_);
        return index < responses_.size() ? responses_[index]->GetStatusCode() : -1;
    }

private:
    std::mutex mutex_;  // guards responses_
    std::condition_variable changed_;
    std::vector<ResponsePtr> responses_;
};

ScriptedAnswer Challenge(int status) {
    ScriptedAnswer answer;
    answer.status = status;
    answer.headers = {{"x-retcode", "FAIL_SYS_USER_VALIDATE"}};
    answer.body = R"({"ret":["FAIL_SYS_USER_VALIDATE::busy"]})";
    return answer;
}

class TrafficProtection : public ::testing::Test {
protected:
    // Every exchange here is synchronous; the one asynchronous call is refused before any.
    void SetUp() override { ASSERT_TRUE(host.Start()); }

    static QuilRequest* NewCall(const std::string& version = "1.0",
                                const std::string& account = "") {
        QuilRequest* request = QuilRequest::Create("e2e.guarded", version);
        request->AddData("k", std::string("v"));
        if (!account.empty()) request->SetUserInfo(account);
        return request;
    }
    void Verdict(int mainAction, int subAction, const char* param) {
        host.StandIn().SetInt("traffic.mainAction", mainAction);
        host.StandIn().SetInt("traffic.subAction", subAction);
        host.StandIn().SetText("traffic.param", param);
    }

    E2eHost host;
};

TEST_F(TrafficProtection, ABanRefusesTheApiLocallyForEveryAccountOnBothRoadsUntilItEnds) {
    host.Gateway().Script("e2e.guarded", {Challenge(419)});
    Verdict(1, 4, R"({"kv-sleep":"2000"})");

    ResponsePtr first = host.Call(NewCall());
    // The ban was set inside that call, on the steady clock the library reads as well, so it
    // ends two seconds after this moment at the latest.
    const auto banOverBy = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->GetStatusCode(), 419);
    ASSERT_EQ(host.Gateway().RequestCount(), 1u);
    EXPECT_EQ(host.StandIn().Count("traffic.processContent"), 1);

    // Refused locally with a copy of the stored answer, from another account too.
    ResponsePtr refused = host.Call(NewCall("1.0", "second-account"));
    ASSERT_NE(refused, nullptr);
    EXPECT_EQ(refused->GetStatusCode(), 419);
    EXPECT_EQ(refused->GetRetInfo()->retCode, "FAIL_SYS_USER_VALIDATE");
    EXPECT_EQ(refused->GetBody(), R"({"ret":["FAIL_SYS_USER_VALIDATE::busy"]})");

    Deliveries deliveries;
    QuilRequest* queued = NewCall();
    queued->SetCallback(&Deliveries::OnResponse);
    queued->SetUserData(&deliveries);
    ASSERT_EQ(QuilService::GetInstance()->SendAsyncRequest(queued), 0);
    ASSERT_TRUE(deliveries.WaitFor(1));
    EXPECT_EQ(deliveries.StatusAt(0), 419);
    EXPECT_EQ(host.Gateway().RequestCount(), 1u);
    EXPECT_EQ(host.Client().Count(), 1u);

    // Another version of the API is not banned.
    ResponsePtr otherVersion = host.Call(NewCall("2.0"));
    ASSERT_NE(otherVersion, nullptr);
    EXPECT_EQ(otherVersion->GetStatusCode(), 200);
    EXPECT_EQ(host.Gateway().RequestCount(), 2u);

    // Once the ban's end has passed (a clock equal to the end counts as over), the call goes out
    // again. The end is known, not guessed: the wait is for that moment of the clock.
    std::this_thread::sleep_until(banOverBy);
    ResponsePtr again = host.Call(NewCall());
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(again->GetStatusCode(), 200);
    EXPECT_EQ(host.Gateway().RequestCount(), 3u);
}

TEST_F(TrafficProtection, AResendCarriesTheLibrarysParameterAndTheCallerSeesOneAnswer) {
    host.Gateway().Script("e2e.guarded", {Challenge(420)});
    Verdict(4, 0, "resend-token-1");
    ResponsePtr response = host.Call(NewCall());
    ASSERT_NE(response, nullptr);
    EXPECT_EQ(response->GetStatusCode(), 200);
    EXPECT_EQ(response->GetRetInfo()->retCode, "SUCCESS");
    ASSERT_EQ(host.Gateway().RequestCount(), 2u);
    std::vector<ReceivedRequest> received = host.Gateway().Requests();
    EXPECT_FALSE(received[0].HasHeader("x-kv-resend"));
    EXPECT_EQ(received[1].Header("x-kv-resend"), "resend-token-1");
    EXPECT_EQ(received[1].answerCode, "SUCCESS");
    // The stand-in judged the 420 only: the 200 of the resend never reaches it.
    EXPECT_EQ(host.StandIn().Count("traffic.processContent"), 1);
    std::vector<std::string> content = host.StandIn().Texts("traffic.content");
    ASSERT_EQ(content.size(), 1u);
    EXPECT_EQ(content[0].rfind("{\"header\":{", 0), 0u);
    EXPECT_NE(content[0].find("\"native_login\":\"true\""), std::string::npos);
    EXPECT_NE(content[0].find("\"x-retcode\":\"FAIL_SYS_USER_VALIDATE\""), std::string::npos);
    EXPECT_EQ(content[0].substr(content[0].size() - 16), "\"httpCode\":420}\n");
}

TEST_F(TrafficProtection, OnlyFourNineteenToFourTwentyOneReachTheLibrary) {
    host.Gateway().Script("e2e.guarded", {Challenge(418), Challenge(422), Challenge(421)});
    for (int status : {418, 422, 421}) {
        ResponsePtr response = host.Call(NewCall());
        ASSERT_NE(response, nullptr);
        EXPECT_EQ(response->GetStatusCode(), status);
        EXPECT_EQ(host.StandIn().Count("traffic.processContent"), status == 421 ? 1 : 0);
    }
}

TEST_F(TrafficProtection, WithSecurityDisabledNothingIsJudgedNoCookiesGoAndTheAnswerPasses) {
    QuilConfig::GetInstance()->securityEnabled = false;
    host.StandIn().SetText("traffic.cookies", "kv=e2e");
    host.Gateway().Script("e2e.guarded", {Challenge(419)});
    Verdict(1, 4, R"({"kv-sleep":"60000"})");
    ResponsePtr first = host.Call(NewCall());
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->GetStatusCode(), 419);
    ResponsePtr second = host.Call(NewCall());
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(second->GetStatusCode(), 200);  // no ban was recorded
    EXPECT_EQ(host.StandIn().Count("traffic.processContent"), 0);
    EXPECT_EQ(host.StandIn().Count("traffic.getCookies"), 0);
    EXPECT_FALSE(host.Gateway().Requests().at(0).HasHeader("Cookie"));
}

TEST_F(TrafficProtection, TheLibrarysCookiesGoOutUntilTheHostRegistersAStorage) {
    host.StandIn().SetText("traffic.cookies", "kv=e2e; kv2=2");
    ResponsePtr first = host.Call(NewCall());
    ASSERT_NE(first, nullptr);
    ASSERT_EQ(host.Gateway().RequestCount(), 1u);
    EXPECT_EQ(host.Gateway().Requests().at(0).Header("Cookie"), "kv=e2e; kv2=2");
    std::vector<std::string> urls = host.StandIn().Texts("traffic.cookieUrl");
    ASSERT_EQ(urls.size(), 1u);
    EXPECT_EQ(urls[0], host.Client().Exchanges().at(0).url);

    FakeCookieStorage storage("host=1");
    QuilConfig::GetInstance()->RegisterCookieStorage(&storage);
    ResponsePtr second = host.Call(NewCall());
    ASSERT_NE(second, nullptr);
    ASSERT_EQ(host.Gateway().RequestCount(), 2u);
    EXPECT_EQ(host.Gateway().Requests().at(1).Header("Cookie"), "host=1");
    EXPECT_EQ(host.StandIn().Count("traffic.getCookies"), 1);
}

}  // namespace
}  // namespace test
}  // namespace quil
