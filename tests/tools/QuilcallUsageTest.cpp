// quilcall as a process, where no server is needed: --help, and usage errors, which end with
// exit code 64, one line on standard error naming the flag, and nothing on standard output.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ArgumentParser.h"
#include "ChildProcess.h"

namespace quil {
namespace {

using test::ChildResult;
using test::RunChild;

ChildResult Quilcall(const std::vector<std::string>& args) {
    ChildResult result = RunChild(QUILCALL_PATH, args);
    EXPECT_TRUE(result.started);
    EXPECT_TRUE(result.finished) << result.err;
    return result;
}

void ExpectUsageError(const std::vector<std::string>& args, const std::string& line) {
    const ChildResult result = Quilcall(args);
    EXPECT_EQ(result.exitCode, 64);
    EXPECT_EQ(result.err, "quilcall: " + line + "\n");
    EXPECT_EQ(result.out, "");
}

TEST(QuilcallUsage, HelpListsEveryFlagAndExitsZero) {
    const ChildResult result = Quilcall({"--help"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out.rfind("usage: quilcall [options] API VERSION\n", 0), 0u);
    for (const std::string& flag : KnownFlags()) {
        EXPECT_NE(result.out.find("\n  " + flag + " "), std::string::npos) << flag;
    }
}

TEST(QuilcallUsage, NoArgumentsAtAll) {
    ExpectUsageError({}, "API and VERSION are missing (see --help)");
}

TEST(QuilcallUsage, FeaturesThatAreNotANumber) {
    ExpectUsageError({"--features", "abc", "my.api", "1.0"},
                     "--features: not a whole number: \"abc\"");
}

TEST(QuilcallUsage, UnreadableDataFile) {
    ExpectUsageError({"--data-file", "/nonexistent/quilcall/data.json", "my.api", "1.0"},
                     "--data-file: cannot read \"/nonexistent/quilcall/data.json\": No such file "
                     "or directory");
}

TEST(QuilcallUsage, DataThatIsNotJson) {
    ExpectUsageError({"--data", "a=b", "my.api", "1.0"},
                     "--data: not JSON (Line 1, Column 1: Syntax error: value, object or array "
                     "expected.); use --raw-data to send a text as it stands");
}

TEST(QuilcallUsage, UnknownFlag) {
    ExpectUsageError({"--colour", "my.api", "1.0"}, "unknown flag --colour (see --help)");
}

TEST(QuilcallUsage, FlagWithoutItsValue) {
    ExpectUsageError({"my.api", "1.0", "--timeout"}, "--timeout needs a value (see --help)");
}

TEST(QuilcallUsage, BadEnvironmentLogLevelAndTimeout) {
    ExpectUsageError({"--env", "staging", "my.api", "1.0"},
                     "--env: wants daily, pre or online, got \"staging\"");
    ExpectUsageError({"--log-level", "9", "my.api", "1.0"},
                     "--log-level: wants a level from 0 (finest) to 4 (gravest), got \"9\"");
    ExpectUsageError({"--timeout", "-3", "my.api", "1.0"},
                     "--timeout: wants seconds above 0 and at most 3600, got \"-3\"");
}

TEST(QuilcallUsage, BadHost) {
    ExpectUsageError({"--host", "https://gw.example", "my.api", "1.0"},
                     "--host: wants HOST[:PORT] without scheme or path, got "
                     "\"https://gw.example\"");
}

TEST(QuilcallUsage, TwoKindsOfData) {
    ExpectUsageError({"--raw-data", "x", "--data", "{}", "my.api", "1.0"},
                     "--data: only one of --data, --data-file and --raw-data, and once (already "
                     "given: --raw-data)");
}

}  // namespace
}  // namespace quil
