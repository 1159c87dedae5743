#include "ResponseBodyParser.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace {

struct Verdict {
    std::string code;
    std::string message;
    int errorType;
};

Verdict Parse(const std::string& body) {
    std::unique_ptr<RetInfo> info = ResponseBodyParser::Parse(body);
    EXPECT_NE(info, nullptr);
    if (info == nullptr) return {"<null>", "<null>", -1};
    return {info->retCode, info->retMsg, info->errorType};
}

void ExpectNoUsableRet(const std::string& body) {
    const Verdict verdict = Parse(body);
    EXPECT_EQ(verdict.code, "FAIL_SYS_CUSTOM_ERROR") << body;
    EXPECT_EQ(verdict.message, "server return error") << body;
    EXPECT_EQ(verdict.errorType, 3) << body;
}

void ExpectVerdict(const std::string& body, const std::string& code, const std::string& message,
                   int errorType) {
    const Verdict verdict = Parse(body);
    EXPECT_EQ(verdict.code, code) << body;
    EXPECT_EQ(verdict.message, message) << body;
    EXPECT_EQ(verdict.errorType, errorType) << body;
}

}  // namespace

TEST(ResponseBodyParser, SuccessGivesTheMessageBytesUnchanged) {
    ExpectVerdict("{\"ret\":[\"SUCCESS::\xE8\xB0\x83\xE7\x94\xA8\xE6\x88\x90\xE5\x8A\x9F\"]}",
                  "SUCCESS", "\xE8\xB0\x83\xE7\x94\xA8\xE6\x88\x90\xE5\x8A\x9F", 0);
}

TEST(ResponseBodyParser, FailureCodeIsAGatewayFailure) {
    ExpectVerdict("{\"ret\":[\"FAIL_SYS_SESSION_EXPIRED::Session expired\"],\"data\":{}}",
                  "FAIL_SYS_SESSION_EXPIRED", "Session expired", 3);
}

TEST(ResponseBodyParser, SeveralSeparatorsSplitAtTheFirst) {
    ExpectVerdict("{\"ret\":[\"FAIL_BIZ::a::b::\"]}", "FAIL_BIZ", "a::b::", 3);
}

TEST(ResponseBodyParser, OnlyTheFirstElementIsRead) {
    ExpectVerdict("{\"ret\":[\"SUCCESS::ok\",\"FAIL::later\"]}", "SUCCESS", "ok", 0);
}

TEST(ResponseBodyParser, CodeMustBeExactlySuccess) {
    ExpectVerdict("{\"ret\":[\"success::ok\"]}", "success", "ok", 3);
    ExpectVerdict("{\"ret\":[\" SUCCESS::ok\"]}", " SUCCESS", "ok", 3);
}

TEST(ResponseBodyParser, EmptyCodeAndMessageAroundTheSeparator) {
    ExpectVerdict("{\"ret\":[\"::\"]}", "", "", 3);
}

TEST(ResponseBodyParser, ElementWithoutSeparatorGivesEmptyTextsAndNoError) {
    ExpectVerdict("{\"ret\":[\"SUCCESS\"]}", "", "", 0);
    ExpectVerdict("{\"ret\":[\"FAIL:one colon\"]}", "", "", 0);
}

TEST(ResponseBodyParser, EmptyRetArrayIsNoUsableRet) { ExpectNoUsableRet("{\"ret\":[]}"); }

TEST(ResponseBodyParser, MissingRetIsNoUsableRet) { ExpectNoUsableRet("{\"data\":{}}"); }

TEST(ResponseBodyParser, NullRetIsNoUsableRet) { ExpectNoUsableRet("{\"ret\":null}"); }

TEST(ResponseBodyParser, ScalarRetIsNoUsableRet) {
    ExpectNoUsableRet("{\"ret\":\"SUCCESS::ok\"}");
    ExpectNoUsableRet("{\"ret\":1}");
    ExpectNoUsableRet("{\"ret\":true}");
}

TEST(ResponseBodyParser, EmptyRetObjectIsNoUsableRet) { ExpectNoUsableRet("{\"ret\":{}}"); }

TEST(ResponseBodyParser, NonEmptyRetObjectIsNoUsableRet) {
    ExpectNoUsableRet("{\"ret\":{\"0\":\"SUCCESS::ok\"}}");
}

TEST(ResponseBodyParser, FirstElementArrayIsNoUsableRet) {
    ExpectNoUsableRet("{\"ret\":[[\"SUCCESS::ok\"]]}");
}

TEST(ResponseBodyParser, FirstElementObjectIsNoUsableRet) {
    ExpectNoUsableRet("{\"ret\":[{\"code\":\"SUCCESS::ok\"}]}");
}

TEST(ResponseBodyParser, FirstElementNullReadsAsEmptyTextWithoutSeparator) {
    ExpectVerdict("{\"ret\":[null]}", "", "", 0);
}

TEST(ResponseBodyParser, FirstElementNumberOrBooleanReadsAsTextWithoutSeparator) {
    ExpectVerdict("{\"ret\":[1]}", "", "", 0);
    ExpectVerdict("{\"ret\":[false]}", "", "", 0);
}

TEST(ResponseBodyParser, NonJsonBodyIsNoUsableRet) {
    ExpectNoUsableRet("<html>502 Bad Gateway</html>");
}

TEST(ResponseBodyParser, TextThatReadsAsANumberIsNoUsableRet) {
    ExpectNoUsableRet("404 Not Found");
}

TEST(ResponseBodyParser, TopLevelArrayIsNoUsableRet) { ExpectNoUsableRet("[1]"); }

TEST(ResponseBodyParser, TopLevelBooleanIsNoUsableRet) { ExpectNoUsableRet("true"); }

TEST(ResponseBodyParser, TopLevelStringIsNoUsableRet) { ExpectNoUsableRet("\"SUCCESS::ok\""); }

TEST(ResponseBodyParser, TruncatedObjectKeepsWhatWasReadBeforeTheCut) {
    // The parser stops at the cut; the "ret" it had read by then still counts.
    ExpectVerdict("{\"ret\":[\"SUCCESS::ok\"],\"data\":{\"a\":", "SUCCESS", "ok", 0);
}

TEST(ResponseBodyParser, DeeplyNestedBodyIsNoUsableRet) {
    ExpectNoUsableRet(std::string(100000, '['));
    ExpectNoUsableRet("{\"ret\":" + std::string(100000, '[') + "\"SUCCESS::ok\"");
}

TEST(ResponseBodyParser, EmbeddedNulBytesStayInTheMessage) {
    const std::string body("{\"ret\":[\"FAIL::a\\u0000b\"]}");
    ExpectVerdict(body, "FAIL", std::string("a\0b", 3), 3);
}
