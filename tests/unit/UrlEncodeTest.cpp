#include "UrlEncode.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

TEST(UrlEncode, BlankBetweenTwoLettersBecomesPlus) { EXPECT_EQ(UrlEncode("a b"), "a+b"); }

TEST(UrlEncode, UnreservedMarksStayAsTheyAre) { EXPECT_EQ(UrlEncode("a~b-c_d.e"), "a~b-c_d.e"); }

TEST(UrlEncode, SlashBecomesPercent2F) { EXPECT_EQ(UrlEncode("/"), "%2F"); }

TEST(UrlEncode, HighByteBecomesUppercasePercentEscape) { EXPECT_EQ(UrlEncode("\xE4"), "%E4"); }

TEST(UrlEncode, EmptyTextGivesEmptyString) { EXPECT_EQ(UrlEncode(""), ""); }

TEST(UrlEncode, DigitsAndLettersAreCopied) {
    const std::string plain = "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
    EXPECT_EQ(UrlEncode(plain), plain);
}

TEST(UrlEncode, EveryByteOfAMultiByteCharacterIsEscaped) {
    EXPECT_EQ(UrlEncode("\xC3\xA4"), "%C3%A4");
}

TEST(UrlEncode, ReservedAndControlBytesAreEscaped) {
    EXPECT_EQ(UrlEncode("a=1&b=2+3"), "a%3D1%26b%3D2%2B3");
    EXPECT_EQ(UrlEncode(std::string("\0\n\x7F\xFF", 4)), "%00%0A%7F%FF");
    EXPECT_EQ(UrlEncode("{\"k\":\"v\"}"), "%7B%22k%22%3A%22v%22%7D");
}

TEST(UrlEncode, EveryByteValueFollowsTheRule) {
    for (int byte = 0; byte < 256; ++byte) {
        const char c = static_cast<char>(byte);
        const bool unreserved = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') ||
                                (c >= 'A' && c <= 'Z') || c == '-' || c == '_' || c == '.' ||
                                c == '~';
        char escape[4];
        std::snprintf(escape, sizeof(escape), "%%%02X", byte);
        const std::string expected =
            unreserved ? std::string(1, c) : (c == ' ' ? std::string("+") : std::string(escape));
        EXPECT_EQ(UrlEncode(std::string(1, c)), expected) << "byte " << byte;
    }
}

TEST(UrlEncode, OneMegabyteBody) {
    std::string body(1 << 20, 'x');
    for (std::size_t i = 0; i < body.size(); i += 4) body[i] = '&';
    const std::string encoded = UrlEncode(body);
    EXPECT_EQ(encoded.size(), body.size() + body.size() / 4 * 2);
    EXPECT_EQ(encoded.substr(0, 8), "%26xxx%2");
}

TEST(UrlEncodeAppend, AppendsAfterWhatTheTextHolds) {
    std::string out = "data=";
    UrlEncodeAppend(out, "a b/\xE4~");
    EXPECT_EQ(out, "data=a+b%2F%E4~");
}

TEST(UrlEncodeAppend, AnEmptyTextLeavesTheTextAsItIs) {
    std::string out = "data=";
    UrlEncodeAppend(out, "");
    EXPECT_EQ(out, "data=");
}

TEST(UrlEncodeAppend, EveryByteValueGivesWhatUrlEncodeGives) {
    std::string all;
    for (int byte = 0; byte < 256; ++byte) all.push_back(static_cast<char>(byte));
    std::string out = "x";
    UrlEncodeAppend(out, all);
    EXPECT_EQ(out, "x" + UrlEncode(all));
}
