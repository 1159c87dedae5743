// The reading of the closed library's JSON object of sign headers.
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "QuilLogger.h"
#include "RecordingLog.h"
#include "SwitchStrToMap.h"

namespace {

using Map = std::map<std::string, std::string>;

// A log message longer than the logger's buffer, as the logger writes it: cut, then "...".
std::string CutAsLogged(const std::string& message) {
    return message.substr(0, QuilLogger::kBufferSize - 1) + "...";
}

TEST(SwitchStrToMap, EachMemberGivesAnEntry) {
    EXPECT_EQ(__SwitchStrToMap("{\"x-sign\":\"ab\",\"x-mini-wua\":\"cd\"}"),
              (Map{{"x-mini-wua", "cd"}, {"x-sign", "ab"}}));
}

TEST(SwitchStrToMap, ValuesAreReadAsStrings) {
    EXPECT_EQ(__SwitchStrToMap("{\"n\":12,\"b\":true,\"z\":null,\"o\":{\"k\":[1, 2]}}"),
              (Map{{"b", "true"}, {"n", "12"}, {"o", "{\"k\":[1,2]}"}, {"z", ""}}));
}

TEST(SwitchStrToMap, ANameThatStandsTwiceKeepsItsFirstValue) {
    EXPECT_EQ(__SwitchStrToMap("{ \"a\" : \"first\" , \"b\":\"x\", \"a\":\"second\" }"),
              (Map{{"a", "first"}, {"b", "x"}}));
}

TEST(SwitchStrToMap, PlainMembersWithBlanksAroundAndRawBytesAreReadAsTheyStand) {
    EXPECT_EQ(__SwitchStrToMap(" \r\n{\n\t\"x-sign\" :\t\"caf\xc3\xa9 /\" ,\"\":\"\"\n}\n "),
              (Map{{"", ""}, {"x-sign", "caf\xc3\xa9 /"}}));
}

TEST(SwitchStrToMap, PlainAndEscapedMembersMixAndTheFirstOfTwoNamesStays) {
    EXPECT_EQ(__SwitchStrToMap("{\"a\":\"1\",\"b\":\"x\\ty\",\"a\":\"2\"}"),
              (Map{{"a", "1"}, {"b", "x\ty"}}));
}

TEST(SwitchStrToMap, EscapedNamesAndValuesAreDecoded) {
    EXPECT_EQ(__SwitchStrToMap("{\"a\\\"b\":\"c\\\\d}\",\"e\":\"\\u00e9\"}"),
              (Map{{"a\"b", "c\\d}"}, {"e", "\xC3\xA9"}}));
}

TEST(SwitchStrToMap, AnEmptyObjectGivesAnEmptyMapWithoutALine) {
    quil::test::ScopedRecordingLog log;
    EXPECT_TRUE(__SwitchStrToMap("{}").empty());
    EXPECT_EQ(log->Count(), 0u);
}

TEST(SwitchStrToMap, AnUnreadableTextLogsAndGivesAnEmptyMap) {
    quil::test::ScopedRecordingLog log;
    EXPECT_TRUE(__SwitchStrToMap("not json").empty());
    const quil::test::LogLine line = log->Find("__SwitchToMap json parse failed, data: not json");
    EXPECT_EQ(line.level, QUIL_LOG_INFO);
    EXPECT_EQ(line.function, "__SwitchStrToMap");
}

TEST(SwitchStrToMap, AnEmptyTextLogsAndGivesAnEmptyMap) {
    quil::test::ScopedRecordingLog log;
    EXPECT_TRUE(__SwitchStrToMap("").empty());
    EXPECT_TRUE(log->Has("__SwitchToMap json parse failed, data: ", QUIL_LOG_INFO));
}

TEST(SwitchStrToMap, ATopLevelValueThatIsNotAnObjectCountsAsUnreadable) {
    quil::test::ScopedRecordingLog log;
    EXPECT_TRUE(__SwitchStrToMap("[\"a\",\"b\"]").empty());
    EXPECT_TRUE(__SwitchStrToMap("5").empty());
    EXPECT_EQ(log->CountOf("__SwitchToMap json parse failed, data: [\"a\",\"b\"]"), 1u);
    EXPECT_EQ(log->CountOf("__SwitchToMap json parse failed, data: 5"), 1u);
}

TEST(SwitchStrToMap, AnObjectWithACommentIsStillRead) {
    EXPECT_EQ(__SwitchStrToMap("{ /* note */ \"a\":\"1\"}"), (Map{{"a", "1"}}));
}

// A comment that starts right after a bare value: the value's text would run on to the next
// comma, inside the comment, so the text is read as the parser reads it, and every entry is a
// member the parser found (the parser takes the token after a comment for the comma, and the
// "}" behind it for the end). Found by fuzzing.
TEST(SwitchStrToMap, ACommentBehindABareValueIsReadAsTheParserReadsIt) {
    const std::string text =
        std::string("{\"0\":{\":\":[]},\"\":null//,\"\":true,\"d//\n{}\":null,\"a") + '\0' +
        "a\":{},\"d\":null,\"Y\":true,\"d\":null,\"\":\"\"\n}{}";
    EXPECT_EQ(__SwitchStrToMap(text), (Map{{"", ""}, {"0", "{\":\":[]}"}}));
    EXPECT_EQ(__SwitchStrToMap("{\"a\":1// \"b\":\"2\"\n,\"c\":\"3\"}"),
              (Map{{"a", "1"}, {"c", "3"}}));
}

// Nesting deep enough to make the reader give up by throwing counts as text that does not
// parse, in a member's value and at the top.
TEST(SwitchStrToMap, DeepNestingIsUnreadableAndNeverThrows) {
    quil::test::ScopedRecordingLog log;
    const std::string deep = std::string(5000, '[') + std::string(5000, ']');
    const std::string inMember = "{\"a\":\"b\",\"x\":" + deep + "}";
    EXPECT_EQ(__SwitchStrToMap(inMember), Map());
    EXPECT_TRUE(
        log->Has(CutAsLogged("__SwitchToMap json parse failed, data: " + inMember), QUIL_LOG_INFO));
    EXPECT_EQ(__SwitchStrToMap(deep), Map());
    EXPECT_TRUE(
        log->Has(CutAsLogged("__SwitchToMap json parse failed, data: " + deep), QUIL_LOG_INFO));
}

}  // namespace
