#include "HttpRequestComposer.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "FakeCookieStorage.h"
#include "QuilConfig.h"
#include "QuilLogger.h"
#include "QuilRequestImpl.h"
#include "RecordingLog.h"
#include "UTDataSet.h"

using quil::test::FakeCookieStorage;
using quil::test::ScopedRecordingLog;
using Lines = std::vector<std::string>;

namespace {

// A signing bridge that only knows its version text; composition asks nothing else of it.
class VersionOnlySign : public IQuilSign {
public:
    explicit VersionOnlySign(std::string version) : version_(std::move(version)) {}
    bool Start() override { return true; }
    bool Stop() override { return true; }
    SignResult* Sign6_2(int, std::string&, int) override { return nullptr; }
    SignResult* Sign6_3(int, std::string&, std::string&) override { return nullptr; }
    ActionResult* ProcessContent(int, std::string&) override { return nullptr; }
    std::string GetCookies(std::string&) override { return std::string(); }
    std::string GetKolvaVersion() override {
        ++versionReads;
        return version_;
    }
    int versionReads = 0;

private:
    std::string version_;
};

class HttpRequestComposerTest : public ::testing::Test {
protected:
    void SetUp() override {
        config = QuilConfig::GetInstance();
        config->environment = 0;
        config->appKey = "app 1";
        config->utdid = "utd/1";
        config->ttid = "ttid@pc";
        config->devId = "dev-1";
        request = std::make_unique<QuilRequestImpl>("Quil.Test.Api", "1.0");
        request->SetId(7);
        request->SetTimestamp(1700000000);
        UTDataSet::GetInstance()->CreateMetricsEntity(request.get());
    }

    void TearDown() override { UTDataSet::GetInstance()->CusumeMetricsEntity(request.get()); }

    std::unique_ptr<HttpRequest> Compose(IQuilSign* sign = nullptr) {
        return std::unique_ptr<HttpRequest>(
            HttpRequestComposer::GetHttpRequest(request.get(), sign));
    }

    Lines Headers(IQuilSign* sign = nullptr) {
        Lines out;
        std::string url = "http://gw-online-1.quil.example/gw/quil.test.api/1.0/?";
        HttpRequestComposer::GetHttpRequestHeader(out, request.get(), url, sign);
        return out;
    }

    std::string SignInput(bool extended) {
        std::string out = "stale";
        HttpRequestComposer::GetOriginalSignUrl(out, request.get(), extended);
        return out;
    }

    MetricsEntity* Metrics() {
        return UTDataSet::GetInstance()->GetExistMetricsEntity(request.get());
    }

    QuilConfig* config = nullptr;
    std::unique_ptr<QuilRequestImpl> request;
};

const char kContentType[] = "Content-Type: application/x-www-form-urlencoded;charset=utf-8";

// The base lines of the fixture's request: no session, no optional field, signed the 6.3 way.
Lines BaseLines() {
    return {"host:gw-online-1.quil.example",
            "x-utdid:utd%2F1",
            "x-ttid:ttid%40pc",
            "x-devid:dev-1",
            "x-reqbiz-ext:",
            "x-t:1700000000",
            "x-pv:6.3",
            "x-appkey:app+1",
            kContentType};
}

// Inserts line into the base lines before the one that starts with before.
Lines BaseLinesWith(const std::string& line, const std::string& before) {
    Lines lines = BaseLines();
    for (auto it = lines.begin(); it != lines.end(); ++it) {
        if (it->rfind(before, 0) == 0) {
            lines.insert(it, line);
            return lines;
        }
    }
    ADD_FAILURE() << "no line starts with " << before;
    return lines;
}

}  // namespace

// ---- URL and body ----

TEST_F(HttpRequestComposerTest, PostWithoutParamsEndsTheUrlWithTheQuestionMarkAndSendsDataInBody) {
    auto http = Compose();
    EXPECT_EQ(http->method, 1);
    EXPECT_EQ(http->requestId, 7);
    EXPECT_EQ(http->url, "http://gw-online-1.quil.example/gw/quil.test.api/1.0/?");
    EXPECT_EQ(http->body, "data=%7B%7D");
    EXPECT_EQ(http->header, BaseLines());
}

TEST_F(HttpRequestComposerTest, PostWithParamsPutsAmpersandRightBehindTheQuestionMarkUnencoded) {
    request->AddParam("b", "2");
    request->AddParam("a", "x y/&");
    auto http = Compose();
    EXPECT_EQ(http->url, "http://gw-online-1.quil.example/gw/quil.test.api/1.0/?&a=x y/&&b=2");
    EXPECT_EQ(http->body, "data=%7B%7D");
}

TEST_F(HttpRequestComposerTest, GetWithoutParamsCarriesTheEncodedDataInTheUrlAndHasNoBody) {
    request->SetMethod(1);
    auto http = Compose();
    EXPECT_EQ(http->method, 0);
    EXPECT_EQ(http->url, "http://gw-online-1.quil.example/gw/quil.test.api/1.0/?data=%7B%7D");
    EXPECT_EQ(http->body, "");
    // The content type line goes out on GET too.
    EXPECT_EQ(http->header, BaseLines());
}

