// Domain dispatch as a host runs it: the shared library's two exported functions, the curl
// adapter reaching the dispatch host's port 80 at the gateway emulator through its connect-to
// option, and the stand-in security library signing the request and checking the answer.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "DispatchE2eHost.h"
#include "StandInSignature.h"
#include "TestSync.h"
#include "WireCodec.h"

namespace quil {
namespace test {
namespace {

const char kDomain[] = "gw.quil.example";

// The keys the emulator rebuilds the signed text from, with the signature beside them.
const std::vector<std::string> kFormKeys = {
    "appName", "appVersion", "appkey",  "bssid",    "channel", "deviceId", "domain",
    "lat",     "lng",        "machine", "netType",  "other",   "platform", "platformVersion",
    "preIp",   "sid",        "sign",    "signType", "t",       "v"};

class Dispatch : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(host.Start());
        host.Gateway().Settings().SetDispatchEntries(
            {{"other.quil.example", {"10.9.9.9"}},
             {kDomain, {"10.0.0.1", "10.0.0.2", "10.0.0.3"}}});
    }

    // Looks domain up until the lookup starts a request (a previous one may still be
    // finishing), then waits for that request's outcome, the outcomes-th in all.
    void RequestAndWait(const std::string& domain, std::size_t outcomes) {
        const std::string started = "ZENT request for domain: " + domain;
        const std::size_t before = host.Log().CountOf(started);
        ASSERT_TRUE(WaitUntil([this, &domain, &started, before] {
            EXPECT_EQ(DispatchE2eHost::Lookup(domain), "");
            return host.Log().CountOf(started) > before;
        }));
        ASSERT_TRUE(host.WaitForOutcomes(outcomes));
    }

