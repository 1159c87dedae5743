// What quilcall does to the texts it puts into the URL: parameter keys and values are
// percent-encoded, and an API name or version that would leave the gateway path is a usage
// error (exit code 64, one line on standard error, nothing on standard output).
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "ArgumentParser.h"
#include "ChildProcess.h"
#include "UrlText.h"

namespace quil {
namespace {

using test::ChildResult;
using test::RunChild;

TEST(QuilcallUrlText, UnreservedCharactersStayAsTheyAre) {
    EXPECT_EQ(EncodeQueryComponent("AZaz09-._~"), "AZaz09-._~");
    EXPECT_EQ(EncodeQueryComponent(""), "");
}

TEST(QuilcallUrlText, EveryOtherByteIsPercentEncodedInCapitals) {
    EXPECT_EQ(EncodeQueryComponent("a b"), "a%20b");
    EXPECT_EQ(EncodeQueryComponent("a&c=1"), "a%26c%3D1");
    EXPECT_EQ(EncodeQueryComponent("x+y/z?#%"), "x%2By%2Fz%3F%23%25");
    EXPECT_EQ(EncodeQueryComponent("\xe5\x80\xbc"), "%E5%80%BC");
    EXPECT_EQ(EncodeQueryComponent(std::string("\0\n\x7f", 3)), "%00%0A%7F");
}

TEST(QuilcallUrlText, ParametersAreEncodedKeyAndValue) {
    const std::map<std::string, std::string> encoded =
        EncodeQueryParameters({{"q", "a b"}, {"k&x", "1=2"}});
    const std::map<std::string, std::string> expected = {{"q", "a%20b"}, {"k%26x", "1%3D2"}};
    EXPECT_EQ(encoded, expected);
}

TEST(QuilcallUrlText, APathSegmentMayHoldDotsDigitsAndLetters) {
    EXPECT_EQ(PathSegmentRefusal("item.detail.get"), "");
    EXPECT_EQ(PathSegmentRefusal("1.0"), "");
    EXPECT_EQ(PathSegmentRefusal("a-b_c~d:e"), "");
}

TEST(QuilcallUrlText, APathSegmentRefusesBlankSlashQueryFragmentAndControls) {
    EXPECT_EQ(PathSegmentRefusal(""), "is empty");
    EXPECT_EQ(PathSegmentRefusal("my api"),
              "has a blank, which cannot stand in the gateway path: \"my api\"");
    EXPECT_EQ(PathSegmentRefusal("a/b"),
              "has \"/\", which cannot stand in the gateway path: \"a/b\"");
    EXPECT_EQ(PathSegmentRefusal("a?b"),
              "has \"?\", which cannot stand in the gateway path: \"a?b\"");
    EXPECT_EQ(PathSegmentRefusal("a#b"),
              "has \"#\", which cannot stand in the gateway path: \"a#b\"");
    EXPECT_EQ(PathSegmentRefusal("a\tb"),
              "has a control character (0x09), which cannot stand in the gateway path");
    EXPECT_EQ(PathSegmentRefusal("a\nb"),
              "has a control character (0x0A), which cannot stand in the gateway path");
    EXPECT_EQ(PathSegmentRefusal("a\x7f"),
              "has a control character (0x7F), which cannot stand in the gateway path");
}

TEST(QuilcallUrlText, TheParserRefusesABadApiOrVersion) {
    ParseOutcome outcome = ParseArguments({"a/b", "1.0"});
    EXPECT_EQ(outcome.kind, ParseOutcome::Kind::kUsageError);
    EXPECT_EQ(outcome.error, "API has \"/\", which cannot stand in the gateway path: \"a/b\"");
    outcome = ParseArguments({"my.api", "1.0#x"});
    EXPECT_EQ(outcome.kind, ParseOutcome::Kind::kUsageError);
    EXPECT_EQ(outcome.error,
              "VERSION has \"#\", which cannot stand in the gateway path: \"1.0#x\"");
}

TEST(QuilcallUrlText, TheParserKeepsParametersAsGivenUntilTheRequestIsBuilt) {
    const ParseOutcome outcome = ParseArguments({"--param", "q=a b", "my.api", "1.0"});
    ASSERT_EQ(outcome.kind, ParseOutcome::Kind::kRun);
    EXPECT_EQ(outcome.options.params.at("q"), "a b");
}

void ExpectUsageError(const std::vector<std::string>& args, const std::string& line) {
    const ChildResult result = RunChild(QUILCALL_PATH, args);
    EXPECT_TRUE(result.started);
    EXPECT_TRUE(result.finished) << result.err;
    EXPECT_EQ(result.exitCode, 64);
    EXPECT_EQ(result.err, "quilcall: " + line + "\n");
    EXPECT_EQ(result.out, "");
}

TEST(QuilcallUrlText, AnApiOrVersionThatWouldLeaveThePathIsAUsageError) {
    ExpectUsageError({"my api", "1.0"},
                     "API has a blank, which cannot stand in the gateway path: \"my api\"");
    ExpectUsageError({"../admin", "1.0"},
                     "API has \"/\", which cannot stand in the gateway path: \"../admin\"");
    ExpectUsageError({"my.api?x=1", "1.0"},
                     "API has \"?\", which cannot stand in the gateway path: \"my.api?x=1\"");
    ExpectUsageError({"my.api", "1.0#f"},
                     "VERSION has \"#\", which cannot stand in the gateway path: \"1.0#f\"");
    ExpectUsageError(
        {"my.api", "1.0\r\nx-evil: 1"},
        "VERSION has a control character (0x0D), which cannot stand in the gateway path");
    ExpectUsageError({"", "1.0"}, "API is empty");
}

}  // namespace
}  // namespace quil