TEST_F(HttpRequestComposerTest, GetWithParamsPutsTheParameterTextBehindTheEncodedData) {
    request->SetMethod(1);
    request->AddParam("z", "last");
    request->AddParam("a", "1=2");
    auto http = Compose();
    EXPECT_EQ(http->url,
              "http://gw-online-1.quil.example/gw/quil.test.api/1.0/?data=%7B%7D&a=1=2&z=last");
}

TEST_F(HttpRequestComposerTest, AnyMethodOtherThanOneIsPost) {
    for (int method : {0, 2, 3, -1}) {
        request->SetMethod(method);
        auto http = Compose();
        EXPECT_EQ(http->method, 1) << method;
        EXPECT_EQ(http->body, "data=%7B%7D") << method;
    }
}

TEST_F(HttpRequestComposerTest, CapitalsInApiAndVersionStandInLowerCaseInUrlAndSignInput) {
    request = std::make_unique<QuilRequestImpl>("Quil.TEST.Api", "V1.0");
    request->SetId(7);
    request->SetTimestamp(1700000000);
    auto http = Compose();
    EXPECT_EQ(http->url, "http://gw-online-1.quil.example/gw/quil.test.api/v1.0/?");
    EXPECT_EQ(http->header, BaseLines());  // no line carries api or version
    EXPECT_EQ(SignInput(true),
              "utd/1&&&app 1&99914b932bd37a50b983c5e7c90ae93b&1700000000&quil.test.api&v1.0&&"
              "ttid@pc&dev-1&&&&&&&&&&&");
    // The request's own fields keep their case.
    EXPECT_EQ(request->api, "Quil.TEST.Api");
    UTDataSet::GetInstance()->CusumeMetricsEntity(request.get());
}

TEST_F(HttpRequestComposerTest, DataWithNonAsciiAmpersandEqualsPlusAndBlanksIsEncodedInPostBody) {
    request->SetRawData("{\"q\":\"\xC3\xA4 & = + x\"}");
    auto http = Compose();
    EXPECT_EQ(http->url, "http://gw-online-1.quil.example/gw/quil.test.api/1.0/?");
    EXPECT_EQ(http->body, "data=%7B%22q%22%3A%22%C3%A4+%26+%3D+%2B+x%22%7D");
    EXPECT_EQ(SignInput(true),
              "utd/1&&&app 1&bcbfc5c24e3c5495077f935bfa04870c&1700000000&quil.test.api&1.0&&"
              "ttid@pc&dev-1&&&&&&&&&&&");
}

TEST_F(HttpRequestComposerTest, DataWithNonAsciiAmpersandEqualsPlusAndBlanksIsEncodedInGetUrl) {
    request->SetMethod(1);
    request->SetRawData("{\"q\":\"\xC3\xA4 & = + x\"}");
    auto http = Compose();
    EXPECT_EQ(http->url,
              "http://gw-online-1.quil.example/gw/quil.test.api/1.0/"
              "?data=%7B%22q%22%3A%22%C3%A4+%26+%3D+%2B+x%22%7D");
    EXPECT_EQ(http->body, "");
}

TEST_F(HttpRequestComposerTest, RawDataIsSentInsteadOfAddedMembers) {
    request->AddData("k", std::string("v"));
    request->SetRawData("[1]");
    auto http = Compose();
    EXPECT_EQ(http->body, "data=%5B1%5D");
    EXPECT_EQ(SignInput(true),
              "utd/1&&&app 1&35dba5d75538a9bbe0b4da4422759a0e&1700000000&quil.test.api&1.0&&"
              "ttid@pc&dev-1&&&&&&&&&&&");
}

TEST_F(HttpRequestComposerTest, AddedMembersAreSentInTheStyledLayoutWithoutLineFeeds) {
    request->AddData("k", std::string("v"));
    ASSERT_EQ(request->GetData(), "{   \"k\" : \"v\"}");
    auto http = Compose();
    EXPECT_EQ(http->body, "data=%7B+++%22k%22+%3A+%22v%22%7D");
}

TEST_F(HttpRequestComposerTest, GetUrlHeadOf4095BytesIsSent) {
    // 59 bytes of scheme, host, path and "?data=" plus 4036 data bytes: 4095.
    request->SetMethod(1);
    request->SetRawData(std::string(4036, 'a'));
    auto http = Compose();
    EXPECT_EQ(http->url, "http://gw-online-1.quil.example/gw/quil.test.api/1.0/?data=" +
                             std::string(4036, 'a'));
    EXPECT_EQ(http->url.size(), 4095u);
}

TEST_F(HttpRequestComposerTest, OverLongGetLeavesTheUrlEmptyAndStillBuildsTheRequest) {
    request->SetMethod(1);
    request->SetRawData(std::string(4037, 'a'));
    auto http = Compose();
    ASSERT_NE(http, nullptr);
    EXPECT_EQ(http->url, "");
    EXPECT_EQ(http->method, 0);
    EXPECT_EQ(http->body, "");
    EXPECT_EQ(http->header, BaseLines());
    EXPECT_EQ(Metrics()->requestUrlLength, 0);
}

