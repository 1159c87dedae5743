#include "BaseHeaderBuilder.h"

#include <gtest/gtest.h>

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <string>
#include <vector>

namespace {

std::vector<std::string> Build(const BaseHeaderBuilder::Fields& fields) {
    std::vector<std::string> out;
    BaseHeaderBuilder::Build(out, fields);
    return out;
}

// The fields every call has, with nothing optional set.
BaseHeaderBuilder::Fields Minimal() {
    BaseHeaderBuilder::Fields fields;
    fields.host = "gw.example:8080";
    fields.utdid = "u d";
    fields.ttid = "ttid@pc";
    fields.devId = "dev";
    fields.reqBizExt = "";
    fields.timestamp = 1700000000;
    fields.appKey = "12345678";
    return fields;
}

}  // namespace

TEST(BaseHeaderBuilder, TheMinimalLinesInTheirOrderWithValuesEncodedAndTheHostNot) {
    EXPECT_EQ(Build(Minimal()), (std::vector<std::string>{
                                    "host:gw.example:8080", "x-utdid:u+d", "x-ttid:ttid%40pc",
                                    "x-devid:dev", "x-reqbiz-ext:", "x-t:1700000000", "x-pv:6.3",
                                    "x-appkey:12345678", BaseHeaderBuilder::kContentTypeLine}));
}

TEST(BaseHeaderBuilder, EveryOptionalLineStandsAtItsPlace) {
    BaseHeaderBuilder::Fields fields = Minimal();
    fields.sid = "s";
    fields.uid = "u";
    fields.openBiz = "ob";
    fields.miniAppKey = "mk";
    fields.reqAppKey = "rk";
    fields.act = "a";
    fields.openBizData = "obd";
    fields.miniAppIdTarvel = "t";
    fields.miniAppIdPelmay = "p";
    fields.extType = "et";
    fields.extData = "ed";
    fields.networkType = "wifi";
    fields.lng = "120.1";
    fields.lat = "30.2";
    fields.sign = "abc";
    fields.features = 27;
    fields.kolvaVersion = "1.0";
    EXPECT_EQ(Build(fields), (std::vector<std::string>{"host:gw.example:8080",
                                                       "x-sid:s",
                                                       "x-uid:u",
                                                       "x-utdid:u+d",
                                                       "x-ttid:ttid%40pc",
                                                       "x-devid:dev",
                                                       "x-reqbiz-ext:",
                                                       "x-open-biz:ob",
                                                       "x-mini-appkey:mk",
                                                       "x-req-appkey:rk",
                                                       "x-act:a",
                                                       "x-open-biz-data:obd",
                                                       "x-miniapp-id-tarvel:t",
                                                       "x-miniapp-id-pelmay:p",
                                                       "x-exttype:et",
                                                       "x-extdata:ed",
                                                       "x-nq:wifi",
                                                       "x-location:120.1%2C30.2",
                                                       "x-t:1700000000",
                                                       "x-sign:abc",
                                                       "x-pv:6.2",
                                                       "x-appkey:12345678",
                                                       "x-features:27",
                                                       "x-kv-version:1.0",
                                                       BaseHeaderBuilder::kContentTypeLine}));
    // The composer reserves room for this many lines ahead.
    EXPECT_EQ(Build(fields).size(), BaseHeaderBuilder::kMostLines);
}

TEST(BaseHeaderBuilder, ALocationNeedsBothHalves) {
    BaseHeaderBuilder::Fields fields = Minimal();
    fields.lng = "120.1";
    std::vector<std::string> lines = Build(fields);
    for (const std::string& line : lines) {
        EXPECT_NE(line.rfind("x-location:", 0), 0u) << line;
    }
}

TEST(BaseHeaderBuilder, FeaturesOfZeroOrLessAreLeftOut) {
    BaseHeaderBuilder::Fields fields = Minimal();
    fields.features = -5;
    EXPECT_EQ(Build(fields).size(), 9u);
}

TEST(BaseHeaderBuilder, AnUnsetTimestampIsWrittenAsMinusOne) {
    BaseHeaderBuilder::Fields fields = Minimal();
    fields.timestamp = -1;
    EXPECT_EQ(Build(fields)[5], "x-t:-1");
}

TEST(BaseHeaderBuilder, TimestampsAndFeaturesAtThe64BitLimitsAreWrittenAsPrintfWritesThem) {
    for (const int64_t value : {std::numeric_limits<int64_t>::min(), int64_t{-1}, int64_t{0},
                                int64_t{1700000000}, std::numeric_limits<int64_t>::max()}) {
        char printed[32];
        std::snprintf(printed, sizeof(printed), "%" PRId64, value);
        BaseHeaderBuilder::Fields fields = Minimal();
        fields.timestamp = value;
        fields.features = value;
        const std::vector<std::string> lines = Build(fields);
        EXPECT_EQ(lines[5], std::string("x-t:") + printed);
        if (value > 0) {
            EXPECT_EQ(lines[8], std::string("x-features:") + printed);
        }
    }
}

TEST(BaseHeaderBuilder, LinesAreAppendedBehindWhatIsThere) {
    std::vector<std::string> out = {"first"};
    BaseHeaderBuilder::Build(out, Minimal());
    ASSERT_EQ(out.size(), 10u);
    EXPECT_EQ(out[0], "first");
    EXPECT_EQ(out[1], "host:gw.example:8080");
}

TEST(BaseHeaderBuilder, TheContentTypeLineIsTheOnlyOneWithABlank) {
    EXPECT_STREQ(BaseHeaderBuilder::kContentTypeLine,
                 "Content-Type: application/x-www-form-urlencoded;charset=utf-8");
}
