// The verdict text the traffic callback posts, for parameter texts that are not plain ASCII
// (cases the fuzzing of the callback brought up): well-formed UTF-8 comes back as given, while
// bytes that are not UTF-8 go through JsonCpp's writer as it reads them.
#include <gtest/gtest.h>
#include <json/json.h>

#include <string>

#include "QuilSignImpl.h"
#include "WaitSlot.h"

namespace {

std::string Posted(const char* key, const char* param) {
    WaitSlot* slot = WaitSlotRegistry::AcquireWaitSlot(key);
    __QuilSecurityTrafficFilterCallback(1, 2, key, param);
    std::string text = WaitSlotRegistry::ReadWaitSlot(slot);
    WaitSlotRegistry::ReleaseWaitSlot(key);
    return text;
}

std::string ReadParam(const std::string& text) {
    Json::Value verdict;
    Json::Reader reader;
    EXPECT_TRUE(reader.parse(text, verdict, false));
    return verdict["actionParam"].asString();
}

TEST(TrafficVerdictText, WellFormedUtf8IsEscapedAndReadsBackAsGiven) {
    const std::string text = Posted("21_processContent", "caf\xc3\xa9 \xf0\x9f\x98\x80");
    EXPECT_EQ(text,
              "{\"actionParam\":\"caf\\u00e9 \\ud83d\\ude00\",\"mainAction\":1,\"subAction\":2}\n");
    EXPECT_EQ(ReadParam(text), "caf\xc3\xa9 \xf0\x9f\x98\x80");
}

TEST(TrafficVerdictText, BytesThatAreNotUtf8AreWrittenAsJsonCppReadsThem) {
    // 0xB8 0x50 is taken as one two-byte sequence (U+0610), a lone 0xFF as U+FFFD.
    const std::string text = Posted("22_processContent", "P\xb8P\xff");
    EXPECT_EQ(text, "{\"actionParam\":\"P\\u0610\\ufffd\",\"mainAction\":1,\"subAction\":2}\n");
    EXPECT_EQ(ReadParam(text), "P\xd8\x90\xef\xbf\xbd");
}

}  // namespace