    DispatchE2eHost host;
};

TEST_F(Dispatch, ASignedRequestFillsTheTableAndUpdatesConsumeItFromTheEnd) {
    ASSERT_TRUE(host.CallGateway());
    host.Gateway().ClearRequests();

    EXPECT_EQ(DispatchE2eHost::Lookup(kDomain), "");
    EXPECT_TRUE(host.Log().Has("ZENT request for domain: gw.quil.example", 1));
    ASSERT_TRUE(host.WaitForOutcomes(1));
    EXPECT_TRUE(host.Log().Has("ZENT json parse success", 1));

    // What reached the dispatch service: the 19 signed keys and the signature, all verified.
    ASSERT_EQ(host.Gateway().RequestCount(), 1u);
    const ReceivedRequest received = host.Gateway().Requests().at(0);
    EXPECT_EQ(received.method, "POST");
    EXPECT_EQ(received.path, "/zent/mobileDispatch");
    EXPECT_EQ(received.query, "appkey=e2e-app-key&v=4.0&deviceId=e2e-utdid&platform=pc");
    EXPECT_EQ(received.Header("Host"), std::string(DispatchE2eHost::kDispatchHost));
    EXPECT_EQ(received.Header("Connection"), "close");
    EXPECT_EQ(received.Header("Content-Type"), "application/x-www-form-urlencoded");
    EXPECT_EQ(received.answerCode, "1000");
    const std::map<std::string, std::string> form = DecodeForm(received.body);
    std::vector<std::string> keys;
    for (const auto& entry : form) keys.push_back(entry.first);
    EXPECT_EQ(keys, kFormKeys);
    EXPECT_EQ(form.at("sign"), standin::Signature(DispatchE2eHost::kAppKey,
                                                  standin::kLabelUrlMethod2, received.signInput));
    EXPECT_EQ(received.signInput,
              "e2e-app-key&gw.quil.example&Quil Demo&1.0&&&e2e-utdid&30.1&"
              "120.2&&WIFI&&pc&&&&" +
                  form.at("t") + "&4.0&sec");

    EXPECT_EQ(host.LookupStored(kDomain), "10.0.0.3");
    zentUpdateStrategy(kDomain);
    EXPECT_EQ(DispatchE2eHost::Lookup(kDomain), "10.0.0.2");
    zentUpdateStrategy(kDomain);
    EXPECT_EQ(DispatchE2eHost::Lookup(kDomain), "10.0.0.1");
    zentUpdateStrategy(kDomain);
    EXPECT_EQ(DispatchE2eHost::Lookup(kDomain), "");
    EXPECT_EQ(host.Log().CountOf("ZENT strategy lost efficacy, host: gw.quil.example"), 1u);
    // Only the domain asked for was stored, and no lookup asked the service again.
    EXPECT_EQ(host.Gateway().RequestCount(), 1u);
}

TEST_F(Dispatch, AWrongCodeOrSignLeavesTheTableUnchanged) {
    ASSERT_TRUE(host.CallGateway());
    ScriptedDispatchAnswer wrongCode;
    wrongCode.hasCode = true;
    wrongCode.code = "01000";
    ScriptedDispatchAnswer wrongSign;
    wrongSign.hasSignMode = true;
    wrongSign.signMode = DispatchSignMode::kWrong;
    host.Gateway().ScriptDispatch({wrongCode, wrongSign});

    RequestAndWait(kDomain, 1);
    EXPECT_TRUE(host.Log().Has("ZENT request failed, responseHeader[x-zn-code]: 01000", 3));
    RequestAndWait(kDomain, 2);
    EXPECT_EQ(host.Log().FindPrefix("ZENT check ret sign failed, checkSign: ").level, 3);
    EXPECT_FALSE(host.Log().Has("ZENT json parse success"));
    // The table still has no entry: the third request, the last of the process, fills it.
    RequestAndWait(kDomain, 3);
    EXPECT_EQ(host.LookupStored(kDomain), "10.0.0.3");
}

TEST_F(Dispatch, TheFourthRequestOfTheProcessIsNeverSent) {
    ASSERT_TRUE(host.CallGateway());
    host.Gateway().ClearRequests();
    host.Gateway().Settings().SetDispatchEntries({});
    RequestAndWait("a.example", 1);
    RequestAndWait("b.example", 2);
    RequestAndWait("c.example", 3);
    EXPECT_EQ(host.Gateway().RequestCount(), 3u);
    // Each answer named none of them: three spent entries, and no fourth request for a new one.
    EXPECT_EQ(DispatchE2eHost::Lookup("d.example"), "");
    EXPECT_EQ(host.Log().CountOf("ZENT request for domain: d.example"), 0u);
    EXPECT_TRUE(host.Log().Has("ZENT is running or trigger flow limit", 2));
    EXPECT_EQ(DispatchE2eHost::Lookup("a.example"), "");
    EXPECT_EQ(host.Gateway().RequestCount(), 3u);
}

TEST_F(Dispatch, ALookupWhileARequestIsHeldStartsNoSecond) {
    ASSERT_TRUE(host.CallGateway());
    host.Gateway().ClearRequests();
    ScriptedDispatchAnswer slow;
    slow.delayMs = 600000;
    host.Gateway().ScriptDispatch({slow});

    EXPECT_EQ(DispatchE2eHost::Lookup(kDomain), "");
    ASSERT_TRUE(host.Gateway().WaitForRequests(1, kWaitLimit));
    EXPECT_EQ(DispatchE2eHost::Lookup(kDomain), "");
    EXPECT_EQ(DispatchE2eHost::Lookup("other.quil.example"), "");
    EXPECT_EQ(host.Log().CountOf("ZENT is running or trigger flow limit"), 2u);
    EXPECT_EQ(host.Log().CountOf("ZENT request for domain: gw.quil.example"), 1u);
    // Stopping the emulator releases the held request; it ends as a failed exchange.
    host.Gateway().Stop();
    ASSERT_TRUE(host.WaitForOutcomes(1));
    EXPECT_EQ(host.Gateway().RequestCount(), 1u);
}

TEST_F(Dispatch, AProcessWhoseFirstUseIsADispatchSendsItUnsigned) {
    // The request is signed before the bridge is made sure to have started: with no call
    // before it, the closed library is not loaded yet and the form goes without "sign".
    RequestAndWait(kDomain, 1);
    ASSERT_EQ(host.Gateway().RequestCount(), 1u);
    const ReceivedRequest received = host.Gateway().Requests().at(0);
    EXPECT_EQ(DecodeForm(received.body).count("sign"), 0u);
    EXPECT_EQ(received.answerCode, kDispatchBadSign);
    EXPECT_TRUE(host.Log().Has("ZENT request failed, responseHeader[x-zn-code]: 4001", 3));
    // Once a call has started the bridge, the next request is signed and accepted.
    ASSERT_TRUE(host.CallGateway());
    RequestAndWait(kDomain, 2);
    EXPECT_EQ(host.LookupStored(kDomain), "10.0.0.3");
}

}  // namespace
}  // namespace test
}  // namespace quil