TEST_F(HttpRequestComposerTest, OverLongGetCountsEncodedBytes) {
    // 1346 blanks-free escapes of three bytes each: 4038 encoded bytes.
    request->SetMethod(1);
    request->SetRawData(std::string(1346, '/'));
    EXPECT_EQ(Compose()->url, "");
}

TEST_F(HttpRequestComposerTest, GetParamsDoNotCountTowardsTheBound) {
    request->SetMethod(1);
    request->SetRawData(std::string(4036, 'a'));
    request->AddParam("p", std::string(100, 'b'));
    auto http = Compose();
    EXPECT_EQ(http->url, "http://gw-online-1.quil.example/gw/quil.test.api/1.0/?data=" +
                             std::string(4036, 'a') + "&p=" + std::string(100, 'b'));
}

TEST_F(HttpRequestComposerTest, PostUrlIsNotBounded) {
    request->AddParam("p", std::string(10000, 'b'));
    request->SetRawData(std::string(10000, 'a'));
    auto http = Compose();
    EXPECT_EQ(http->url, "http://gw-online-1.quil.example/gw/quil.test.api/1.0/?&p=" +
                             std::string(10000, 'b'));
    EXPECT_EQ(http->body, "data=" + std::string(10000, 'a'));
}

TEST_F(HttpRequestComposerTest, ApiOfFiveThousandBytesStillGivesAFullPostUrl) {
    request = std::make_unique<QuilRequestImpl>(std::string(5000, 'A'), "1.0");
    auto http = Compose();
    EXPECT_EQ(http->url, "http://gw-online-1.quil.example/gw/" + std::string(5000, 'a') + "/1.0/?");
    UTDataSet::GetInstance()->CusumeMetricsEntity(request.get());
}

TEST_F(HttpRequestComposerTest, OneMegabyteBodyIsEncodedWhole) {
    std::string data(1 << 20, 'x');
    data[0] = ' ';
    request->SetRawData(data);
    auto http = Compose();
    EXPECT_EQ(http->body.size(), 5u + (1u << 20));
    EXPECT_EQ(http->body.compare(0, 7, "data=+x"), 0);
    EXPECT_EQ(Metrics()->requestBodySize, 5 + (1 << 20));
}

// ---- scheme, host, TLS value, proxy ----

TEST_F(HttpRequestComposerTest, SslInProductionUsesHttpsAndCopiesTheSslValue) {
    config->sslValue = "tls-value";
    request->SetIsSSL(true);
    auto http = Compose();
    EXPECT_EQ(http->url, "https://gw-online-1.quil.example/gw/quil.test.api/1.0/?");
    EXPECT_EQ(http->sslValue, "tls-value");
}

TEST_F(HttpRequestComposerTest, SslInPreReleaseUsesHttpsButLeavesTheSslValueEmpty) {
    config->environment = 1;
    config->sslValue = "tls-value";
    request->SetIsSSL(true);
    auto http = Compose();
    EXPECT_EQ(http->url, "https://gw-pre-1.quil.example/gw/quil.test.api/1.0/?");
    EXPECT_EQ(http->sslValue, "");
    EXPECT_EQ(http->header.front(), "host:gw-pre-1.quil.example");
}

TEST_F(HttpRequestComposerTest, SslInDailyUsesHttpsAndCopiesTheSslValue) {
    config->environment = 2;
    config->sslValue = "tls-value";
    request->SetIsSSL(true);
    auto http = Compose();
    EXPECT_EQ(http->url, "https://gw-daily-1.quil.example/gw/quil.test.api/1.0/?");
    EXPECT_EQ(http->sslValue, "tls-value");
}

TEST_F(HttpRequestComposerTest, WithoutSslTheSchemeIsHttpAndNoSslValueIsSet) {
    config->sslValue = "tls-value";
    request->SetMethod(1);
    auto http = Compose();
    EXPECT_EQ(http->url, "http://gw-online-1.quil.example/gw/quil.test.api/1.0/?data=%7B%7D");
    EXPECT_EQ(http->sslValue, "");
}

TEST_F(HttpRequestComposerTest, ProxyIsCopiedWhenSet) {
    config->proxy = "127.0.0.1:8888";
    auto http = Compose();
    EXPECT_EQ(http->proxy, "127.0.0.1:8888");
    EXPECT_TRUE(Metrics()->useProxy);
}

TEST_F(HttpRequestComposerTest, NoProxyLeavesItEmpty) {
    auto http = Compose();
    EXPECT_EQ(http->proxy, "");
    EXPECT_FALSE(Metrics()->useProxy);
}

TEST_F(HttpRequestComposerTest, BuiltInHostsFollowEnvironmentAndDomainMode) {
    const struct {
        int environment;
        bool domainModeIsOne;
        const char* host;
    } rows[] = {
        {2, true, "gw-daily-1.quil.example"},  {2, false, "gw-daily-2.quil.example"},
        {1, true, "gw-pre-1.quil.example"},    {1, false, "gw-pre-2.quil.example"},
        {0, true, "gw-online-1.quil.example"}, {0, false, "gw-online-2.quil.example"},
        {7, true, "gw-online-1.quil.example"}, {-1, false, "gw-online-2.quil.example"},
    };
    for (const auto& row : rows) {
        config->environment = row.environment;
        EXPECT_EQ(HttpRequestComposer::SelectHost(row.domainModeIsOne), row.host)
            << row.environment << " " << row.domainModeIsOne;
    }
}

