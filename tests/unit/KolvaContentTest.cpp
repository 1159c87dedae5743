#include "KolvaContent.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

TEST(KolvaContent, SortsTheHeadersAndAddsNativeLogin) {
    std::map<std::string, std::string> headers = {{"x-retcode", "FAIL"}, {"A-Case", "v"}};
    EXPECT_EQ(KolvaContent::Build(headers, 421),
              "{\"header\":{\"A-Case\":\"v\",\"native_login\":\"true\",\"x-retcode\":\"FAIL\"},"
              "\"httpCode\":421}\n");
}

TEST(KolvaContent, TheFixedNativeLoginValueOverwritesAHeaderOfThatName) {
    std::map<std::string, std::string> headers = {{"native_login", "false"}};
    EXPECT_EQ(KolvaContent::Build(headers, 419),
              "{\"header\":{\"native_login\":\"true\"},\"httpCode\":419}\n");
}

TEST(KolvaContent, QuotesAndControlCharactersAreEscapedAsTheCompactWriterDoes) {
    std::map<std::string, std::string> headers = {{"q", "a\"b\\c\n"}};
    EXPECT_EQ(KolvaContent::Build(headers, 420),
              "{\"header\":{\"native_login\":\"true\",\"q\":\"a\\\"b\\\\c\\n\"},"
              "\"httpCode\":420}\n");
}

TEST(KolvaContent, BytesThatAreNotUtf8DoNotBreakTheContent) {
    std::map<std::string, std::string> headers = {{"x", std::string("\xff\xfe\x80", 3)}};
    const std::string content = KolvaContent::Build(headers, 419);
    EXPECT_EQ(content.back(), '\n');
    EXPECT_NE(content.find("\"httpCode\":419"), std::string::npos);
}

TEST(KolvaContent, BanLengthIsMillisecondsDividedWholeByAThousand) {
    int seconds = -1;
    EXPECT_EQ(KolvaContent::ReadBanSeconds("{\"kv-sleep\":\"1500\"}", &seconds),
              KolvaContent::BanLength::kRead);
    EXPECT_EQ(seconds, 1);
    EXPECT_EQ(KolvaContent::ReadBanSeconds("{\"kv-sleep\":\"999\"}", &seconds),
              KolvaContent::BanLength::kRead);
    EXPECT_EQ(seconds, 0);
    EXPECT_EQ(KolvaContent::ReadBanSeconds("{\"kv-sleep\":\"-5000\"}", &seconds),
              KolvaContent::BanLength::kRead);
    EXPECT_EQ(seconds, -5);
}

TEST(KolvaContent, AMissingOrNonNumericMemberReadsAsZero) {
    int seconds = -1;
    // The word occurs, but under another key: the member is absent and reads as no time.
    EXPECT_EQ(KolvaContent::ReadBanSeconds("{\"note\":\"kv-sleep\"}", &seconds),
              KolvaContent::BanLength::kRead);
    EXPECT_EQ(seconds, 0);
    EXPECT_EQ(KolvaContent::ReadBanSeconds("{\"kv-sleep\":\"soon\"}", &seconds),
              KolvaContent::BanLength::kRead);
    EXPECT_EQ(seconds, 0);
}

TEST(KolvaContent, TheWordIsLookedForBeforeTheTextIsParsed) {
    int seconds = -1;
    EXPECT_EQ(KolvaContent::ReadBanSeconds("", &seconds), KolvaContent::BanLength::kNone);
    EXPECT_EQ(KolvaContent::ReadBanSeconds("not json", &seconds), KolvaContent::BanLength::kNone);
    EXPECT_EQ(KolvaContent::ReadBanSeconds("kv-sleep: 3", &seconds),
              KolvaContent::BanLength::kDefault);
    EXPECT_EQ(seconds, -1);
}

TEST(KolvaContent, AMemberThatIsNoTextGivesTheDefault) {
    int seconds = -1;
    EXPECT_EQ(KolvaContent::ReadBanSeconds("{\"kv-sleep\":{\"ms\":\"1\"}}", &seconds),
              KolvaContent::BanLength::kDefault);
    EXPECT_EQ(KolvaContent::ReadBanSeconds("[\"kv-sleep\"]", &seconds),
              KolvaContent::BanLength::kDefault);
}
