#include "ZentDispatcher.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "DispatchTestHost.h"
#include "QuilBuildConfig.h"
#include "QuilConfig.h"
#include "ZentDispatch.h"

using quil::test::DispatchTestHost;
using quil::test::RecordedRequest;
using quil::test::ScriptedResponse;
using quil::test::ScriptedSignOutcome;
using quil::test::ServiceTestHost;

namespace {

const char kDomain[] = "gw.quil.example";

class ZentDispatcherTest : public ::testing::Test {
protected:
    void SetUp() override {
        dispatcher = DispatchTestHost::Install();
        QuilConfig* config = QuilConfig::GetInstance();
        config->appName = "Quil Demo";
        config->appVersion = "1.0";
        config->utdid = "utdid-1";
        config->lat = "30.1";
        config->lng = "120.2";
    }
    void TearDown() override { QuilConfig::GetInstance()->RegisterQuilLog(nullptr); }

    quil::test::RecordingLog& log() { return ServiceTestHost::Log(); }
    quil::test::ScriptedHttpClient& client() { return ServiceTestHost::Client(); }
    quil::test::ScriptedSign& sign() { return ServiceTestHost::Sign(); }

    // Looks domain up, which starts request number count, and waits for it to end.
    void RequestAndWait(const std::string& domain, int count) {
        std::string ip = "unset";
        zentDomainDispatch(domain, ip);
        EXPECT_EQ(ip, "");
        ASSERT_TRUE(DispatchTestHost::WaitForRequestsDone(count));
    }

    std::string Lookup(const std::string& domain) {
        std::string ip = "unset";
        zentDomainDispatch(domain, ip);
        return ip;
    }

    ZentDispatcher* dispatcher = nullptr;
};

}  // namespace

TEST_F(ZentDispatcherTest, TheFirstLookupAnswersEmptyAndStartsOneRequest) {
    client().Enqueue(DispatchTestHost::Answer(DispatchTestHost::DnsText(kDomain, {"10.0.0.1"})));
    RequestAndWait(kDomain, 1);
    EXPECT_TRUE(log().Has("ZENT request for domain: gw.quil.example", 1));
    EXPECT_EQ(log().Find("ZENT request for domain: gw.quil.example").function, "DomainDispatch");
    EXPECT_EQ(client().SendCount(), 1u);
    EXPECT_EQ(Lookup(kDomain), "10.0.0.1");
    EXPECT_TRUE(log().Has("ZENT find ip strategy for domain: gw.quil.example, ip: 10.0.0.1", 1));
    EXPECT_EQ(client().SendCount(), 1u);
}

TEST_F(ZentDispatcherTest, TheRequestCarriesTheSignedFormToTheTestHost) {
    QuilConfig::GetInstance()->environment = 0;
    client().Enqueue(DispatchTestHost::Answer(DispatchTestHost::DnsText(kDomain, {"10.0.0.1"})));
    RequestAndWait(kDomain, 1);
    const std::vector<RecordedRequest> sent = client().Requests();
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].method, 1);
    EXPECT_EQ(sent[0].requestId, -1);
    EXPECT_EQ(sent[0].url, std::string("http://") + QUIL_DISPATCH_HOST_DAILY +
                               ":80/zent/mobileDispatch?appkey=12345678&v=4.0&"
                               "deviceId=utdid-1&platform=pc");
    EXPECT_EQ(sent[0].header,
              (std::vector<std::string>{"Connection:close", "Accept-Encoding:gzip",
                                        "Content-Type: application/x-www-form-urlencoded"}));
    const std::vector<quil::test::SignCall> calls = sign().Calls();
    ASSERT_EQ(calls.size(), 2u);
    // The request is signed first; its "t" is in the sign input and in the body alike.
    const std::string input = calls[0].data;
    const std::string t = input.substr(input.rfind("&4.0&sec") - 10, 10);
    EXPECT_EQ(input, "12345678&gw.quil.example&Quil Demo&1.0&&&utdid-1&30.1&120.2&&WIFI&&pc&&&&" +
                         t + "&4.0&sec");
    EXPECT_EQ(calls[0].seqId, -1);
    EXPECT_EQ(calls[0].method, 2);
    EXPECT_EQ(sent[0].body,
              "appName=Quil+Demo&appVersion=1.0&appkey=12345678&bssid=&channel=&"
              "deviceId=utdid-1&domain=gw.quil.example&lat=30.1&lng=120.2&machine=&"
              "netType=WIFI&other=&platform=pc&platformVersion=&preIp=&sid=&sign=sign62&"
              "signType=sec&t=" +
                  t + "&v=4.0");
    // Then the answer's decoded text.
    EXPECT_EQ(calls[1].data, DispatchTestHost::DnsText(kDomain, {"10.0.0.1"}));
    EXPECT_EQ(calls[1].method, 2);
}