TEST_F(HttpRequestComposerTest, OverrideHostWinsInEveryDomainMode) {
    config->dailyHost = "daily.override.example";
    config->preHost = "pre.override.example";
    config->onlineHost = "online.override.example";
    for (bool one : {true, false}) {
        config->environment = 2;
        EXPECT_EQ(HttpRequestComposer::SelectHost(one), "daily.override.example");
        config->environment = 1;
        EXPECT_EQ(HttpRequestComposer::SelectHost(one), "pre.override.example");
        config->environment = 0;
        EXPECT_EQ(HttpRequestComposer::SelectHost(one), "online.override.example");
        config->environment = 5;
        EXPECT_EQ(HttpRequestComposer::SelectHost(one), "online.override.example");
    }
}

TEST_F(HttpRequestComposerTest, OverrideOfAnotherEnvironmentIsNotUsed) {
    config->dailyHost = "daily.override.example";
    EXPECT_EQ(HttpRequestComposer::SelectHost(true), "gw-online-1.quil.example");
}

TEST_F(HttpRequestComposerTest, DomainModeOtherThanOneUsesTheSecondFamilyInUrlAndHostLine) {
    request->SetDomainMode(2);
    auto http = Compose();
    EXPECT_EQ(http->url, "http://gw-online-2.quil.example/gw/quil.test.api/1.0/?");
    EXPECT_EQ(http->header.front(), "host:gw-online-2.quil.example");
}

// ---- metrics and log lines ----

TEST_F(HttpRequestComposerTest, MetricsRecordMethodSslProxyAndSizes) {
    request->SetIsSSL(true);
    auto http = Compose();
    MetricsEntity* metrics = Metrics();
    EXPECT_EQ(metrics->method, "post");
    EXPECT_TRUE(metrics->isSSL);
    EXPECT_FALSE(metrics->useProxy);
    // "https://gw-online-1.quil.example/gw/quil.test.api/1.0/?"
    EXPECT_EQ(metrics->requestUrlLength, 55);
    // Each line plus one: 30 + 16 + 17 + 14 + 14 + 15 + 9 + 15 + 62.
    EXPECT_EQ(metrics->requestHeaderSize, 192);
    EXPECT_EQ(metrics->requestBodySize, 11);
}

TEST_F(HttpRequestComposerTest, MetricsRecordGetWithoutBody) {
    request->SetMethod(1);
    auto http = Compose();
    MetricsEntity* metrics = Metrics();
    EXPECT_EQ(metrics->method, "get");
    EXPECT_FALSE(metrics->isSSL);
    EXPECT_EQ(metrics->requestUrlLength, 65);
    EXPECT_EQ(metrics->requestBodySize, 0);
}

TEST_F(HttpRequestComposerTest, LogsRequestInfoAndContent) {
    ScopedRecordingLog log;
    auto http = Compose();
    EXPECT_TRUE(
        log->Has("httpRequest info { requestId: 7, method: 1, url: "
                 "http://gw-online-1.quil.example/gw/quil.test.api/1.0/? }",
                 QUIL_LOG_INFO));
    EXPECT_TRUE(
        log->Has("httpRequest content { requestId: 7, header: "
                 "host:gw-online-1.quil.example\nx-utdid:utd%2F1\nx-ttid:ttid%40pc\n"
                 "x-devid:dev-1\nx-reqbiz-ext:\nx-t:1700000000\nx-pv:6.3\nx-appkey:app+1\n"
                 "Content-Type: application/x-www-form-urlencoded;charset=utf-8\n"
                 ", body: data=%7B%7D }",
                 QUIL_LOG_VERBOSE));
}

TEST_F(HttpRequestComposerTest, LogsGetWithMethodZero) {
    ScopedRecordingLog log;
    request->SetMethod(1);
    auto http = Compose();
    EXPECT_TRUE(
        log->Has("httpRequest info { requestId: 7, method: 0, url: "
                 "http://gw-online-1.quil.example/gw/quil.test.api/1.0/?data=%7B%7D }",
                 QUIL_LOG_INFO));
}

// ---- header lines ----

TEST_F(HttpRequestComposerTest, NeedLoginFalseSendsNoSessionLinesEvenWithASession) {
    config->RegisterMultiAccountSession("", "sid/1", "uid 1");
    EXPECT_EQ(Headers(), BaseLines());
}

TEST_F(HttpRequestComposerTest, NeedLoginWithASessionSendsEncodedSidAndUid) {
    config->RegisterMultiAccountSession("", "sid/1", "uid 1");
    request->SetNeedLogin(true);
    Lines expected = BaseLinesWith("x-sid:sid%2F1", "x-utdid:");
    expected.insert(expected.begin() + 2, "x-uid:uid+1");
    EXPECT_EQ(Headers(), expected);
}

