#include "ZentRequestForm.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "QuilBuildConfig.h"

namespace {

ZentRequestForm::Client SampleClient() {
    ZentRequestForm::Client client;
    client.appKey = "12345678";
    client.appName = "Quil Demo";
    client.appVersion = "1.0";
    client.utdid = "utdid-1";
    client.lat = "30.1";
    client.lng = "120.2";
    return client;
}

}  // namespace

TEST(ZentRequestForm, TheTwelveFilledParametersCarryTheConfiguration) {
    const ZentRequestForm::Params params =
        ZentRequestForm::BuildParams(SampleClient(), "gw.quil.example", 1700000000);
    const ZentRequestForm::Params expected = {
        {"appName", "Quil Demo"}, {"appVersion", "1.0"},         {"appkey", "12345678"},
        {"deviceId", "utdid-1"},  {"domain", "gw.quil.example"}, {"lat", "30.1"},
        {"lng", "120.2"},         {"netType", "WIFI"},           {"platform", "pc"},
        {"signType", "sec"},      {"t", "1700000000"},           {"v", "4.0"}};
    EXPECT_EQ(params, expected);
}

TEST(ZentRequestForm, TheSignInputJoinsNineteenValuesAndCreatesTheSevenEmptyKeys) {
    ZentRequestForm::Params params =
        ZentRequestForm::BuildParams(SampleClient(), "gw.quil.example", 1700000000);
    EXPECT_EQ(ZentRequestForm::GetSignInput(params),
              "12345678&gw.quil.example&Quil Demo&1.0&&&utdid-1&30.1&120.2&&WIFI&&pc&&&&"
              "1700000000&4.0&sec");
    EXPECT_EQ(params.size(), 19u);
    for (const char* key :
         {"bssid", "channel", "machine", "other", "platformVersion", "preIp", "sid"}) {
        ASSERT_EQ(params.count(key), 1u) << key;
        EXPECT_EQ(params.at(key), "") << key;
    }
}

TEST(ZentRequestForm, TheBodyEncodesEveryEntryInKeyOrderWithEmptyValuesAsKeyAndEquals) {
    ZentRequestForm::Params params =
        ZentRequestForm::BuildParams(SampleClient(), "gw.quil.example", 1700000000);
    ZentRequestForm::GetSignInput(params);
    params["sign"] = "abc/def";
    EXPECT_EQ(ZentRequestForm::EncodeBody(params),
              "appName=Quil+Demo&appVersion=1.0&appkey=12345678&bssid=&channel=&"
              "deviceId=utdid-1&domain=gw.quil.example&lat=30.1&lng=120.2&machine=&"
              "netType=WIFI&other=&platform=pc&platformVersion=&preIp=&sid=&sign=abc%2Fdef&"
              "signType=sec&t=1700000000&v=4.0");
    EXPECT_EQ(ZentRequestForm::EncodeBody({}), "");
}

TEST(ZentRequestForm, ABlankGoesIntoTheBodyAsPlusAndIntoSignInputAndUrlUnencoded) {
    ZentRequestForm::Client client = SampleClient();
    client.utdid = "my device";
    ZentRequestForm::Params params = ZentRequestForm::BuildParams(client, "a b", 1);
    const std::string input = ZentRequestForm::GetSignInput(params);
    EXPECT_NE(input.find("&a b&"), std::string::npos);
    EXPECT_NE(input.find("&my device&"), std::string::npos);
    const std::string body = ZentRequestForm::EncodeBody(params);
    EXPECT_NE(body.find("domain=a+b&"), std::string::npos);
    EXPECT_NE(body.find("deviceId=my+device&"), std::string::npos);
    std::string url;
    ASSERT_TRUE(ZentRequestForm::MakeUrl("zent.quil.example", params, &url));
    EXPECT_EQ(url,
              "http://zent.quil.example:80/zent/mobileDispatch?appkey=12345678&v=4.0&"
              "deviceId=my device&platform=pc");
}

TEST(ZentRequestForm, OnlyFourReachesProductionAndOnePreReleaseEveryOtherValueTheTestHost) {
    EXPECT_EQ(ZentRequestForm::HostFor(4), QUIL_DISPATCH_HOST_ONLINE);
    EXPECT_EQ(ZentRequestForm::HostFor(1), QUIL_DISPATCH_HOST_PRE);
    EXPECT_EQ(ZentRequestForm::HostFor(0), QUIL_DISPATCH_HOST_DAILY);
    EXPECT_EQ(ZentRequestForm::HostFor(2), QUIL_DISPATCH_HOST_DAILY);
    EXPECT_EQ(ZentRequestForm::HostFor(-7), QUIL_DISPATCH_HOST_DAILY);
}

TEST(ZentRequestForm, AUrlThatWouldNotFitItsBufferIsRefused) {
    ZentRequestForm::Params params =
        ZentRequestForm::BuildParams(SampleClient(), "gw.quil.example", 1);
    const std::string prefix = "http://h:80/zent/mobileDispatch?appkey=";
    const std::string rest = "&v=4.0&deviceId=utdid-1&platform=pc";
    // Exactly 4,095 characters fit beside the terminator.
    params["appkey"] = std::string(4095 - prefix.size() - rest.size(), 'k');
    std::string url;
    ASSERT_TRUE(ZentRequestForm::MakeUrl("h", params, &url));
    EXPECT_EQ(url.size(), 4095u);
    params["appkey"].push_back('k');
    url = "left over";
    EXPECT_FALSE(ZentRequestForm::MakeUrl("h", params, &url));
    EXPECT_EQ(url, "");
}

TEST(ZentRequestForm, TheHttpRequestIsAPostWithTheThreeHeaderLinesAndDefaults) {
    std::unique_ptr<HttpRequest> request = ZentRequestForm::MakeHttpRequest("http://u", "a=b");
    EXPECT_EQ(request->method, 1);
    EXPECT_EQ(request->url, "http://u");
    EXPECT_EQ(request->body, "a=b");
    EXPECT_EQ(request->header,
              (std::vector<std::string>{"Connection:close", "Accept-Encoding:gzip",
                                        "Content-Type: application/x-www-form-urlencoded"}));
    EXPECT_EQ(request->requestId, -1);
    EXPECT_EQ(request->cancelKey, "");
    EXPECT_EQ(request->callback, nullptr);
    EXPECT_EQ(request->proxy, "");
    EXPECT_EQ(request->sslValue, "");
}