TEST_F(ZentDispatcherTest, FourReachesTheProductionHostAndOneThePreReleaseHost) {
    QuilConfig::GetInstance()->environment = 4;
    RequestAndWait("a.example", 1);
    QuilConfig::GetInstance()->environment = 1;
    RequestAndWait("b.example", 2);
    const std::vector<RecordedRequest> sent = client().Requests();
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_EQ(sent[0].url.find(std::string("http://") + QUIL_DISPATCH_HOST_ONLINE + ":80/"), 0u);
    EXPECT_EQ(sent[1].url.find(std::string("http://") + QUIL_DISPATCH_HOST_PRE + ":80/"), 0u);
}

TEST_F(ZentDispatcherTest, AnEmptySignatureSendsNoSignEntry) {
    sign().Enqueue62(ScriptedSignOutcome::Signature(""));
    RequestAndWait(kDomain, 1);
    const std::string body = client().Requests().at(0).body;
    EXPECT_EQ(body.find("sign="), std::string::npos);
    EXPECT_NE(body.find("&signType=sec&"), std::string::npos);
}

TEST_F(ZentDispatcherTest, ANullSignResultSendsTheRequestUnsigned) {
    sign().Enqueue62(ScriptedSignOutcome::Null());
    RequestAndWait(kDomain, 1);
    EXPECT_EQ(client().Requests().at(0).body.find("sign="), std::string::npos);
}

// A process whose host registered no transport: the test host is not installed here.
TEST(ZentDispatcherWithoutClient, TheResponseIsNull) {
    QuilConfig* config = QuilConfig::GetInstance();
    config->RegisterQuilLog(&ServiceTestHost::Log());
    config->SetQuilLogLevel(QUIL_LOG_VERBOSE);
    config->appKey = "12345678";
    QuilServiceImpl::SetSignProviderForTesting(&ServiceTestHost::Sign());
    ZentDispatcher::SetSignProviderForTesting(&ServiceTestHost::Sign());
    std::string ip = "unset";
    zentDomainDispatch(kDomain, ip);
    EXPECT_EQ(ip, "");
    ASSERT_TRUE(DispatchTestHost::WaitForRequestsDone(1));
    const quil::test::LogLine line =
        ServiceTestHost::Log().Find("ZENT request failed, response is null");
    EXPECT_EQ(line.level, 3);
    EXPECT_EQ(line.function, "ZentRequest");
    EXPECT_FALSE(ZentDispatcher::GetInstance()->HasEntry(kDomain));
    config->RegisterQuilLog(nullptr);
}

TEST_F(ZentDispatcherTest, AStatusOtherThan200EndsTheAttempt) {
    ScriptedResponse answer = DispatchTestHost::Answer(DispatchTestHost::DnsText(kDomain, {"1"}));
    answer.statusCode = 503;
    client().Enqueue(answer);
    RequestAndWait(kDomain, 1);
    EXPECT_TRUE(log().Has("ZENT request failed, responseCode: 503", 3));
    EXPECT_FALSE(dispatcher->HasEntry(kDomain));
    // The bridge is made sure of only after the answer's headers pass.
    EXPECT_EQ(sign().Calls().size(), 1u);
}