TEST_F(HttpRequestComposerTest, NeedLoginUsesTheSessionOfTheRequestsAccount) {
    config->RegisterMultiAccountSession("", "default-sid", "default-uid");
    config->RegisterMultiAccountSession("alice", "alice-sid", "alice-uid");
    request->SetNeedLogin(true);
    request->SetUserInfo("alice");
    Lines expected = BaseLinesWith("x-sid:alice-sid", "x-utdid:");
    expected.insert(expected.begin() + 2, "x-uid:alice-uid");
    EXPECT_EQ(Headers(), expected);
}

TEST_F(HttpRequestComposerTest, NeedLoginWithoutASessionSendsNoSessionLines) {
    request->SetNeedLogin(true);
    EXPECT_EQ(Headers(), BaseLines());
}

TEST_F(HttpRequestComposerTest, NeedLoginWithASessionWithoutUidSendsOnlySid) {
    config->RegisterMultiAccountSession("", "sid-only", "");
    request->SetNeedLogin(true);
    EXPECT_EQ(Headers(), BaseLinesWith("x-sid:sid-only", "x-utdid:"));
}

TEST_F(HttpRequestComposerTest, EachKnownNetworkTypeIsSent) {
    for (const char* type : {"2g", "3g", "wifi"}) {
        request->SetNetworkType(type);
        EXPECT_EQ(Headers(), BaseLinesWith(std::string("x-nq:") + type, "x-t:")) << type;
    }
}

TEST_F(HttpRequestComposerTest, AnyOtherNetworkTypeIsNotSent) {
    for (const char* type : {"4g", "WIFI", "5g", " wifi", ""}) {
        request->SetNetworkType(type);
        EXPECT_EQ(Headers(), BaseLines()) << type;
    }
}

TEST_F(HttpRequestComposerTest, BothLatAndLngSendTheLocationLongitudeFirst) {
    config->lat = "30.2";
    config->lng = "120.1";
    EXPECT_EQ(Headers(), BaseLinesWith("x-location:120.1%2C30.2", "x-t:"));
}

TEST_F(HttpRequestComposerTest, OnlyLatSendsNoLocation) {
    config->lat = "30.2";
    EXPECT_EQ(Headers(), BaseLines());
}

TEST_F(HttpRequestComposerTest, OnlyLngSendsNoLocation) {
    config->lng = "120.1";
    EXPECT_EQ(Headers(), BaseLines());
}

TEST_F(HttpRequestComposerTest, FeaturesZeroSendsNoFeaturesLine) {
    config->features = 0;
    EXPECT_EQ(Headers(), BaseLines());
}

TEST_F(HttpRequestComposerTest, NegativeFeaturesSendNoFeaturesLine) {
    config->features = -5;
    EXPECT_EQ(Headers(), BaseLines());
}

TEST_F(HttpRequestComposerTest, Features27IsSentInDecimal) {
    config->features = 27;
    EXPECT_EQ(Headers(), BaseLinesWith("x-features:27", "Content-Type:"));
}

TEST_F(HttpRequestComposerTest, Features300IsSentInDecimal) {
    config->features = 300;
    EXPECT_EQ(Headers(), BaseLinesWith("x-features:300", "Content-Type:"));
}

TEST_F(HttpRequestComposerTest, KolvaVersionIsSentEncodedWhenNotEmpty) {
    VersionOnlySign sign("kv 1/2");
    EXPECT_EQ(Headers(&sign), BaseLinesWith("x-kv-version:kv+1%2F2", "Content-Type:"));
}

TEST_F(HttpRequestComposerTest, EmptyKolvaVersionSendsNoLine) {
    VersionOnlySign sign("");
    EXPECT_EQ(Headers(&sign), BaseLines());
    EXPECT_EQ(sign.versionReads, 1);
}

TEST_F(HttpRequestComposerTest, NoSigningBridgeCountsAsAnEmptyKolvaVersion) {
    EXPECT_EQ(Headers(nullptr), BaseLines());
}

TEST_F(HttpRequestComposerTest, TimestampIsSentAsItStandsEvenWhenUnset) {
    request->SetTimestamp(-1);
    Lines expected = BaseLines();
    expected[5] = "x-t:-1";
    EXPECT_EQ(Headers(), expected);
}

TEST_F(HttpRequestComposerTest, EmptyIdentityFieldsStillSendTheirLines) {
    config->utdid = "";
    config->ttid = "";
    config->devId = "";
    config->appKey = "";
    EXPECT_EQ(Headers(),
              (Lines{"host:gw-online-1.quil.example", "x-utdid:", "x-ttid:", "x-devid:",
                     "x-reqbiz-ext:", "x-t:1700000000", "x-pv:6.3", "x-appkey:", kContentType}));
}

