// The shapes a gateway call can take on the wire, end to end: GET with its data and query
// parameters in the URL, POST with text that needs encoding (non-ASCII and reserved characters)
// in data, headers and parameters, and a call that sets every optional header field at once.
// The emulator's signature check covers each of them.
#include <json/json.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "E2eHost.h"
#include "ExpectedSignInput.h"
#include "StandInSignature.h"

namespace quil {
namespace test {
namespace {

// A host cookie store that answers every URL with one cookie.
class OneCookieStorage : public IQuilCookieStorage {
public:
    bool GetCookie(const std::string& /*url*/, std::string& cookie) override {
        cookie = "session=c00k1e; theme=dark";
        return true;
    }
};

Json::Value ParseJson(const std::string& text) {
    Json::Value value;
    Json::CharReaderBuilder builder;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    reader->parse(text.data(), text.data() + text.size(), &value, nullptr);
    return value;
}

class RequestShape : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(host.Start()); }

    ExpectedSignInput SignInputFor(const std::string& api, const std::string& data,
                                   int64_t timestamp) const {
        ExpectedSignInput input;
        input.utdid = E2eHost::kUtdid;
        input.appKey = E2eHost::kAppKey;
        input.data = data;
        input.timestamp = timestamp;
        input.api = api;
        input.version = "1.0";
        input.ttid = E2eHost::kTtid;
        input.devId = E2eHost::kDevId;
        return input;
    }

