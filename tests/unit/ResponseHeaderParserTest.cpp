#include "ResponseHeaderParser.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

using Headers = std::map<std::string, std::string>;

namespace {

Headers Parse(const std::string& raw) {
    return ResponseHeaderParser::Parse(std::vector<char>(raw.begin(), raw.end()));
}

}  // namespace

TEST(ResponseHeaderParser, StatusLineDropsOutAndEachHeaderKeepsNameAndValue) {
    EXPECT_EQ(Parse("HTTP/1.1 200 OK\r\nx-retcode: SUCCESS\r\nContent-Length: 12\r\n\r\n"),
              (Headers{{"Content-Length", "12"}, {"x-retcode", "SUCCESS"}}));
}

TEST(ResponseHeaderParser, EmptyBlockGivesEmptyMap) { EXPECT_EQ(Parse(""), Headers{}); }

TEST(ResponseHeaderParser, LastLineWithoutLineEndIsDropped) {
    EXPECT_EQ(Parse("a: 1\r\nb: 2"), (Headers{{"a", "1"}}));
}

TEST(ResponseHeaderParser, BlockWithoutAnyLineEndGivesNothing) {
    EXPECT_EQ(Parse("x-retcode: SUCCESS"), Headers{});
}

TEST(ResponseHeaderParser, LineFeedAloneDoesNotEndALine) {
    EXPECT_EQ(Parse("a: 1\nb: 2\r\n"), (Headers{{"a", "1\nb: 2"}}));
}

TEST(ResponseHeaderParser, CarriageReturnAloneDoesNotEndALine) {
    EXPECT_EQ(Parse("a: 1\rb: 2\r\n"), (Headers{{"a", "1\rb: 2"}}));
}

TEST(ResponseHeaderParser, HeaderWithoutBlankAfterColonIsDropped) {
    EXPECT_EQ(Parse("x-retcode:FAIL_SYS_SESSION_EXPIRED\r\nok: 1\r\n"), (Headers{{"ok", "1"}}));
}

TEST(ResponseHeaderParser, OnlyTheFirstSeparatorSplits) {
    EXPECT_EQ(Parse("x-msg: a: b: c\r\n"), (Headers{{"x-msg", "a: b: c"}}));
}

TEST(ResponseHeaderParser, ColonWithoutBlankBeforeTheSeparatorStaysInTheName) {
    EXPECT_EQ(Parse("a:b: c\r\n"), (Headers{{"a:b", "c"}}));
}

TEST(ResponseHeaderParser, NothingIsTrimmed) {
    EXPECT_EQ(Parse(" name :  value \r\n"), (Headers{{" name ", " value "}}));
}

TEST(ResponseHeaderParser, NamesKeepTheirCase) {
    EXPECT_EQ(Parse("X-RetCode: A\r\nx-retcode: B\r\n"),
              (Headers{{"X-RetCode", "A"}, {"x-retcode", "B"}}));
}

TEST(ResponseHeaderParser, LastDuplicateWins) {
    EXPECT_EQ(Parse("s-rt: 1\r\ns-rt: 2\r\ns-rt: 3\r\n"), (Headers{{"s-rt", "3"}}));
}

TEST(ResponseHeaderParser, EmptyValueAndEmptyNameAreKept) {
    EXPECT_EQ(Parse("a: \r\n: v\r\n"), (Headers{{"", "v"}, {"a", ""}}));
}

TEST(ResponseHeaderParser, BlankLinesAreSkipped) {
    EXPECT_EQ(Parse("\r\n\r\na: 1\r\n\r\n"), (Headers{{"a", "1"}}));
}

TEST(ResponseHeaderParser, NulAndHighBytesStayInTheValue) {
    const std::string raw("a: x\0y\xFF\r\n", 9);
    EXPECT_EQ(Parse(raw), (Headers{{"a", std::string("x\0y\xFF", 4)}}));
}
