#include "SignAnswerText.h"

#include <gtest/gtest.h>
#include <json/json.h>

#include <string>
#include <vector>

namespace {

std::string FastWriterText(const Json::Value& value) {
    Json::FastWriter writer;
    return writer.write(value);
}

std::string FastWriterQuote(const std::string& text) {
    Json::FastWriter writer;
    writer.omitEndingLineFeed();
    return writer.write(Json::Value(text));
}

// Texts that reach the hand-off: plain ones, every escape FastWriter knows, every single byte.
std::vector<std::string> Samples() {
    std::vector<std::string> samples = {
        "",
        "0",
        "16000",
        "{\"x-sign\":\"ab12\",\"x-sign-scheme\":\"hmac\"}",
        "a\\b\"c/d",
        "line\nfeed\ttab\rreturn\bback\fform",
        "caf\xc3\xa9 \xe4\xb8\xad \xf0\x9f\x98\x80",
        "broken \xc3 utf-8 \xff",
        std::string("nul\0inside", 10),
        "del\x7f",
    };
    for (int byte = 0; byte < 256; ++byte) {
        samples.push_back(std::string(1, static_cast<char>(byte)));
        samples.push_back("x" + std::string(1, static_cast<char>(byte)) + "y");
    }
    return samples;
}

TEST(SignAnswerText, QuoteIsWhatFastWriterWritesForEveryText) {
    for (const std::string& sample : Samples()) {
        EXPECT_EQ(SignAnswerText::Quote(sample), FastWriterQuote(sample)) << sample;
    }
}

TEST(SignAnswerText, WriteIsWhatFastWriterWritesForTheAnswerObject) {
    for (const std::string& sample : Samples()) {
        Json::Value answer(Json::objectValue);
        answer["errorCode"] = "0";
        answer["sign"] = sample;
        EXPECT_EQ(SignAnswerText::Write("0", sample), FastWriterText(answer)) << sample;
        answer["errorCode"] = sample;
        answer["sign"] = "s";
        EXPECT_EQ(SignAnswerText::Write(sample, "s"), FastWriterText(answer)) << sample;
    }
}

TEST(SignAnswerText, ReadGivesWhatTheParserGivesOrDeclines) {
    for (const std::string& sample : Samples()) {
        const std::string text = SignAnswerText::Write("1002", sample);
        Json::Value parsed;
        Json::Reader reader;
        ASSERT_TRUE(reader.parse(text, parsed, false)) << sample;
        std::string code = "untouched";
        std::string sign = "untouched";
        if (SignAnswerText::Read(text, &code, &sign)) {
            EXPECT_EQ(code, parsed["errorCode"].asString()) << sample;
            EXPECT_EQ(sign, parsed["sign"].asString()) << sample;
        } else {
            EXPECT_EQ(code, "untouched");
            EXPECT_EQ(sign, "untouched");
        }
    }
}

TEST(SignAnswerText, ReadTakesTheWrittenFormOfPlainAndEscapedTexts) {
    std::string code;
    std::string sign;
    ASSERT_TRUE(SignAnswerText::Read(SignAnswerText::Write("0", "{\"x-k\":\"v\\\\w\"}\n\t/"), &code,
                                     &sign));
    EXPECT_EQ(code, "0");
    EXPECT_EQ(sign, "{\"x-k\":\"v\\\\w\"}\n\t/");
    ASSERT_TRUE(SignAnswerText::Read("{\"errorCode\":\"7\",\"sign\":\"s\"}", &code, &sign));
    EXPECT_EQ(code, "7");
    EXPECT_EQ(sign, "s");
}

TEST(SignAnswerText, ReadDeclinesEveryOtherForm) {
    const std::vector<std::string> others = {
        "",
        "{}",
        "{\"errorCode\":0,\"sign\":[1]}",
        "{\"sign\":\"s\",\"errorCode\":\"0\"}",
        "{ \"errorCode\":\"0\",\"sign\":\"s\"}",
        "{\"errorCode\":\"0\",\"sign\":\"s\"}\n\n",
        "{\"errorCode\":\"0\",\"sign\":\"s\"} ",
        "{\"errorCode\":\"0\",\"sign\":\"s\",\"more\":1}",
        "{\"errorCode\":\"0\",\"sign\":\"\\u00e9\"}",
        "{\"errorCode\":\"0\",\"sign\":\"\\x\"}",
        "{\"errorCode\":\"0\",\"sign\":\"open",
        "{\"errorCode\":\"0\",\"sign\":\"s\"",
    };
    for (const std::string& text : others) {
        std::string code = "untouched";
        std::string sign = "untouched";
        EXPECT_FALSE(SignAnswerText::Read(text, &code, &sign)) << text;
        EXPECT_EQ(code, "untouched");
        EXPECT_EQ(sign, "untouched");
    }
}

}  // namespace
