#include "CacheControlParser.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

namespace {

struct Parsed {
    int32_t maxAge;
    bool offline;
};

Parsed Parse(const std::string& value, int32_t startAge = -7) {
    Parsed parsed{startAge, false};
    CacheControlParser::Parse(value, &parsed.maxAge, &parsed.offline);
    return parsed;
}

}  // namespace

TEST(CacheControlParser, SplitKeepsEmptyPiecesAndBlanks) {
    EXPECT_EQ(CacheControlParser::Split("a, b"), (std::vector<std::string>{"a", " b"}));
    EXPECT_EQ(CacheControlParser::Split("a,,b,"), (std::vector<std::string>{"a", "", "b", ""}));
    EXPECT_EQ(CacheControlParser::Split(","), (std::vector<std::string>{"", ""}));
    EXPECT_EQ(CacheControlParser::Split(""), (std::vector<std::string>{""}));
}

TEST(CacheControlParser, APieceThatBeginsWithMaxAgeIsNotRead) {
    EXPECT_EQ(Parse("max-age=60").maxAge, -7);
    EXPECT_FALSE(Parse("max-age=60").offline);
}

TEST(CacheControlParser, AnyOtherPieceIsReadFromItsNinthByte) {
    EXPECT_EQ(Parse("abcdefgh42").maxAge, 42);
    EXPECT_EQ(Parse("s-maxage=600").maxAge, 0);
    // " max-age=60" does not begin with the directive, and its ninth byte on is "=60".
    EXPECT_EQ(Parse("public, max-age=60").maxAge, 0);
    EXPECT_EQ(Parse("public,xxxxxxxx60").maxAge, 60);
}

TEST(CacheControlParser, OctalAndHexadecimalNumbersAreRead) {
    EXPECT_EQ(Parse("xxxxxxxx010").maxAge, 8);
    EXPECT_EQ(Parse("xxxxxxxx0x1F").maxAge, 31);
    EXPECT_EQ(Parse("xxxxxxxx-0x10").maxAge, -16);
}

TEST(CacheControlParser, HugeNumbersAreHeldToThirtyTwoBits) {
    EXPECT_EQ(Parse("xxxxxxxx99999999999").maxAge, INT32_MAX);
    EXPECT_EQ(Parse("xxxxxxxx-0xFFFFFFFFFFFF").maxAge, INT32_MIN);
}

TEST(CacheControlParser, EmptyShortAndEightBytePiecesReadAsZero) {
    EXPECT_EQ(Parse("").maxAge, 0);
    EXPECT_EQ(Parse("a").maxAge, 0);
    EXPECT_EQ(Parse("no-cache").maxAge, 0);
    EXPECT_EQ(Parse("xxxxxxxx1,").maxAge, 0);
}

TEST(CacheControlParser, TheLastReadPieceWins) {
    EXPECT_EQ(Parse("xxxxxxxx1,xxxxxxxx2").maxAge, 2);
    EXPECT_EQ(Parse("xxxxxxxx1,max-age=5").maxAge, 1);
}

TEST(CacheControlParser, NoPieceSetsOffline) {
    EXPECT_FALSE(Parse("of=on").offline);
    EXPECT_FALSE(Parse("max-age=of=on").offline);
    EXPECT_FALSE(Parse("xxxxxxxx1,of=on,max-age=1").offline);
}

TEST(CacheControlParser, BytesOfAnyValueAreHandled) {
    std::string odd("\0\xff,max-age=\x80\0", 14);
    Parsed parsed = Parse(odd);
    EXPECT_EQ(parsed.maxAge, 0);
    EXPECT_FALSE(parsed.offline);
}
