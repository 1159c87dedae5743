#include "SpareJsonReader.h"

#include <gtest/gtest.h>
#include <json/json.h>

#include <exception>
#include <string>
#include <vector>

namespace {

// What one parse gives: the result, whether it threw, the tree written with its comments,
// and the offsets the parser recorded on the root.
struct Outcome {
    bool result = false;
    bool threw = false;
    std::string styled;
    ptrdiff_t offsetStart = 0;
    ptrdiff_t offsetLimit = 0;
};

template <typename ParseFn>
Outcome Run(const std::string& text, ParseFn parse) {
    Outcome outcome;
    Json::Value root;
    try {
        outcome.result = parse(text.data(), text.data() + text.size(), root);
    } catch (const std::exception&) {
        outcome.threw = true;
    }
    outcome.styled = root.toStyledString();
    outcome.offsetStart = root.getOffsetStart();
    outcome.offsetLimit = root.getOffsetLimit();
    return outcome;
}

Outcome Fresh(const std::string& text) {
    return Run(text, [](const char* begin, const char* end, Json::Value& root) {
        Json::Reader reader;
        return reader.parse(begin, end, root);
    });
}

Outcome Spare(const std::string& text) { return Run(text, SpareJsonReader::Parse); }

std::vector<std::string> OddTexts() {
    std::vector<std::string> texts = {
        "",
        " ",
        "{",
        "}",
        "{\"ret\":[\"SUCCESS::ok\"],\"data\":{\"a\":1}}",
        "{\"a\":1,\"a\":2}",
        "// lead\n{\"a\": /* in */ 1 // tail\n}",
        "/* open comment",
        "[1, 2.5, -3e400, 18446744073709551616, true, false, null]",
        "{\"s\":\"\\u00e9\\ud83d\\ude00\\n\\\"\"}",
        "{\"s\":\"\\ud800\"}",
        "{\"a\":1}trailing",
        "{\"a\":1,}",
        "[1,]",
        "\"only text\"",
        "42",
        "{\"a\":[{\"b\":[{\"c\":null}]}]}",
        "{\"k\" 1}",
        "nul\0byte",
        "{\"bad\":\"\xc3\"}",
        "\xef\xbb\xbf{\"bom\":1}",
    };
    // Past the parser's nesting limit: it throws.
    texts.push_back(std::string(1200, '['));
    texts.push_back(std::string(1200, '{'));
    return texts;
}

void ExpectSame(const std::string& text) {
    const Outcome fresh = Fresh(text);
    const Outcome spare = Spare(text);
    EXPECT_EQ(spare.result, fresh.result) << text;
    EXPECT_EQ(spare.threw, fresh.threw) << text;
    EXPECT_EQ(spare.styled, fresh.styled) << text;
    EXPECT_EQ(spare.offsetStart, fresh.offsetStart) << text;
    EXPECT_EQ(spare.offsetLimit, fresh.offsetLimit) << text;
}

TEST(SpareJsonReader, EveryOddTextParsesAsAFreshReaderParsesIt) {
    for (const std::string& text : OddTexts()) ExpectSame(text);
}

TEST(SpareJsonReader, AParseAfterAThrowOrAFailureIsTheSameAsAFreshOne) {
    // Each odd text is followed by a good one, so whatever the reused reader kept from the
    // text before (a half-built stack, errors, comments) would show.
    for (const std::string& text : OddTexts()) {
        Spare(text);
        ExpectSame("/* c */ {\"ret\":[\"SUCCESS::ok\"],\"v\":\"1.0\"} // end");
        Spare(text);
        ExpectSame("[1,");
    }
}

TEST(SpareJsonReader, EverySingleByteParsesAsAFreshReaderParsesIt) {
    for (int byte = 0; byte < 256; ++byte) {
        const char c = static_cast<char>(byte);
        ExpectSame(std::string(1, c));
        ExpectSame("{\"a\":\"" + std::string(1, c) + "\"}");
        ExpectSame("[" + std::string(1, c) + "]");
    }
}

TEST(SpareJsonReader, TheThrowOfTheNestingLimitReachesTheCaller) {
    const std::string deep(1200, '[');
    Json::Value root;
    EXPECT_ANY_THROW(SpareJsonReader::Parse(deep.data(), deep.data() + deep.size(), root));
}

}  // namespace
