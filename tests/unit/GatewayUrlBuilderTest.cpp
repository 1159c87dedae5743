#include "GatewayUrlBuilder.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

#include "QuilConfig.h"

using Params = std::map<std::string, std::string>;

namespace {

class GatewayUrlBuilderTest : public ::testing::Test {
protected:
    void SetUp() override { QuilConfig::GetInstance()->environment = 0; }
};

}  // namespace

TEST_F(GatewayUrlBuilderTest, ParamsAreAppendedInKeyOrderUnencoded) {
    std::string out = "?";
    GatewayUrlBuilder::AppendParams(out, Params{{"b", "x y"}, {"a", "%&="}, {"", ""}});
    EXPECT_EQ(out, "?&=&a=%&=&b=x y");
}

TEST_F(GatewayUrlBuilderTest, GetFailureLeavesThePreviousUrlUntouched) {
    const std::string api = "a", version = "1", data(5000, 'd');
    const Params params;
    std::string url = "previous";
    EXPECT_FALSE(GatewayUrlBuilder::BuildGetUrl(url, {api, version, data, params, false, true}));
    EXPECT_EQ(url, "previous");
}

TEST_F(GatewayUrlBuilderTest, GetBoundCountsTheSchemeOfTls) {
    // "https://gw-online-1.quil.example/gw/a/1/?data=" is 46 bytes: 4049 data bytes make 4095.
    const std::string api = "a", version = "1";
    const Params params;
    std::string url;
    const std::string fits(4049, 'd'), tooLong(4050, 'd');
    EXPECT_TRUE(GatewayUrlBuilder::BuildGetUrl(url, {api, version, fits, params, true, true}));
    EXPECT_EQ(url.size(), 4095u);
    EXPECT_FALSE(GatewayUrlBuilder::BuildGetUrl(url, {api, version, tooLong, params, true, true}));
    // Without TLS the same data is one byte shorter and fits.
    EXPECT_TRUE(GatewayUrlBuilder::BuildGetUrl(url, {api, version, tooLong, params, false, true}));
    EXPECT_EQ(url.size(), 4095u);
}

TEST_F(GatewayUrlBuilderTest, PostReplacesUrlAndBody) {
    const std::string api = "a", version = "1", data = "{}";
    const Params params{{"k", "v"}};
    std::string url = "old", body = "old";
    GatewayUrlBuilder::BuildPostUrl(url, body, {api, version, data, params, false, false});
    EXPECT_EQ(url, "http://gw-online-2.quil.example/gw/a/1/?&k=v");
    EXPECT_EQ(body, "data=%7B%7D");
}

TEST_F(GatewayUrlBuilderTest, EmptyDataGivesAnEmptyDataValue) {
    const std::string api = "a", version = "1", data;
    const Params params;
    std::string url, body;
    GatewayUrlBuilder::BuildPostUrl(url, body, {api, version, data, params, false, true});
    EXPECT_EQ(body, "data=");
    EXPECT_TRUE(GatewayUrlBuilder::BuildGetUrl(url, {api, version, data, params, false, true}));
    EXPECT_EQ(url, "http://gw-online-1.quil.example/gw/a/1/?data=");
}

TEST_F(GatewayUrlBuilderTest, ApiAndVersionEndAtTheirFirstNulByte) {
    const std::string api("ab\0cd", 5), version("1\0x", 3), data = "{}";
    const Params params;
    std::string url, body;
    GatewayUrlBuilder::BuildPostUrl(url, body, {api, version, data, params, false, true});
    EXPECT_EQ(url, "http://gw-online-1.quil.example/gw/ab/1/?");
    EXPECT_TRUE(GatewayUrlBuilder::BuildGetUrl(url, {api, version, data, params, false, true}));
    EXPECT_EQ(url, "http://gw-online-1.quil.example/gw/ab/1/?data=%7B%7D");
}