TEST_F(ZentDispatcherTest, AWrongCodeLeavesNoEntrySoALaterLookupMayTryAgain) {
    client().Enqueue(DispatchTestHost::Answer(DispatchTestHost::DnsText(kDomain, {"1"}), "01000"));
    RequestAndWait(kDomain, 1);
    EXPECT_TRUE(log().Has("ZENT request failed, responseHeader[x-zn-code]: 01000", 3));
    EXPECT_FALSE(dispatcher->HasEntry(kDomain));
    client().Enqueue(DispatchTestHost::Answer(DispatchTestHost::DnsText(kDomain, {"2"})));
    RequestAndWait(kDomain, 2);
    EXPECT_EQ(Lookup(kDomain), "2");
}

TEST_F(ZentDispatcherTest, AMissingServerSignEndsTheAttempt) {
    client().Enqueue(
        DispatchTestHost::Answer(DispatchTestHost::DnsText(kDomain, {"1"}), "1000", ""));
    RequestAndWait(kDomain, 1);
    EXPECT_TRUE(log().Has("ZENT request failed, server sign is null", 3));
    EXPECT_FALSE(dispatcher->HasEntry(kDomain));
}

TEST_F(ZentDispatcherTest, ABodyWhoseSignDoesNotMatchLeavesTheTableUnchanged) {
    client().Enqueue(DispatchTestHost::Answer(DispatchTestHost::DnsText(kDomain, {"1"})));
    RequestAndWait(kDomain, 1);
    client().Enqueue(
        DispatchTestHost::Answer(DispatchTestHost::DnsText("b.example", {"2"}), "1000", "forged"));
    RequestAndWait("b.example", 2);
    EXPECT_TRUE(log().Has("ZENT check ret sign failed, checkSign: sign62, sign: forged", 3));
    EXPECT_FALSE(dispatcher->HasEntry("b.example"));
    EXPECT_EQ(Lookup(kDomain), "1");
}

TEST_F(ZentDispatcherTest, ANullClientSignEndsTheAttempt) {
    sign().Enqueue62(ScriptedSignOutcome::Signature("sign62"));
    sign().Enqueue62(ScriptedSignOutcome::Null());
    client().Enqueue(DispatchTestHost::Answer(DispatchTestHost::DnsText(kDomain, {"1"})));
    RequestAndWait(kDomain, 1);
    EXPECT_TRUE(log().Has("ZENT request failed, client sign is null", 3));
    EXPECT_FALSE(dispatcher->HasEntry(kDomain));
}

TEST_F(ZentDispatcherTest, TheSignatureCoversTheDecodedTextNotTheBase64) {
    const std::string text = DispatchTestHost::DnsText(kDomain, {"1"});
    client().Enqueue(DispatchTestHost::Answer(text));
    RequestAndWait(kDomain, 1);
    ASSERT_EQ(sign().Calls().size(), 2u);
    EXPECT_EQ(sign().Calls()[1].data, text);
    EXPECT_NE(sign().Calls()[1].data, DispatchTestHost::Base64(text));
}

TEST_F(ZentDispatcherTest, AnAnswerThatIsNotJsonLeavesNoEntry) {
    client().Enqueue(DispatchTestHost::Answer("not json"));
    RequestAndWait(kDomain, 1);
    EXPECT_EQ(log().Find("ZENT json parse failed").level, 3);
    EXPECT_EQ(log().Find("ZENT json parse failed").function, "ParseBodyJson");
    EXPECT_FALSE(dispatcher->HasEntry(kDomain));
}