TEST_F(HttpRequestComposerTest, EveryOptionalLineInItsOrderWithA62Signature) {
    config->RegisterMultiAccountSession("", "sid/1", "uid 1");
    config->lat = "30.2";
    config->lng = "120.1";
    config->features = 27;
    request->SetNeedLogin(true);
    request->SetReqBizExt("biz ext");
    request->SetOpenBiz("ob");
    request->SetMiniAppKey("mak");
    request->SetReqAppKey("rak");
    request->SetAct("a/c");
    request->SetOpenBizData("{\"x\":1}");
    request->SetMiniAppIdTarvel("tv");
    request->SetMiniAppIdPelmay("pm");
    request->SetExtType("isv_open_api");
    request->SetExtData("e=1");
    request->SetNetworkType("wifi");
    request->SetSign("sig+1");
    request->AddHeader("X-Custom", "a b/c");
    VersionOnlySign sign("kv 1");
    EXPECT_EQ(Headers(&sign), (Lines{"host:gw-online-1.quil.example",
                                     "x-sid:sid%2F1",
                                     "x-uid:uid+1",
                                     "x-utdid:utd%2F1",
                                     "x-ttid:ttid%40pc",
                                     "x-devid:dev-1",
                                     "x-reqbiz-ext:biz+ext",
                                     "x-open-biz:ob",
                                     "x-mini-appkey:mak",
                                     "x-req-appkey:rak",
                                     "x-act:a%2Fc",
                                     "x-open-biz-data:%7B%22x%22%3A1%7D",
                                     "x-miniapp-id-tarvel:tv",
                                     "x-miniapp-id-pelmay:pm",
                                     "x-exttype:isv_open_api",
                                     "x-extdata:e%3D1",
                                     "x-nq:wifi",
                                     "x-location:120.1%2C30.2",
                                     "x-t:1700000000",
                                     "x-sign:sig%2B1",
                                     "x-pv:6.2",
                                     "x-appkey:app+1",
                                     "x-features:27",
                                     "x-kv-version:kv+1",
                                     kContentType,
                                     "X-Custom:a b/c"}));
}

TEST_F(HttpRequestComposerTest, A63RequestHasNoSignLineAndItsEncodedSignHeadersLast) {
    request->AddHeader("x-custom", "a b/c");
    request->SetSignHeaders({{"x-umt", "u/m+1"}, {"x-sgext", "1 2"}});
    Lines expected = BaseLines();
    expected.push_back("x-custom:a b/c");
    expected.push_back("x-sgext:1+2");
    expected.push_back("x-umt:u%2Fm%2B1");
    EXPECT_EQ(Headers(), expected);
}

TEST_F(HttpRequestComposerTest, CustomHeadersAreSentUnencodedInKeyOrder) {
    request->AddHeader("b-key", "x y/z%");
    request->AddHeader("A-Key", "1=2&3");
    Lines expected = BaseLines();
    expected.push_back("A-Key:1=2&3");
    expected.push_back("b-key:x y/z%");
    EXPECT_EQ(Headers(), expected);
}

// ---- cookies ----

TEST_F(HttpRequestComposerTest, StoredCookieIsAddedLastForTheRequestUrl) {
    FakeCookieStorage storage("a=b; c=d");
    config->RegisterCookieStorage(&storage);
    ScopedRecordingLog log;
    request->SetSignHeaders({{"x-umt", "u"}});
    auto http = Compose();
    Lines expected = BaseLines();
    expected.push_back("x-umt:u");
    expected.push_back("Cookie:a=b; c=d");
    EXPECT_EQ(http->header, expected);
    EXPECT_EQ(storage.Urls(), (Lines{"http://gw-online-1.quil.example/gw/quil.test.api/1.0/?"}));
    EXPECT_TRUE(
        log->Has("set cookie for url: http://gw-online-1.quil.example/gw/quil.test.api/"
                 "1.0/?, a=b; c=d\n",
                 QUIL_LOG_VERBOSE));
    EXPECT_GE(Metrics()->getCookieStartTime, 0.0);
    EXPECT_GE(Metrics()->getCookieEndTime, Metrics()->getCookieStartTime);
}

TEST_F(HttpRequestComposerTest, CustomCookieHeaderKeepsTheStorageFromBeingAsked) {
    FakeCookieStorage storage("stored=1");
    config->RegisterCookieStorage(&storage);
    request->AddHeader("Cookie", "mine=1");
    Lines expected = BaseLines();
    expected.push_back("Cookie:mine=1");
    EXPECT_EQ(Headers(), expected);
    EXPECT_TRUE(storage.Urls().empty());
    EXPECT_GE(Metrics()->getCookieStartTime, 0.0);
    EXPECT_GE(Metrics()->getCookieEndTime, 0.0);
}

TEST_F(HttpRequestComposerTest, CustomLowerCaseCookieHeaderKeepsTheStorageFromBeingAsked) {
    FakeCookieStorage storage("stored=1");
    config->RegisterCookieStorage(&storage);
    request->AddHeader("cookie", "mine=1");
    Lines expected = BaseLines();
    expected.push_back("cookie:mine=1");
    EXPECT_EQ(Headers(), expected);
    EXPECT_TRUE(storage.Urls().empty());
}

TEST_F(HttpRequestComposerTest, CustomUpperCaseCookieHeaderKeepsTheStorageFromBeingAsked) {
    FakeCookieStorage storage("stored=1");
    config->RegisterCookieStorage(&storage);
    request->AddHeader("COOKIE", "mine=1");
    Lines expected = BaseLines();
    expected.push_back("COOKIE:mine=1");
    EXPECT_EQ(Headers(), expected);
    EXPECT_TRUE(storage.Urls().empty());
}

