// How the SDK's header lines become libcurl's header list.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "CurlHeaderLines.h"

using quil::CurlHeaderLines;

TEST(CurlHeaderLines, HoldsBackLibcurlsOwnLinesAndKeepsTheGivenOnesInOrder) {
    std::vector<std::string> entries;
    std::string error;
    ASSERT_TRUE(CurlHeaderLines::Translate({"x-b:2", "x-a:1"}, true, entries, error));
    EXPECT_EQ(entries,
              (std::vector<std::string>{"Expect:", "Accept:", "Content-Type:", "x-b:2", "x-a:1"}));
}

TEST(CurlHeaderLines, AHostLineDisablesLibcurlsHost) {
    std::vector<std::string> entries;
    std::string error;
    ASSERT_TRUE(CurlHeaderLines::Translate({"HOST:h"}, true, entries, error));
    EXPECT_EQ(entries,
              (std::vector<std::string>{"Host:", "Expect:", "Accept:", "Content-Type:", "HOST:h"}));
}

TEST(CurlHeaderLines, AnEmptyValueIsWrittenWithASemicolon) {
    std::vector<std::string> entries;
    std::string error;
    ASSERT_TRUE(CurlHeaderLines::Translate({"x-e:", "x-s: \t", "x-v: v"}, false, entries, error));
    EXPECT_EQ(entries, (std::vector<std::string>{"Expect:", "Accept:", "Content-Type:",
                                                 "Accept-Encoding:", "x-e;", "x-s;", "x-v: v"}));
}

TEST(CurlHeaderLines, RefusesLineBreaksNulAndMissingNames) {
    std::vector<std::string> entries;
    std::string error;
    EXPECT_FALSE(CurlHeaderLines::Translate({"x-a:1\n"}, true, entries, error));
    EXPECT_EQ(error, "header line contains CR, LF or NUL");
    EXPECT_TRUE(entries.empty());
    EXPECT_FALSE(CurlHeaderLines::Translate({std::string("x-a:\0b", 5)}, true, entries, error));
    EXPECT_EQ(error, "header line contains CR, LF or NUL");
    EXPECT_FALSE(CurlHeaderLines::Translate({":v"}, true, entries, error));
    EXPECT_EQ(error, "header line without a name and colon: :v");
    EXPECT_TRUE(entries.empty());
}