TEST_F(ZentDispatcherTest, AnAnswerWithANonTextAddressIsRefusedOnTheWorker) {
    client().Enqueue(
        DispatchTestHost::Answer("{\"dns\":[{\"host\":\"gw.quil.example\",\"ips\":[\"1\",[2]]}]}"));
    RequestAndWait(kDomain, 1);
    EXPECT_TRUE(log().Has("ZENT json parse failed", 3));
    EXPECT_FALSE(dispatcher->HasEntry(kDomain));
    EXPECT_FALSE(dispatcher->RequestRunning());
}

TEST_F(ZentDispatcherTest, AnAnswerDecodingToMoreThan8192BytesIsReadWhole) {
    std::vector<std::string> ips;
    for (int i = 0; i < 1000; ++i)
        ips.push_back("10.0." + std::to_string(i / 250) + "." + std::to_string(i % 250));
    const std::string text = DispatchTestHost::DnsText(kDomain, ips);
    ASSERT_GT(text.size(), 8192u);
    client().Enqueue(DispatchTestHost::Answer(text));
    RequestAndWait(kDomain, 1);
    EXPECT_EQ(sign().Calls().at(1).data, text);
    ASSERT_NE(dispatcher->Strategy(kDomain), nullptr);
    EXPECT_EQ(dispatcher->Strategy(kDomain)->ips, ips);
}

TEST_F(ZentDispatcherTest, AnAnswerNamingOnlyOtherHostsLeavesASpentEntry) {
    client().Enqueue(DispatchTestHost::Answer(DispatchTestHost::DnsText("other.example", {"9"})));
    RequestAndWait(kDomain, 1);
    EXPECT_TRUE(log().Has("ZENT json parse success", 1));
    EXPECT_FALSE(log().Has("ZENT find targetIp strategy, target host: gw.quil.example"));
    ASSERT_TRUE(dispatcher->HasEntry(kDomain));
    EXPECT_FALSE(dispatcher->Strategy(kDomain)->valid);
    EXPECT_FALSE(dispatcher->HasEntry("other.example"));
    log().Clear();
    EXPECT_EQ(Lookup(kDomain), "");
    EXPECT_TRUE(log().Has("ZENT find ip strategy for domain: gw.quil.example, ip: ", 1));
    EXPECT_EQ(dispatcher->RequestCount(), 1);
}

TEST_F(ZentDispatcherTest, AMatchingAnswerLogsTheTargetHostAtLevelZero) {
    client().Enqueue(DispatchTestHost::Answer(DispatchTestHost::DnsText(kDomain, {"1"})));
    RequestAndWait(kDomain, 1);
    const quil::test::LogLine line =
        log().Find("ZENT find targetIp strategy, target host: gw.quil.example");
    EXPECT_EQ(line.level, 0);
    EXPECT_EQ(line.function, "ParseBodyJson");
}

TEST_F(ZentDispatcherTest, UpdateStrategyConsumesTheAddressesFromTheEnd) {
    client().Enqueue(DispatchTestHost::Answer(DispatchTestHost::DnsText(kDomain, {"A", "B", "C"})));
    RequestAndWait(kDomain, 1);
    const std::string lost = "ZENT strategy lost efficacy, host: gw.quil.example";
    EXPECT_EQ(Lookup(kDomain), "C");
    zentUpdateStrategy(kDomain);
    EXPECT_EQ(Lookup(kDomain), "B");
    zentUpdateStrategy(kDomain);
    EXPECT_EQ(Lookup(kDomain), "A");
    EXPECT_EQ(log().CountOf(lost), 0u);
    zentUpdateStrategy(kDomain);
    EXPECT_EQ(Lookup(kDomain), "");
    EXPECT_EQ(log().CountOf(lost), 1u);
    EXPECT_EQ(log().Find(lost).level, 2);
    EXPECT_EQ(log().Find(lost).function, "UpdateStrategy");
    EXPECT_EQ(log().CountOf("ZENT update strategy"), 3u);
    // A spent domain: no further message, and no new request.
    zentUpdateStrategy(kDomain);
    EXPECT_EQ(log().CountOf(lost), 1u);
    EXPECT_EQ(log().CountOf("ZENT update strategy"), 4u);
    EXPECT_EQ(Lookup(kDomain), "");
    EXPECT_EQ(dispatcher->RequestCount(), 1);
}