TEST_F(HttpRequestComposerTest, CustomMixedCaseCookieHeaderDoesNotKeepTheStorageFromBeingAsked) {
    FakeCookieStorage storage("stored=1");
    config->RegisterCookieStorage(&storage);
    request->AddHeader("cOOKIE", "mine=1");
    Lines expected = BaseLines();
    expected.push_back("cOOKIE:mine=1");
    expected.push_back("Cookie:stored=1");
    EXPECT_EQ(Headers(), expected);
    EXPECT_EQ(storage.Urls(), (Lines{"http://gw-online-1.quil.example/gw/quil.test.api/1.0/?"}));
}

TEST_F(HttpRequestComposerTest, EmptyStoredCookieAddsNoLineAndNoLogButWritesTheMarks) {
    FakeCookieStorage storage("");
    config->RegisterCookieStorage(&storage);
    ScopedRecordingLog log;
    EXPECT_EQ(Headers(), BaseLines());
    EXPECT_EQ(storage.Urls().size(), 1u);
    EXPECT_TRUE(log->FindPrefix("set cookie").message.empty());
    EXPECT_GE(Metrics()->getCookieStartTime, 0.0);
    EXPECT_GE(Metrics()->getCookieEndTime, 0.0);
}

TEST_F(HttpRequestComposerTest, WithoutCookieStorageTheCookieMarksStayUnset) {
    EXPECT_EQ(Headers(), BaseLines());
    EXPECT_EQ(Metrics()->getCookieStartTime, -1.0);
    EXPECT_EQ(Metrics()->getCookieEndTime, -1.0);
}

// ---- sign input ----

TEST_F(HttpRequestComposerTest, SignInput63WithEmptyFieldsKeepsEveryPlace) {
    EXPECT_EQ(SignInput(true),
              "utd/1&&&app 1&99914b932bd37a50b983c5e7c90ae93b&1700000000&quil.test.api&1.0&&"
              "ttid@pc&dev-1&&&&&&&&&&&");
}

TEST_F(HttpRequestComposerTest, SignInput62WithoutIsvOpenApiHasNoExtensionPlace) {
    request->SetExtData("ext");
    request->SetExtType("other");
    EXPECT_EQ(SignInput(false),
              "utd/1&&&app 1&99914b932bd37a50b983c5e7c90ae93b&1700000000&quil.test.api&1.0&&"
              "ttid@pc&dev-1&&&&&&&&&&");
}

TEST_F(HttpRequestComposerTest, SignInput62WithIsvOpenApiCarriesExtData) {
    request->SetExtData("ext");
    request->SetExtType("isv_open_api");
    EXPECT_EQ(SignInput(false),
              "utd/1&&&app 1&99914b932bd37a50b983c5e7c90ae93b&1700000000&quil.test.api&1.0&&"
              "ttid@pc&dev-1&&&ext&&&&&&&&");
}

TEST_F(HttpRequestComposerTest, SignInput62WithIsvOpenApiAndEmptyExtDataKeepsItsPlace) {
    request->SetExtType("isv_open_api");
    EXPECT_EQ(SignInput(false),
              "utd/1&&&app 1&99914b932bd37a50b983c5e7c90ae93b&1700000000&quil.test.api&1.0&&"
              "ttid@pc&dev-1&&&&&&&&&&&");
}

TEST_F(HttpRequestComposerTest, SignInput63CarriesExtDataWhateverTheExtType) {
    request->SetExtData("ext");
    request->SetExtType("other");
    EXPECT_EQ(SignInput(true),
              "utd/1&&&app 1&99914b932bd37a50b983c5e7c90ae93b&1700000000&quil.test.api&1.0&&"
              "ttid@pc&dev-1&&&ext&&&&&&&&");
}

TEST_F(HttpRequestComposerTest, SignInputWithNeedLoginAndASessionCarriesUidAndSid) {
    config->RegisterMultiAccountSession("", "sid/1", "uid 1");
    request->SetNeedLogin(true);
    EXPECT_EQ(SignInput(true),
              "utd/1&uid 1&&app 1&99914b932bd37a50b983c5e7c90ae93b&1700000000&quil.test.api&1.0&"
              "sid/1&ttid@pc&dev-1&&&&&&&&&&&");
}

TEST_F(HttpRequestComposerTest, SignInputWithoutNeedLoginLeavesSessionPlacesEmpty) {
    config->RegisterMultiAccountSession("", "sid/1", "uid 1");
    EXPECT_EQ(SignInput(true),
              "utd/1&&&app 1&99914b932bd37a50b983c5e7c90ae93b&1700000000&quil.test.api&1.0&&"
              "ttid@pc&dev-1&&&&&&&&&&&");
}

TEST_F(HttpRequestComposerTest, SignInputWithNeedLoginButNoSessionLeavesSessionPlacesEmpty) {
    request->SetNeedLogin(true);
    EXPECT_EQ(SignInput(true),
              "utd/1&&&app 1&99914b932bd37a50b983c5e7c90ae93b&1700000000&quil.test.api&1.0&&"
              "ttid@pc&dev-1&&&&&&&&&&&");
}

TEST_F(HttpRequestComposerTest, SignInputHasLatBeforeLng) {
    config->lat = "30.2";
    config->lng = "120.1";
    EXPECT_EQ(SignInput(true),
              "utd/1&&&app 1&99914b932bd37a50b983c5e7c90ae93b&1700000000&quil.test.api&1.0&&"
              "ttid@pc&dev-1&30.2&120.1&&&&&&&&&");
}