    E2eHost host;
};

TEST_F(RequestShape, GetCarriesDataAndParamsInUrl) {
    QuilRequest* request = QuilRequest::Create("E2E.Search", "1.0");
    request->SetMethod(1);
    request->AddData("q", std::string("tea"));
    request->SetParams({{"size", "10"}, {"page", "2"}});
    ResponsePtr response = host.Call(request);

    ASSERT_NE(response, nullptr);
    const int64_t timestamp = response->GetRequest()->GetTimestamp();
    ASSERT_EQ(host.Gateway().RequestCount(), 1u);
    const ReceivedRequest received = host.Gateway().Requests().at(0);
    const std::string data = "{   \"q\" : \"tea\"}";
    const std::string signInput = SignInputFor("e2e.search", data, timestamp).Build(true);
    const std::string sign = standin::Signature(E2eHost::kAppKey, standin::kLabelJson, signInput);
    // Api and version in lower case; parameters in key order behind the encoded data.
    const std::string target =
        "/gw/e2e.search/1.0/?data=%7B+++%22q%22+%3A+%22tea%22%7D&page=2&size=10";
    const std::vector<std::string> lines = {"host:" + host.HostText(),
                                            "x-utdid:e2e-utdid",
                                            "x-ttid:e2e-ttid",
                                            "x-devid:e2e-devid",
                                            "x-reqbiz-ext:",
                                            "x-t:" + std::to_string(timestamp),
                                            "x-pv:6.3",
                                            "x-appkey:e2e-app-key",
                                            kFormContentTypeLine,
                                            "x-standin-scheme:hmac-sha256",
                                            "x-standin-sign:" + sign};
    EXPECT_EQ(host.Client().Exchanges().at(0).url, "http://" + host.HostText() + target);
    EXPECT_EQ(received.method, "GET");
    EXPECT_EQ(received.target, target);
    EXPECT_EQ(received.path, "/gw/e2e.search/1.0/");
    EXPECT_EQ(received.query, "data=%7B+++%22q%22+%3A+%22tea%22%7D&page=2&size=10");
    EXPECT_EQ(received.headerLines, AsSentByCurl(lines, false, ""));
    EXPECT_EQ(received.body, "");
    EXPECT_EQ(received.signInput, signInput);
    EXPECT_EQ(received.answerCode, "SUCCESS");

    EXPECT_EQ(response->GetStatusCode(), 200);
    EXPECT_TRUE(response->IsSuccess());
    EXPECT_EQ(response->GetRetInfo()->retCode, "SUCCESS");
    EXPECT_EQ(response->GetBody(),
              "{\"api\":\"e2e.search\",\"data\":{\"q\":\"tea\"},\"ret\":[\"SUCCESS::call "
              "succeeded\"],\"v\":\"1.0\"}");
}

TEST_F(RequestShape, PostCarriesNonAsciiAndReservedCharacters) {
    // Data is URL-encoded byte by byte; a custom header and the parameters go out as they are.
    // Parameters are not encoded at all, so a host must keep raw blanks (which would split the
    // request line) and "#" (which ends a URL) out of them. A second "?" would be legal in a
    // query, but the emulator's HTTP server refuses a target with two, so none is used here.
    const std::string data =
        "{\"text\":\"Gr\xC3\xBC\xC3\x9F"
        "e & \xE6\x9D\xB1\xE4\xBA\xAC = 100%?\","
        "\"path\":\"/a+b#c\"}";
    QuilRequest* request = QuilRequest::Create("e2e.echo", "1.0");
    request->SetRawData(data);
    request->AddHeader("x-note",
                       "Gr\xC3\xBC\xC3\x9F"
                       "e & \xE6\x9D\xB1\xE4\xBA\xAC=?#;,");
    request->AddParam("city", "\xE6\x9D\xB1\xE4\xBA\xAC");
    request->AddParam("q", "a+b/c:d@e!$'()*,;=f&g=%41");
    ResponsePtr response = host.Call(request);

    ASSERT_NE(response, nullptr);
    const int64_t timestamp = response->GetRequest()->GetTimestamp();
    ASSERT_EQ(host.Client().Count(), 1u);
    EXPECT_EQ(host.Client().Exchanges().at(0).errorMessage, "");
    ASSERT_EQ(host.Gateway().RequestCount(), 1u);
    const ReceivedRequest received = host.Gateway().Requests().at(0);
    const std::string signInput = SignInputFor("e2e.echo", data, timestamp).Build(true);
    const std::string sign = standin::Signature(E2eHost::kAppKey, standin::kLabelJson, signInput);
    const std::string form =
        "data=%7B%22text%22%3A%22Gr%C3%BC%C3%9Fe+%26+%E6%9D%B1%E4%BA%AC+%3D+100%25%3F%22%2C"
        "%22path%22%3A%22%2Fa%2Bb%23c%22%7D";
    const std::string target =
        "/gw/e2e.echo/1.0/?&city=\xE6\x9D\xB1\xE4\xBA\xAC&q=a+b/c:d@e!$'()*,;=f&g=%41";
    const std::vector<std::string> lines = {"host:" + host.HostText(),
                                            "x-utdid:e2e-utdid",
                                            "x-ttid:e2e-ttid",
                                            "x-devid:e2e-devid",
                                            "x-reqbiz-ext:",
                                            "x-t:" + std::to_string(timestamp),
                                            "x-pv:6.3",
                                            "x-appkey:e2e-app-key",
                                            kFormContentTypeLine,
                                            "x-note:Gr\xC3\xBC\xC3\x9F"
                                            "e & \xE6\x9D\xB1\xE4\xBA\xAC=?#;,",
                                            "x-standin-scheme:hmac-sha256",
                                            "x-standin-sign:" + sign};
    EXPECT_EQ(received.method, "POST");
    EXPECT_EQ(received.target, target);
    EXPECT_EQ(received.path, "/gw/e2e.echo/1.0/");
    EXPECT_EQ(received.query, "&city=\xE6\x9D\xB1\xE4\xBA\xAC&q=a+b/c:d@e!$'()*,;=f&g=%41");
    EXPECT_EQ(received.headerLines, AsSentByCurl(lines, true, form));
    EXPECT_EQ(received.body, form);
    EXPECT_EQ(received.signInput, signInput);
    EXPECT_EQ(received.answerCode, "SUCCESS");

    EXPECT_EQ(response->GetStatusCode(), 200);
    EXPECT_TRUE(response->IsSuccess());
    EXPECT_EQ(response->GetRetInfo()->retCode, "SUCCESS");
    // The gateway echoes the data it decoded: the same text, byte for byte.
    const Json::Value echoed = ParseJson(response->GetBody())["data"];
    EXPECT_EQ(echoed["text"].asString(),
              "Gr\xC3\xBC\xC3\x9F"
              "e & \xE6\x9D\xB1\xE4\xBA\xAC = 100%?");
    EXPECT_EQ(echoed["path"].asString(), "/a+b#c");
}

// Every optional field of the request and the configuration set at once, each with a value that
// needs encoding where one can, plus a session, custom headers and a cookie from the host's
// store; signed by the road given.
void CallWithEveryField(E2eHost& host, bool jsonRoad) {
    static OneCookieStorage cookies;  // the library keeps the pointer for the process
    QuilConfig* config = QuilConfig::GetInstance();
    config->lat = "30.25";
    config->lng = "120.5";
    config->features = 27;
    config->RegisterCookieStorage(&cookies);
    ASSERT_TRUE(config->RegisterMultiAccountSession("", "sid-42", "uid-7"));
    host.StandIn().SetText("traffic.version", "3.1.4");
    if (!jsonRoad) {
        host.StandIn().SetInt("jsonSign.fail", 1);
    }
    host.Gateway().Settings().RequireSession("e2e.full", true);
    host.Gateway().Settings().AddSession("sid-42");

    QuilRequest* request = QuilRequest::Create("e2e.full", "1.0");
    request->SetNeedLogin(true);
    request->SetRawData("{\"n\":1}");
    request->SetReqBizExt("ext&1");
    request->SetOpenBiz("biz one");
    request->SetMiniAppKey("mini/key");
    request->SetReqAppKey("req:key");
    request->SetAct("act=1");
    request->SetOpenBizData("{\"a\":1}");
    request->SetMiniAppIdTarvel("tarvel-1");
    request->SetMiniAppIdPelmay("pelmay_2");
    request->SetExtType("isv_open_api");
    request->SetExtData("k=v;w");
    request->SetNetworkType("wifi");
    request->SetHeaders({{"x-biz-tag", "t1"}, {"a-custom", "z"}});
    ResponsePtr response = host.Call(request);

    ASSERT_NE(response, nullptr);
    const int64_t timestamp = response->GetRequest()->GetTimestamp();
    ASSERT_EQ(host.Gateway().RequestCount(), 1u);
    const ReceivedRequest received = host.Gateway().Requests().at(0);

    ExpectedSignInput input;
    input.utdid = E2eHost::kUtdid;
    input.uid = "uid-7";
    input.reqBizExt = "ext&1";
    input.appKey = E2eHost::kAppKey;
    input.data = "{\"n\":1}";
    input.timestamp = timestamp;
    input.api = "e2e.full";
    input.version = "1.0";
    input.sid = "sid-42";
    input.ttid = E2eHost::kTtid;
    input.devId = E2eHost::kDevId;
    input.lat = "30.25";
    input.lng = "120.5";
    input.extType = "isv_open_api";
    input.extData = "k=v;w";
    input.features = 27;
    input.openBiz = "biz one";
    input.miniAppKey = "mini/key";
    input.reqAppKey = "req:key";
    input.act = "act=1";
    input.openBizData = "{\"a\":1}";
    const std::string signInput = input.Build(jsonRoad);

    std::vector<std::string> lines = {"host:" + host.HostText(),
                                      "x-sid:sid-42",
                                      "x-uid:uid-7",
                                      "x-utdid:e2e-utdid",
                                      "x-ttid:e2e-ttid",
                                      "x-devid:e2e-devid",
                                      "x-reqbiz-ext:ext%261",
                                      "x-open-biz:biz+one",
                                      "x-mini-appkey:mini%2Fkey",
                                      "x-req-appkey:req%3Akey",
                                      "x-act:act%3D1",
                                      "x-open-biz-data:%7B%22a%22%3A1%7D",
                                      "x-miniapp-id-tarvel:tarvel-1",
                                      "x-miniapp-id-pelmay:pelmay_2",
                                      "x-exttype:isv_open_api",
                                      "x-extdata:k%3Dv%3Bw",
                                      "x-nq:wifi",
                                      "x-location:120.5%2C30.25",
                                      "x-t:" + std::to_string(timestamp)};
    if (!jsonRoad) {
        lines.push_back("x-sign:" +
                        standin::Signature(E2eHost::kAppKey, standin::kLabelUrlMethod1, signInput));
    }
    lines.push_back(jsonRoad ? "x-pv:6.3" : "x-pv:6.2");
    lines.push_back("x-appkey:e2e-app-key");
    lines.push_back("x-features:27");
    lines.push_back("x-kv-version:3.1.4");
    lines.push_back(kFormContentTypeLine);
    lines.push_back("a-custom:z");
    lines.push_back("x-biz-tag:t1");
    if (jsonRoad) {
        lines.push_back("x-standin-scheme:hmac-sha256");
        lines.push_back("x-standin-sign:" +
                        standin::Signature(E2eHost::kAppKey, standin::kLabelJson, signInput));
    }
    lines.push_back("Cookie:session=c00k1e; theme=dark");

    const std::string form = "data=%7B%22n%22%3A1%7D";
    EXPECT_EQ(received.method, "POST");
    EXPECT_EQ(received.target, "/gw/e2e.full/1.0/?");
    EXPECT_EQ(received.headerLines, AsSentByCurl(lines, true, form));
    EXPECT_EQ(received.body, form);
    EXPECT_EQ(received.signInput, signInput);
    // Signature, timestamp and session all passed the gateway's checks.
    EXPECT_EQ(received.answerCode, "SUCCESS");

    EXPECT_EQ(response->GetStatusCode(), 200);
    EXPECT_TRUE(response->IsSuccess());
    EXPECT_EQ(response->GetRetInfo()->retCode, "SUCCESS");
    EXPECT_EQ(response->GetBody(),
              "{\"api\":\"e2e.full\",\"data\":{\"n\":1},\"ret\":[\"SUCCESS::call "
              "succeeded\"],\"v\":\"1.0\"}");
}

TEST_F(RequestShape, EveryOptionalFieldAtOnceSignedByJsonRoad) { CallWithEveryField(host, true); }

TEST_F(RequestShape, EveryOptionalFieldAtOnceSignedByUrlRoad) { CallWithEveryField(host, false); }

}  // namespace
}  // namespace test
}  // namespace quil