TEST_F(ZentDispatcherTest, AnAddressHandedOutStaysTheCallersAfterAnUpdate) {
    client().Enqueue(DispatchTestHost::Answer(DispatchTestHost::DnsText(kDomain, {"A"})));
    RequestAndWait(kDomain, 1);
    const std::string ip = Lookup(kDomain);
    zentUpdateStrategy(kDomain);
    EXPECT_EQ(ip, "A");
}

TEST_F(ZentDispatcherTest, UpdateStrategyOnAnUnknownHostLeavesASpentEntryAndNoRequest) {
    zentUpdateStrategy("unknown.example");
    EXPECT_TRUE(dispatcher->HasEntry("unknown.example"));
    EXPECT_EQ(dispatcher->Strategy("unknown.example"), nullptr);
    EXPECT_FALSE(log().Has("ZENT strategy lost efficacy, host: unknown.example"));
    EXPECT_EQ(Lookup("unknown.example"), "");
    EXPECT_TRUE(log().Has("ZENT find ip strategy for domain: unknown.example, ip: ", 1));
    EXPECT_EQ(dispatcher->RequestCount(), 0);
    zentUpdateStrategy("unknown.example");
    EXPECT_EQ(Lookup("unknown.example"), "");
}

TEST_F(ZentDispatcherTest, AnEmptyDomainNeverReachesTheTableAndCostsNoRequest) {
    EXPECT_EQ(Lookup(""), "");
    const quil::test::LogLine line = log().Find("ZENT dispatch domain null");
    EXPECT_EQ(line.level, 2);
    EXPECT_EQ(line.function, "DomainDispatch");
    EXPECT_EQ(dispatcher->RequestCount(), 0);
    EXPECT_FALSE(dispatcher->HasEntry(""));
}

TEST_F(ZentDispatcherTest, WithAnEmptyAppKeyBothFunctionsDoNothing) {
    QuilConfig::GetInstance()->appKey.clear();
    std::string ip = "unset";
    zentDomainDispatch(kDomain, ip);
    EXPECT_EQ(ip, "");
    zentUpdateStrategy(kDomain);
    EXPECT_EQ(log().Count(), 0u);
    EXPECT_FALSE(dispatcher->HasEntry(kDomain));
    EXPECT_EQ(dispatcher->RequestCount(), 0);
}

TEST_F(ZentDispatcherTest, ALookupWhileARequestRunsStartsNoSecond) {
    client().CloseGate();
    std::string ip = "unset";
    zentDomainDispatch(kDomain, ip);
    ASSERT_TRUE(client().WaitForSends(1));
    EXPECT_EQ(Lookup(kDomain), "");
    EXPECT_EQ(Lookup("b.example"), "");
    EXPECT_EQ(log().CountOf("ZENT is running or trigger flow limit"), 2u);
    EXPECT_EQ(log().Find("ZENT is running or trigger flow limit").level, 2);
    client().OpenGate();
    ASSERT_TRUE(DispatchTestHost::WaitForRequestsDone(1));
    EXPECT_EQ(client().SendCount(), 1u);
    EXPECT_EQ(dispatcher->RequestCount(), 1);
}