TEST_F(HttpRequestComposerTest, SignInputWithOnlyLatLeavesBothPlacesEmpty) {
    config->lat = "30.2";
    EXPECT_EQ(SignInput(true),
              "utd/1&&&app 1&99914b932bd37a50b983c5e7c90ae93b&1700000000&quil.test.api&1.0&&"
              "ttid@pc&dev-1&&&&&&&&&&&");
}

TEST_F(HttpRequestComposerTest, SignInputWithOnlyLngLeavesBothPlacesEmpty) {
    config->lng = "120.1";
    EXPECT_EQ(SignInput(false),
              "utd/1&&&app 1&99914b932bd37a50b983c5e7c90ae93b&1700000000&quil.test.api&1.0&&"
              "ttid@pc&dev-1&&&&&&&&&&");
}

TEST_F(HttpRequestComposerTest, SignInputFeatures27IsTheSingleByte0x1B) {
    config->features = 27;
    EXPECT_EQ(SignInput(true),
              "utd/1&&&app 1&99914b932bd37a50b983c5e7c90ae93b&1700000000&quil.test.api&1.0&&"
              "ttid@pc&dev-1&&&&\x1B&&&&&&&");
}

TEST_F(HttpRequestComposerTest, SignInputFeatures300IsItsLowByteAComma) {
    config->features = 300;
    EXPECT_EQ(SignInput(false),
              "utd/1&&&app 1&99914b932bd37a50b983c5e7c90ae93b&1700000000&quil.test.api&1.0&&"
              "ttid@pc&dev-1&&&,&&&&&&&");
}

TEST_F(HttpRequestComposerTest, SignInputFeatures256IsANulByte) {
    config->features = 256;
    const std::string expected =
        std::string(
            "utd/1&&&app 1&99914b932bd37a50b983c5e7c90ae93b&1700000000&quil.test.api&1.0&&"
            "ttid@pc&dev-1&&&&") +
        std::string(1, '\0') + "&&&&&&&";
    EXPECT_EQ(SignInput(true), expected);
}

TEST_F(HttpRequestComposerTest, SignInputFeaturesZeroAddsNoByte) {
    config->features = 0;
    EXPECT_EQ(SignInput(false),
              "utd/1&&&app 1&99914b932bd37a50b983c5e7c90ae93b&1700000000&quil.test.api&1.0&&"
              "ttid@pc&dev-1&&&&&&&&&&");
}

TEST_F(HttpRequestComposerTest, SignInputWithEveryFieldSet) {
    config->RegisterMultiAccountSession("", "sid/1", "uid 1");
    config->lat = "30.2";
    config->lng = "120.1";
    config->features = 27;
    request->SetNeedLogin(true);
    request->SetReqBizExt("biz ext");
    request->SetOpenBiz("ob");
    request->SetMiniAppKey("mak");
    request->SetReqAppKey("rak");
    request->SetAct("a/c");
    request->SetOpenBizData("{\"x\":1}");
    request->SetExtType("isv_open_api");
    request->SetExtData("e=1");
    EXPECT_EQ(SignInput(false),
              "utd/1&uid 1&biz ext&app 1&99914b932bd37a50b983c5e7c90ae93b&1700000000&"
              "quil.test.api&1.0&sid/1&ttid@pc&dev-1&30.2&120.1&e=1&\x1B&&&ob&mak&rak&a/c&"
              "{\"x\":1}");
    EXPECT_EQ(SignInput(true),
              "utd/1&uid 1&biz ext&app 1&99914b932bd37a50b983c5e7c90ae93b&1700000000&"
              "quil.test.api&1.0&sid/1&ttid@pc&dev-1&30.2&120.1&e=1&\x1B&&&ob&mak&rak&a/c&"
              "{\"x\":1}");
}

TEST_F(HttpRequestComposerTest, SignInputDigestsLargeDataInsteadOfCarryingIt) {
    request->SetRawData(std::string(1 << 20, 'a'));
    const std::string input = SignInput(true);
    EXPECT_EQ(input,
              "utd/1&&&app 1&7202826a7791073fe2787f0c94603278&1700000000&quil.test.api&1.0&&"
              "ttid@pc&dev-1&&&&&&&&&&&");
}

TEST_F(HttpRequestComposerTest, SignInputLogsDataAndDigest) {
    ScopedRecordingLog log;
    SignInput(true);
    EXPECT_TRUE(log->Has("originalData: {}", QUIL_LOG_VERBOSE));
    EXPECT_TRUE(log->Has("md5Data: 99914b932bd37a50b983c5e7c90ae93b", QUIL_LOG_VERBOSE));
}

TEST_F(HttpRequestComposerTest, SignInputUsesTheTimestampOfThePass) {
    request->SetTimestamp(1234567890123);
    EXPECT_EQ(SignInput(true),
              "utd/1&&&app 1&99914b932bd37a50b983c5e7c90ae93b&1234567890123&quil.test.api&1.0&&"
              "ttid@pc&dev-1&&&&&&&&&&&");
}
