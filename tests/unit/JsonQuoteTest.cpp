#include "JsonQuote.h"

#include <gtest/gtest.h>
#include <json/json.h>

#include <string>

namespace {

std::string WriterQuote(const std::string& text) {
    Json::FastWriter writer;
    writer.omitEndingLineFeed();
    return writer.write(Json::Value(text));
}

TEST(JsonQuote, EveryByteIsQuotedAsTheJsonWritersQuoteIt) {
    for (int byte = 0; byte < 256; ++byte) {
        const std::string text = "a" + std::string(1, static_cast<char>(byte)) + "\"b\\";
        EXPECT_EQ(JsonQuote::Quote(text), WriterQuote(text)) << byte;
    }
}

TEST(JsonQuote, TextsWithQuotesBackslashesSlashesAndNonAsciiMatchTheWriter) {
    for (const std::string& text :
         {std::string(), std::string("\"\"\\\\//"), std::string("x=\"q\"&y=\\"),
          std::string("caf\xc3\xa9\n\t"), std::string("bad \xc3 byte"), std::string("nul\0!", 5)}) {
        EXPECT_EQ(JsonQuote::Quote(text), WriterQuote(text)) << text;
    }
}

TEST(JsonQuote, AppendKeepsWhatTheTextHeldBefore) {
    std::string out = "{\"k\":";
    JsonQuote::Append(out, "v\"w");
    EXPECT_EQ(out, "{\"k\":\"v\\\"w\"");
    std::string other = "[";
    JsonQuote::Append(other, "\xe4\xb8\xad");
    EXPECT_EQ(other, "[" + WriterQuote("\xe4\xb8\xad"));
}

}  // namespace