TEST_F(ZentDispatcherTest, AfterThreeRequestsOfAnyOutcomeEveryUnknownDomainIsRefused) {
    client().Enqueue(ScriptedResponse::Null());
    client().Enqueue(DispatchTestHost::Answer("x", "01000"));
    client().Enqueue(DispatchTestHost::Answer(DispatchTestHost::DnsText("c.example", {"3"})));
    RequestAndWait("a.example", 1);
    RequestAndWait("b.example", 2);
    RequestAndWait("c.example", 3);
    log().Clear();
    EXPECT_EQ(Lookup("a.example"), "");
    EXPECT_EQ(Lookup("d.example"), "");
    EXPECT_EQ(log().CountOf("ZENT is running or trigger flow limit"), 2u);
    EXPECT_EQ(client().SendCount(), 3u);
    EXPECT_EQ(dispatcher->RequestCount(), 3);
    EXPECT_EQ(Lookup("c.example"), "3");
}

TEST_F(ZentDispatcherTest, AnExceptionOnTheWorkerStillClearsTheRunningFlag) {
    client().SetOnSend([](HttpRequest*) { throw std::runtime_error("transport broke"); });
    RequestAndWait(kDomain, 1);
    client().SetOnSend(nullptr);
    EXPECT_TRUE(log().Has("ZENT request failed, exception: transport broke", 3));
    EXPECT_FALSE(dispatcher->RequestRunning());
    client().Enqueue(DispatchTestHost::Answer(DispatchTestHost::DnsText(kDomain, {"1"})));
    RequestAndWait(kDomain, 2);
    EXPECT_EQ(Lookup(kDomain), "1");
}

TEST_F(ZentDispatcherTest, AUrlTooLongForItsBufferIsNotSent) {
    QuilConfig::GetInstance()->utdid = std::string(5000, 'u');
    RequestAndWait(kDomain, 1);
    EXPECT_TRUE(log().Has("ZENT request failed, url too long", 3));
    EXPECT_EQ(client().SendCount(), 0u);
    EXPECT_FALSE(dispatcher->RequestRunning());
}

TEST_F(ZentDispatcherTest, WithoutASigningBridgeTheRequestGoesUnsignedAndTheAnswerIsRefused) {
    ZentDispatcher::SetSignProviderForTesting(nullptr);
    client().Enqueue(DispatchTestHost::Answer(DispatchTestHost::DnsText(kDomain, {"1"})));
    RequestAndWait(kDomain, 1);
    const quil::test::LogLine signLine = log().Find("ZENT sign failed, signImpl is null");
    EXPECT_EQ(signLine.level, 4);
    EXPECT_EQ(signLine.function, "GetSign");
    EXPECT_EQ(client().Requests().at(0).body.find("sign="), std::string::npos);
    const quil::test::LogLine line = log().Find("ZENT request failed, signImpl is null");
    EXPECT_EQ(line.level, 4);
    EXPECT_EQ(line.function, "ZentRequest");
    EXPECT_FALSE(dispatcher->HasEntry(kDomain));
}

TEST_F(ZentDispatcherTest, TheAnswerMakesSureTheServiceBridgeHasStarted) {
    EXPECT_EQ(sign().StartCount(), 0u);
    client().Enqueue(DispatchTestHost::Answer(DispatchTestHost::DnsText(kDomain, {"1"})));
    RequestAndWait(kDomain, 1);
    EXPECT_EQ(sign().StartCount(), 1u);
}

// The exported lookup is the first use of the dispatcher in this process: building it under
// the lookup must not wait on the lock the lookup holds.
TEST(ZentDispatcherFirstUse, TheFirstLookupOfTheProcessBuildsTheDispatcher) {
    QuilConfig* config = QuilConfig::GetInstance();
    config->RegisterQuilLog(&ServiceTestHost::Log());
    config->SetQuilLogLevel(QUIL_LOG_VERBOSE);
    config->appKey = "12345678";
    std::string ip = "unset";
    zentDomainDispatch("", ip);
    EXPECT_EQ(ip, "");
    EXPECT_TRUE(ServiceTestHost::Log().Has("ZENT dispatch domain null", 2));
    zentUpdateStrategy("h.example");
    EXPECT_TRUE(ServiceTestHost::Log().Has("ZENT update strategy", 1));
    config->RegisterQuilLog(nullptr);
}
