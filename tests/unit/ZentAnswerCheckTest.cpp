#include "ZentAnswerCheck.h"

#include <gtest/gtest.h>

#include "RecordingLog.h"
#include "ScriptedSign.h"

using quil::test::ScopedRecordingLog;
using quil::test::ScriptedSign;
using quil::test::ScriptedSignOutcome;

TEST(ZentAnswerCheck, HeadersSplitAtCrLfOnTheFirstColonBlankKeepingCase) {
    const ZentAnswerCheck::Headers headers = ZentAnswerCheck::SplitHeaders(
        "HTTP/1.1 200 OK\r\nX-Zn-Code: 1000\r\nx-zn-sign: a: b\r\nnocolon\r\nk:v\r\n"
        "x-zn-sign: later\r\ntail: no line end");
    const ZentAnswerCheck::Headers expected = {{"X-Zn-Code", "1000"}, {"x-zn-sign", "later"}};
    EXPECT_EQ(headers, expected);
    EXPECT_EQ(ZentAnswerCheck::SplitHeaders("a: 1\r\nb: 2: 3\r\n"),
              (ZentAnswerCheck::Headers{{"a", "1"}, {"b", "2: 3"}}));
}

TEST(ZentAnswerCheck, ASuccessCodeAndASignPass) {
    ScopedRecordingLog log;
    std::string sign;
    EXPECT_TRUE(ZentAnswerCheck::CheckHeaders({{"x-zn-code", "1000"}, {"x-zn-sign", "s1"}}, &sign));
    EXPECT_EQ(sign, "s1");
    EXPECT_EQ(log->Count(), 0u);
}

TEST(ZentAnswerCheck, AMissingCodeFailsWithAnEmptyValueInTheMessage) {
    ScopedRecordingLog log;
    std::string sign;
    EXPECT_FALSE(ZentAnswerCheck::CheckHeaders({{"x-zn-sign", "s1"}}, &sign));
    const quil::test::LogLine line = log->Find("ZENT request failed, responseHeader[x-zn-code]: ");
    EXPECT_EQ(line.level, 3);
    EXPECT_EQ(line.function, "ZentRequest");
}

TEST(ZentAnswerCheck, ACodeWithALeadingZeroOrATrailingBlankIsRefused) {
    ScopedRecordingLog log;
    std::string sign;
    EXPECT_FALSE(
        ZentAnswerCheck::CheckHeaders({{"x-zn-code", "01000"}, {"x-zn-sign", "s"}}, &sign));
    EXPECT_FALSE(
        ZentAnswerCheck::CheckHeaders({{"x-zn-code", "1000 "}, {"x-zn-sign", "s"}}, &sign));
    EXPECT_TRUE(log->Has("ZENT request failed, responseHeader[x-zn-code]: 01000", 3));
    EXPECT_TRUE(log->Has("ZENT request failed, responseHeader[x-zn-code]: 1000 ", 3));
}

TEST(ZentAnswerCheck, AHeaderSpelledInCapitalsIsNotFound) {
    ScopedRecordingLog log;
    std::string sign;
    const ZentAnswerCheck::Headers headers =
        ZentAnswerCheck::SplitHeaders("HTTP/1.1 200 OK\r\nX-ZN-CODE: 1000\r\nx-zn-sign: s\r\n");
    EXPECT_FALSE(ZentAnswerCheck::CheckHeaders(headers, &sign));
    EXPECT_TRUE(log->Has("ZENT request failed, responseHeader[x-zn-code]: ", 3));
}

TEST(ZentAnswerCheck, AMissingOrEmptyServerSignFails) {
    ScopedRecordingLog log;
    std::string sign;
    EXPECT_FALSE(ZentAnswerCheck::CheckHeaders({{"x-zn-code", "1000"}}, &sign));
    EXPECT_FALSE(ZentAnswerCheck::CheckHeaders({{"x-zn-code", "1000"}, {"x-zn-sign", ""}}, &sign));
    EXPECT_EQ(log->CountOf("ZENT request failed, server sign is null"), 2u);
    EXPECT_EQ(log->Find("ZENT request failed, server sign is null").level, 3);
}

TEST(ZentAnswerCheck, TheClientSignsTheTextWithMinusOneAndMethodTwo) {
    ScopedRecordingLog log;
    ScriptedSign sign;
    sign.Enqueue62(ScriptedSignOutcome::Signature("match"));
    EXPECT_TRUE(ZentAnswerCheck::CheckSign(&sign, "{\"dns\":[]}", "match"));
    ASSERT_EQ(sign.Calls().size(), 1u);
    EXPECT_EQ(sign.Calls()[0].version, "6.2");
    EXPECT_EQ(sign.Calls()[0].seqId, -1);
    EXPECT_EQ(sign.Calls()[0].data, "{\"dns\":[]}");
    EXPECT_EQ(sign.Calls()[0].method, 2);
    EXPECT_EQ(log->Count(), 0u);
}

TEST(ZentAnswerCheck, ANullClientSignFails) {
    ScopedRecordingLog log;
    ScriptedSign sign;
    sign.Enqueue62(ScriptedSignOutcome::Null());
    EXPECT_FALSE(ZentAnswerCheck::CheckSign(&sign, "text", "s"));
    EXPECT_EQ(log->Find("ZENT request failed, client sign is null").level, 3);
}

TEST(ZentAnswerCheck, ADifferentSignNamesTheClientsValueFirst) {
    ScopedRecordingLog log;
    ScriptedSign sign;
    sign.Enqueue62(ScriptedSignOutcome::Signature("mine"));
    EXPECT_FALSE(ZentAnswerCheck::CheckSign(&sign, "text", "theirs"));
    sign.Enqueue62(ScriptedSignOutcome::Signature("mine"));
    EXPECT_FALSE(ZentAnswerCheck::CheckSign(&sign, "text", "mine "));
    EXPECT_EQ(log->Find("ZENT check ret sign failed, checkSign: mine, sign: theirs").level, 3);
    EXPECT_TRUE(log->Has("ZENT check ret sign failed, checkSign: mine, sign: mine ", 3));
}
