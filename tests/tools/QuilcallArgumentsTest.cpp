// quilcall's command line: every flag reaches its field, and every bad value is one usage
// message that names the flag.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "ArgumentParser.h"
#include "HelpText.h"

namespace quil {
namespace {

ParseOutcome Parse(std::vector<std::string> args) { return ParseArguments(args); }

std::string ErrorOf(std::vector<std::string> args) {
    const ParseOutcome outcome = ParseArguments(args);
    EXPECT_EQ(outcome.kind, ParseOutcome::Kind::kUsageError);
    return outcome.error;
}

std::string TempFile(const std::string& name, const std::string& contents) {
    const std::string path = ::testing::TempDir() + "/" + name;
    std::ofstream(path, std::ios::binary) << contents;
    return path;
}

TEST(QuilcallArguments, ApiAndVersionWithDefaults) {
    const ParseOutcome outcome = Parse({"my.api", "1.0"});
    ASSERT_EQ(outcome.kind, ParseOutcome::Kind::kRun);
    EXPECT_EQ(outcome.options.api, "my.api");
    EXPECT_EQ(outcome.options.version, "1.0");
    EXPECT_EQ(outcome.options.environment, 2);
    EXPECT_EQ(outcome.options.data.kind, CallData::Kind::kNone);
    EXPECT_FALSE(outcome.options.get);
    EXPECT_FALSE(outcome.options.async);
    EXPECT_EQ(outcome.options.logLevel, -1);
    EXPECT_EQ(outcome.options.timeoutMs, 30000);
}

TEST(QuilcallArguments, MissingApiOrVersionIsUsageError) {
    EXPECT_EQ(ErrorOf({}), "API and VERSION are missing (see --help)");
    EXPECT_EQ(ErrorOf({"my.api"}), "VERSION is missing (see --help)");
    EXPECT_EQ(ErrorOf({"a", "1", "extra"}), "unexpected argument \"extra\" after API and VERSION");
}

TEST(QuilcallArguments, TextFlagsReachTheirFields) {
    const ParseOutcome outcome = Parse({"--appkey",
                                        "K",
                                        "--app-name",
                                        "N",
                                        "--app-version",
                                        "V",
                                        "--utdid",
                                        "U",
                                        "--ttid",
                                        "T",
                                        "--devid",
                                        "D",
                                        "--auth-code",
                                        "A",
                                        "--sid",
                                        "S",
                                        "--uid",
                                        "I",
                                        "--ssl-value",
                                        "SV",
                                        "--proxy",
                                        "http://p:1",
                                        "--user",
                                        "acct",
                                        "--network-type",
                                        "wifi",
                                        "--reqbiz-ext",
                                        "RB",
                                        "--open-biz",
                                        "OB",
                                        "--mini-appkey",
                                        "MK",
                                        "--req-appkey",
                                        "RK",
                                        "--act",
                                        "AC",
                                        "--open-biz-data",
                                        "OD",
                                        "--miniapp-id-tarvel",
                                        "MT",
                                        "--miniapp-id-pelmay",
                                        "MP",
                                        "--ext-data",
                                        "ED",
                                        "--ext-type",
                                        "ET",
                                        "api",
                                        "v"});
    ASSERT_EQ(outcome.kind, ParseOutcome::Kind::kRun) << outcome.error;
    const CallOptions& o = outcome.options;
    EXPECT_EQ(o.appKey, "K");
    EXPECT_EQ(o.appName, "N");
    EXPECT_EQ(o.appVersion, "V");
    EXPECT_EQ(o.utdid, "U");
    EXPECT_EQ(o.ttid, "T");
    EXPECT_EQ(o.devId, "D");
    EXPECT_EQ(o.authCode, "A");
    EXPECT_EQ(o.sid, "S");
    EXPECT_EQ(o.uid, "I");
    EXPECT_EQ(o.sslValue, "SV");
    EXPECT_EQ(o.proxy, "http://p:1");
    EXPECT_EQ(o.user, "acct");
    EXPECT_EQ(o.networkType, "wifi");
    EXPECT_EQ(o.reqBizExt, "RB");
    EXPECT_EQ(o.openBiz, "OB");
    EXPECT_EQ(o.miniAppKey, "MK");
    EXPECT_EQ(o.reqAppKey, "RK");
    EXPECT_EQ(o.act, "AC");
    EXPECT_EQ(o.openBizData, "OD");
    EXPECT_EQ(o.miniAppIdTarvel, "MT");
    EXPECT_EQ(o.miniAppIdPelmay, "MP");
    EXPECT_EQ(o.extData, "ED");
    EXPECT_EQ(o.extType, "ET");
}

TEST(QuilcallArguments, TheLoginSessionReachesItsFields) {
    const ParseOutcome outcome = Parse({"--login-sid", "LS", "--login-uid=LU", "a", "v"});
    ASSERT_EQ(outcome.kind, ParseOutcome::Kind::kRun) << outcome.error;
    EXPECT_EQ(outcome.options.loginSid, "LS");
    EXPECT_EQ(outcome.options.loginUid, "LU");
    EXPECT_EQ(outcome.options.sid, "");
}

TEST(QuilcallArguments, ALoginUidWithoutALoginSidIsAUsageError) {
    const ParseOutcome outcome = Parse({"--login-uid", "LU", "a", "v"});
    EXPECT_EQ(outcome.kind, ParseOutcome::Kind::kUsageError);
    EXPECT_EQ(outcome.error, "--login-uid needs --login-sid");
}

TEST(QuilcallArguments, SwitchesReachTheirFields) {
    const ParseOutcome outcome =
        Parse({"--get", "--ssl", "--need-login", "--async", "--no-security", "--insecure", "--json",
               "--timing", "a", "v"});
    ASSERT_EQ(outcome.kind, ParseOutcome::Kind::kRun) << outcome.error;
    EXPECT_TRUE(outcome.options.get);
    EXPECT_TRUE(outcome.options.ssl);
    EXPECT_TRUE(outcome.options.needLogin);
    EXPECT_TRUE(outcome.options.async);
    EXPECT_TRUE(outcome.options.noSecurity);
    EXPECT_TRUE(outcome.options.insecure);
    EXPECT_TRUE(outcome.options.json);
    EXPECT_TRUE(outcome.options.timing);
}

TEST(QuilcallArguments, SwitchWithValueIsUsageError) {
    EXPECT_EQ(ErrorOf({"--get=yes", "a", "v"}), "--get takes no value");
}

TEST(QuilcallArguments, ValueAfterEqualsSign) {
    const ParseOutcome outcome = Parse({"--appkey=K=1", "--header=x-a:b", "a", "v"});
    ASSERT_EQ(outcome.kind, ParseOutcome::Kind::kRun) << outcome.error;
    EXPECT_EQ(outcome.options.appKey, "K=1");
    EXPECT_EQ(outcome.options.headers.at("x-a"), "b");
}

TEST(QuilcallArguments, MissingValueNamesTheFlag) {
    EXPECT_EQ(ErrorOf({"a", "v", "--appkey"}), "--appkey needs a value (see --help)");
}

TEST(QuilcallArguments, UnknownFlagIsNamed) {
    EXPECT_EQ(ErrorOf({"--bogus", "a", "v"}), "unknown flag --bogus (see --help)");
    EXPECT_EQ(ErrorOf({"--bogus=1", "a", "v"}), "unknown flag --bogus (see --help)");
}

TEST(QuilcallArguments, DoubleDashEndsTheFlags) {
    const ParseOutcome outcome = Parse({"--", "-api", "-1"});
    ASSERT_EQ(outcome.kind, ParseOutcome::Kind::kRun) << outcome.error;
    EXPECT_EQ(outcome.options.api, "-api");
    EXPECT_EQ(outcome.options.version, "-1");
}

TEST(QuilcallArguments, FlagsAreReadInOrderUpToHelp) {
    EXPECT_EQ(Parse({"--bogus", "--help"}).kind, ParseOutcome::Kind::kUsageError);
    EXPECT_EQ(Parse({"--help", "--bogus"}).kind, ParseOutcome::Kind::kHelp);
    EXPECT_EQ(Parse({"-h"}).kind, ParseOutcome::Kind::kHelp);
}

TEST(QuilcallArguments, EnvironmentNames) {
    EXPECT_EQ(Parse({"--env", "online", "a", "v"}).options.environment, 0);
    EXPECT_EQ(Parse({"--env", "pre", "a", "v"}).options.environment, 1);
    EXPECT_EQ(Parse({"--env", "daily", "a", "v"}).options.environment, 2);
    EXPECT_EQ(ErrorOf({"--env", "prod", "a", "v"}),
              "--env: wants daily, pre or online, got \"prod\"");
}

TEST(QuilcallArguments, HostWithAndWithoutPort) {
    EXPECT_EQ(Parse({"--host", "gw.example", "a", "v"}).options.host, "gw.example");
    EXPECT_EQ(Parse({"--host", "127.0.0.1:8080", "a", "v"}).options.host, "127.0.0.1:8080");
    EXPECT_EQ(Parse({"--host", "[::1]:8080", "a", "v"}).options.host, "[::1]:8080");
}

TEST(QuilcallArguments, BadHostsAreUsageErrors) {
    EXPECT_EQ(ErrorOf({"--host", "http://gw.example", "a", "v"}),
              "--host: wants HOST[:PORT] without scheme or path, got \"http://gw.example\"");
    EXPECT_EQ(ErrorOf({"--host", "gw.example/gw", "a", "v"}),
              "--host: wants HOST[:PORT] without scheme or path, got \"gw.example/gw\"");
    EXPECT_EQ(ErrorOf({"--host", "gw.example:0", "a", "v"}),
              "--host: wants HOST[:PORT] with a port from 1 to 65535, got \"gw.example:0\"");
    EXPECT_EQ(ErrorOf({"--host", "gw.example:http", "a", "v"}),
              "--host: wants HOST[:PORT] with a port from 1 to 65535, got \"gw.example:http\"");
    EXPECT_EQ(ErrorOf({"--host", "gw.example:70000", "a", "v"}),
              "--host: wants HOST[:PORT] with a port from 1 to 65535, got \"gw.example:70000\"");
    EXPECT_EQ(ErrorOf({"--host", "", "a", "v"}), "--host: wants HOST[:PORT], got nothing");
}

TEST(QuilcallArguments, FeaturesMustBeAWholeNumber) {
    const ParseOutcome outcome = Parse({"--features", "27", "a", "v"});
    EXPECT_TRUE(outcome.options.hasFeatures);
    EXPECT_EQ(outcome.options.features, 27);
    EXPECT_EQ(ErrorOf({"--features", "abc", "a", "v"}), "--features: not a whole number: \"abc\"");
    EXPECT_EQ(ErrorOf({"--features", "12x", "a", "v"}), "--features: not a whole number: \"12x\"");
    EXPECT_EQ(ErrorOf({"--features", "99999999999999999999", "a", "v"}),
              "--features: not a whole number: \"99999999999999999999\"");
    EXPECT_EQ(ErrorOf({"--features", "", "a", "v"}), "--features: not a whole number: \"\"");
}

TEST(QuilcallArguments, CoordinatesMustBeNumbersInRange) {
    const ParseOutcome outcome = Parse({"--lat", "30.25", "--lng", "-120.5", "a", "v"});
    EXPECT_EQ(outcome.options.lat, "30.25");
    EXPECT_EQ(outcome.options.lng, "-120.5");
    EXPECT_EQ(ErrorOf({"--lat", "north", "a", "v"}),
              "--lat: not a coordinate between -90 and 90: \"north\"");
    EXPECT_EQ(ErrorOf({"--lng", "181", "a", "v"}),
              "--lng: not a coordinate between -180 and 180: \"181\"");
}

TEST(QuilcallArguments, LogLevelFromZeroToFour) {
    EXPECT_EQ(Parse({"--log-level", "0", "a", "v"}).options.logLevel, 0);
    EXPECT_EQ(Parse({"--log-level", "4", "a", "v"}).options.logLevel, 4);
    EXPECT_EQ(ErrorOf({"--log-level", "5", "a", "v"}),
              "--log-level: wants a level from 0 (finest) to 4 (gravest), got \"5\"");
    EXPECT_EQ(ErrorOf({"--log-level", "-1", "a", "v"}),
              "--log-level: wants a level from 0 (finest) to 4 (gravest), got \"-1\"");
}

TEST(QuilcallArguments, RepeatFromOneToAHundred) {
    EXPECT_EQ(Parse({"a", "v"}).options.repeat, 1);
    EXPECT_EQ(Parse({"--repeat", "100", "a", "v"}).options.repeat, 100);
    EXPECT_EQ(ErrorOf({"--repeat", "0", "a", "v"}),
              "--repeat: wants a count from 1 to 100, got \"0\"");
    EXPECT_EQ(ErrorOf({"--repeat", "101", "a", "v"}),
              "--repeat: wants a count from 1 to 100, got \"101\"");
}

TEST(QuilcallArguments, TimeoutInSeconds) {
    EXPECT_EQ(Parse({"--timeout", "2.5", "a", "v"}).options.timeoutMs, 2500);
    EXPECT_EQ(ErrorOf({"--timeout", "0", "a", "v"}),
              "--timeout: wants seconds above 0 and at most 3600, got \"0\"");
    EXPECT_EQ(ErrorOf({"--timeout", "soon", "a", "v"}),
              "--timeout: wants seconds above 0 and at most 3600, got \"soon\"");
    EXPECT_EQ(ErrorOf({"--timeout", "nan", "a", "v"}),
              "--timeout: wants seconds above 0 and at most 3600, got \"nan\"");
}

TEST(QuilcallArguments, DomainModeIsAWholeNumber) {
    const ParseOutcome outcome = Parse({"--domain-mode", "2", "a", "v"});
    EXPECT_TRUE(outcome.options.hasDomainMode);
    EXPECT_EQ(outcome.options.domainMode, 2);
    EXPECT_EQ(ErrorOf({"--domain-mode", "first", "a", "v"}),
              "--domain-mode: not a whole number: \"first\"");
}

TEST(QuilcallArguments, HeadersAndParamsRepeatAndSplitAtTheFirstSeparator) {
    const ParseOutcome outcome = Parse(
        {"--header", "x-a:1:2", "--header", "x-b:", "--param", "k=v=w", "--param", "e=", "a", "v"});
    ASSERT_EQ(outcome.kind, ParseOutcome::Kind::kRun) << outcome.error;
    EXPECT_EQ(outcome.options.headers.size(), 2u);
    EXPECT_EQ(outcome.options.headers.at("x-a"), "1:2");
    EXPECT_EQ(outcome.options.headers.at("x-b"), "");
    EXPECT_EQ(outcome.options.params.at("k"), "v=w");
    EXPECT_EQ(outcome.options.params.at("e"), "");
}

TEST(QuilcallArguments, MalformedHeadersAndParamsAreUsageErrors) {
    EXPECT_EQ(ErrorOf({"--header", "novalue", "a", "v"}),
              "--header: wants NAME:VALUE, got \"novalue\"");
    EXPECT_EQ(ErrorOf({"--header", ":v", "a", "v"}), "--header: wants NAME:VALUE, got \":v\"");
    EXPECT_EQ(ErrorOf({"--header", "x:a\r\nx-evil:1", "a", "v"}),
              "--header: a header cannot hold a line break");
    EXPECT_EQ(ErrorOf({"--param", "k", "a", "v"}), "--param: wants KEY=VALUE, got \"k\"");
    EXPECT_EQ(ErrorOf({"--param", "=v", "a", "v"}), "--param: wants KEY=VALUE, got \"=v\"");
}

TEST(QuilcallArguments, ConnectToNeedsFourParts) {
    EXPECT_EQ(Parse({"--connect-to", "h:80:127.0.0.1:8080", "a", "v"}).options.connectTo.size(),
              1u);
    EXPECT_EQ(ErrorOf({"--connect-to", "h:80", "a", "v"}),
              "--connect-to: wants HOST:PORT:ADDRESS:PORT, got \"h:80\"");
}

TEST(QuilcallArguments, SecurityPathIsDecodedFromUtf8) {
    const ParseOutcome outcome = Parse({"--security-path", "../S\xC3\xA9/P.dll", "a", "v"});
    ASSERT_EQ(outcome.kind, ParseOutcome::Kind::kRun) << outcome.error;
    EXPECT_TRUE(outcome.options.hasSecurityPath);
    EXPECT_EQ(outcome.options.securityPath, L"../S\u00E9/P.dll");
    EXPECT_EQ(ErrorOf({"--security-path", "bad\xC3", "a", "v"}),
              "--security-path: not valid UTF-8");
    EXPECT_EQ(ErrorOf({"--security-path", "", "a", "v"}),
              "--security-path: wants a path, got nothing");
}

TEST(QuilcallArguments, FlatJsonDataBecomesMembers) {
    const ParseOutcome outcome = Parse({"--data", R"({"s":"t","i":-3,"r":1.5})", "a", "v"});
    ASSERT_EQ(outcome.kind, ParseOutcome::Kind::kRun) << outcome.error;
    const CallData& data = outcome.options.data;
    ASSERT_EQ(data.kind, CallData::Kind::kMembers);
    ASSERT_EQ(data.members.size(), 3u);
    // In key order, as the object lists them.
    EXPECT_EQ(data.members[0].key, "i");
    EXPECT_EQ(data.members[0].kind, CallDataMember::Kind::kInteger);
    EXPECT_EQ(data.members[0].integer, -3);
    EXPECT_EQ(data.members[1].key, "r");
    EXPECT_EQ(data.members[1].kind, CallDataMember::Kind::kReal);
    EXPECT_EQ(data.members[1].real, 1.5);
    EXPECT_EQ(data.members[2].key, "s");
    EXPECT_EQ(data.members[2].kind, CallDataMember::Kind::kString);
    EXPECT_EQ(data.members[2].text, "t");
}

TEST(QuilcallArguments, NestedJsonDataIsSentAsGiven) {
    const ParseOutcome outcome = Parse({"--data", "  {\"o\":{\"x\":[1,true]}}\n", "a", "v"});
    ASSERT_EQ(outcome.kind, ParseOutcome::Kind::kRun) << outcome.error;
    EXPECT_EQ(outcome.options.data.kind, CallData::Kind::kRaw);
    EXPECT_EQ(outcome.options.data.raw, "{\"o\":{\"x\":[1,true]}}");
    EXPECT_EQ(Parse({"--data", R"({"b":false})", "a", "v"}).options.data.kind,
              CallData::Kind::kRaw);
    EXPECT_EQ(Parse({"--data", R"({"big":12345678901})", "a", "v"}).options.data.kind,
              CallData::Kind::kRaw);
}

TEST(QuilcallArguments, DataThatIsNotJsonIsUsageError) {
    EXPECT_EQ(ErrorOf({"--data", "{x", "a", "v"}),
              "--data: not JSON (Line 1, Column 2: Missing '}' or object member name); use "
              "--raw-data to send a text as it stands");
    EXPECT_EQ(ErrorOf({"--data", "[1,2]", "a", "v"}),
              "--data: not a JSON object; use --raw-data to send a text as it stands");
    EXPECT_EQ(ErrorOf({"--data", R"({"a":1} trailing)", "a", "v"}).rfind("--data: not JSON (", 0),
              0u);
}

TEST(QuilcallArguments, RawDataIsTakenAsItStands) {
    const ParseOutcome outcome = Parse({"--raw-data", "not json at all", "a", "v"});
    EXPECT_EQ(outcome.options.data.kind, CallData::Kind::kRaw);
    EXPECT_EQ(outcome.options.data.raw, "not json at all");
}

TEST(QuilcallArguments, DataFileIsRead) {
    const std::string path = TempFile("quilcall-data.json", "{\"k\":\"v\"}\n");
    const ParseOutcome outcome = Parse({"--data-file", path, "a", "v"});
    ASSERT_EQ(outcome.kind, ParseOutcome::Kind::kRun) << outcome.error;
    ASSERT_EQ(outcome.options.data.members.size(), 1u);
    EXPECT_EQ(outcome.options.data.members[0].text, "v");
}

TEST(QuilcallArguments, UnreadableDataFileIsUsageError) {
    const std::string missing = ::testing::TempDir() + "/quilcall-no-such-file.json";
    std::remove(missing.c_str());
    EXPECT_EQ(ErrorOf({"--data-file", missing, "a", "v"}),
              "--data-file: cannot read \"" + missing + "\": No such file or directory");
    EXPECT_EQ(ErrorOf({"--data-file", ::testing::TempDir(), "a", "v"}),
              "--data-file: cannot read \"" + ::testing::TempDir() + "\": is a directory");
    const std::string bad = TempFile("quilcall-bad.json", "not json");
    EXPECT_EQ(ErrorOf({"--data-file", bad, "a", "v"})
                  .rfind("--data-file: \"" + bad + "\" holds not JSON (", 0),
              0u);
}

TEST(QuilcallArguments, OnlyOneDataFlag) {
    EXPECT_EQ(ErrorOf({"--data", "{}", "--raw-data", "x", "a", "v"}),
              "--raw-data: only one of --data, --data-file and --raw-data, and once (already "
              "given: --data)");
    EXPECT_EQ(ErrorOf({"--raw-data", "x", "--raw-data", "y", "a", "v"}),
              "--raw-data: only one of --data, --data-file and --raw-data, and once (already "
              "given: --raw-data)");
}

TEST(QuilcallArguments, HelpListsEveryFlagOnALineOfItsOwn) {
    const std::string help = HelpText();
    for (const std::string& flag : KnownFlags()) {
        EXPECT_NE(help.find("\n  " + flag + " "), std::string::npos) << flag;
    }
    EXPECT_NE(help.find("\n  --help "), std::string::npos);
    EXPECT_EQ(help.rfind("usage: quilcall [options] API VERSION\n", 0), 0u);
}

TEST(QuilcallArguments, DispatchAloneNeedsNoApiAndVersion) {
    const ParseOutcome outcome = Parse({"--dispatch", "gw.quil.example", "--dispatch-failed",
                                        "gw.quil.example", "--dispatch-failed=b.example"});
    ASSERT_EQ(outcome.kind, ParseOutcome::Kind::kRun);
    EXPECT_TRUE(outcome.options.hasDispatch);
    EXPECT_EQ(outcome.options.dispatchDomain, "gw.quil.example");
    EXPECT_EQ(outcome.options.dispatchFailed,
              (std::vector<std::string>{"gw.quil.example", "b.example"}));
    EXPECT_EQ(outcome.options.api, "");
    EXPECT_EQ(Parse({"--dispatch-failed", "h"}).kind, ParseOutcome::Kind::kRun);
}

TEST(QuilcallArguments, DispatchGoesWithACall) {
    const ParseOutcome outcome = Parse({"my.api", "1.0", "--dispatch", "d.example"});
    ASSERT_EQ(outcome.kind, ParseOutcome::Kind::kRun);
    EXPECT_EQ(outcome.options.api, "my.api");
    EXPECT_EQ(outcome.options.dispatchDomain, "d.example");
    EXPECT_FALSE(Parse({"my.api", "1.0"}).options.hasDispatch);
}

TEST(QuilcallArguments, BadDispatchFlagsAreUsageErrors) {
    EXPECT_EQ(ErrorOf({"--dispatch", ""}), "--dispatch: wants a domain");
    EXPECT_EQ(ErrorOf({"--dispatch-failed="}), "--dispatch-failed: wants a host");
    EXPECT_EQ(ErrorOf({"--dispatch", "a", "--dispatch", "b"}), "--dispatch: may be given once");
    EXPECT_EQ(ErrorOf({"--dispatch", "a", "--json"}),
              "--json does not combine with --dispatch or --dispatch-failed");
    EXPECT_EQ(ErrorOf({"--dispatch", "a", "my.api"}), "VERSION is missing (see --help)");
}

}  // namespace
}  // namespace quil
