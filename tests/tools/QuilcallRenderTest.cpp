// How quilcall shows an outcome: the text and JSON renderings, the exit codes, the timing
// waterfall and its width, and the wide security path.
#include <gtest/gtest.h>
#include <json/json.h>

#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>

#include "CallRunner.h"
#include "ResponseRenderer.h"
#include "TimingWaterfall.h"
#include "WideText.h"

namespace quil {
namespace {

CallOutcome Answered(int status, const std::string& retCode, int errorType, bool success) {
    CallOutcome outcome;
    outcome.answered = true;
    outcome.status = status;
    outcome.hasRetInfo = true;
    outcome.retCode = retCode;
    outcome.retMsg = "message of " + retCode;
    outcome.errorType = errorType;
    outcome.success = success;
    outcome.requestId = 1;
    return outcome;
}

// A report whose marks are the given offsets from a start at 1000 ms; -1 stays -1.
PerformanceReport Report(double beforeStart, double beforeEnd, double signStart, double signEnd,
                         double composeStart, double composeEnd, double sendStart, double sendEnd,
                         double parseStart, double parseEnd, double afterStart, double afterEnd,
                         double end) {
    auto mark = [](double offset) { return offset < 0 ? -1.0 : 1000.0 + offset; };
    PerformanceReport report;
    report.dimensions = {{"api", "my.api"}, {"protocolVersion", "6.3"}};
    report.measures = {{"processStartTime", 1000.0},
                       {"processEndTime", mark(end)},
                       {"beforeFilterStartTime", mark(beforeStart)},
                       {"beforeFilterEndTime", mark(beforeEnd)},
                       {"composeRequestStartTime", mark(composeStart)},
                       {"composeRequestEndTime", mark(composeEnd)},
                       {"signStartTime", mark(signStart)},
                       {"signEndTime", mark(signEnd)},
                       {"networkSendStartTime", mark(sendStart)},
                       {"networkSendEndTime", mark(sendEnd)},
                       {"parseResponseStartTime", mark(parseStart)},
                       {"parseResponseEndTime", mark(parseEnd)},
                       {"afterFilterStartTime", mark(afterStart)},
                       {"afterFilterEndTime", mark(afterEnd)}};
    return report;
}

Json::Value ParseJson(const std::string& text) {
    Json::CharReaderBuilder builder;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    std::string error;
    EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &value, &error)) << error;
    return value;
}

TEST(QuilcallRender, TextShowsStatusRetInfoHeadersAndPrettyBody) {
    CallOutcome outcome = Answered(200, "SUCCESS", 0, true);
    outcome.headers = {{"s-rt", "3"}, {"x-retcode", "SUCCESS"}};
    outcome.body = R"({"ret":["SUCCESS::ok"],"data":{"a":[1,{}],"e":[]}})";
    EXPECT_EQ(RenderText(outcome),
              "status: 200\n"
              "retCode: SUCCESS\n"
              "retMsg: message of SUCCESS\n"
              "errorType: 0\n"
              "headers:\n"
              "  s-rt: 3\n"
              "  x-retcode: SUCCESS\n"
              "body:\n"
              "{\n"
              "  \"data\": {\n"
              "    \"a\": [\n"
              "      1,\n"
              "      {}\n"
              "    ],\n"
              "    \"e\": []\n"
              "  },\n"
              "  \"ret\": [\n"
              "    \"SUCCESS::ok\"\n"
              "  ]\n"
              "}\n");
}

TEST(QuilcallRender, TextShowsABodyThatIsNotJsonAsItCame) {
    CallOutcome outcome = Answered(500, "FAIL_SYS_HTTP_RESPONSE_ERROR", 3, false);
    outcome.body = "oops";
    const std::string text = RenderText(outcome);
    EXPECT_NE(text.find("headers: none\nbody:\noops\n"), std::string::npos) << text;
}

TEST(QuilcallRender, TextSaysWhenTheBodyIsEmpty) {
    const std::string text = RenderText(Answered(0, "FAIL_SYS_SIGN_ERROR", 1, false));
    EXPECT_NE(text.find("\nbody: empty\n"), std::string::npos) << text;
}

TEST(QuilcallRender, TextOfACallWithoutResponse) {
    CallOutcome outcome;
    outcome.failure = "the asynchronous call was refused with code -2";
    EXPECT_EQ(RenderText(outcome), "no response: the asynchronous call was refused with code -2\n");
}

TEST(QuilcallRender, JsonIsOneObjectOnOneLine) {
    CallOutcome outcome = Answered(200, "SUCCESS", 0, true);
    outcome.headers = {{"s-rt", "3"}};
    outcome.body = R"({"ret":["SUCCESS::ok"]})";
    const std::string text = RenderJson(outcome, nullptr);
    ASSERT_FALSE(text.empty());
    EXPECT_EQ(text.find('\n'), text.size() - 1);
    const Json::Value value = ParseJson(text);
    EXPECT_TRUE(value["answered"].asBool());
    EXPECT_TRUE(value["success"].asBool());
    EXPECT_EQ(value["status"].asInt(), 200);
    EXPECT_EQ(value["retCode"].asString(), "SUCCESS");
    EXPECT_EQ(value["retMsg"].asString(), "message of SUCCESS");
    EXPECT_EQ(value["errorType"].asInt(), 0);
    EXPECT_EQ(value["requestId"].asInt(), 1);
    EXPECT_EQ(value["headers"]["s-rt"].asString(), "3");
    EXPECT_EQ(value["body"]["ret"][0].asString(), "SUCCESS::ok");
    EXPECT_EQ(value["exitCode"].asInt(), 0);
    EXPECT_FALSE(value.isMember("timing"));
}

TEST(QuilcallRender, JsonKeepsABodyThatIsNotJsonAsText) {
    CallOutcome outcome = Answered(500, "FAIL", 3, false);
    outcome.body = "oops";
    EXPECT_EQ(ParseJson(RenderJson(outcome, nullptr))["body"].asString(), "oops");
}

TEST(QuilcallRender, JsonOfACallWithoutResponse) {
    CallOutcome outcome;
    outcome.failure = "no answer came back within 90 s";
    const Json::Value value = ParseJson(RenderJson(outcome, nullptr));
    EXPECT_FALSE(value["answered"].asBool());
    EXPECT_EQ(value["failure"].asString(), "no answer came back within 90 s");
    EXPECT_EQ(value["exitCode"].asInt(), 2);
}

TEST(QuilcallRender, JsonWithTimingCarriesPhasesAndTheReport) {
    const PerformanceReport report = Report(1, 2, 2, 5, 5, 6, 6, 16, 16, 17, 17, 18, 18);
    const Json::Value value = ParseJson(RenderJson(Answered(200, "SUCCESS", 0, true), &report));
    ASSERT_EQ(value["timing"].size(), 7u);
    EXPECT_EQ(value["timing"][1]["phase"].asString(), "sign");
    EXPECT_EQ(value["timing"][1]["startMs"].asDouble(), 2.0);
    EXPECT_EQ(value["timing"][1]["ms"].asDouble(), 3.0);
    EXPECT_EQ(value["timing"][3]["phase"].asString(), "network");
    EXPECT_EQ(value["timing"][3]["ms"].asDouble(), 10.0);
    EXPECT_EQ(value["timing"][6]["phase"].asString(), "total");
    EXPECT_EQ(value["timing"][6]["ms"].asDouble(), 18.0);
    EXPECT_EQ(value["performance"]["protocolVersion"].asString(), "6.3");
    EXPECT_EQ(value["performance"]["networkSendEndTime"].asDouble(), 1016.0);
}

TEST(QuilcallRender, ExitCodes) {
    EXPECT_EQ(ExitCodeFor(Answered(200, "SUCCESS", 0, true)), 0);
    EXPECT_EQ(ExitCodeFor(Answered(200, "FAIL_SYS_ILEGEL_SIGN", 3, false)), 1);
    EXPECT_EQ(ExitCodeFor(Answered(0, "FAIL_SYS_SIGN_ERROR", 1, false)), 2);
    EXPECT_EQ(ExitCodeFor(Answered(0, "FAIL_NETWORK_CONNECT_ERROR", 2, false)), 2);
    // Not a success, yet no failure type: not the gateway's refusal either.
    EXPECT_EQ(ExitCodeFor(Answered(304, "", 0, false)), 2);
    EXPECT_EQ(ExitCodeFor(CallOutcome()), 2);
}

TEST(QuilcallWaterfall, DrawsEveryPhaseScaledToTheWidth) {
    const PerformanceReport report = Report(0, 2, 2, 4, 4, 6, 6, 14, 14, 16, 16, 20, 20);
    // 60 columns: a label of 15, two bars' edges, 10 for the figures, 33 for the bar.
    EXPECT_EQ(DrawWaterfall(report, 60),
              "timing: 20 ms, 0.61 ms a column\n"
              "before filters |####                             |      2 ms\n"
              "sign           |   ####                          |      2 ms\n"
              "compose        |      ####                       |      2 ms\n"
              "network        |         ###############         |      8 ms\n"
              "parse          |                       ####      |      2 ms\n"
              "after filters  |                          #######|      4 ms\n"
              "total          |#################################|     20 ms\n");
}

TEST(QuilcallWaterfall, NoLineIsWiderThanTheTerminal) {
    const PerformanceReport report = Report(0, 1, 1, 30, 30, 31, 31, 900, 900, 901, 901, 905, 905);
    for (int width : {40, 80, 132, 200}) {
        std::istringstream lines(DrawWaterfall(report, width));
        std::string line;
        while (std::getline(lines, line)) {
            EXPECT_LE(static_cast<int>(line.size()), width) << line;
        }
    }
}

TEST(QuilcallWaterfall, NarrowTerminalsGetTheSmallestDrawing) {
    const PerformanceReport report = Report(0, 1, 1, 2, 2, 3, 3, 4, 4, 5, 5, 6, 6);
    std::istringstream lines(DrawWaterfall(report, 10));
    std::string line;
    std::getline(lines, line);
    std::getline(lines, line);
    EXPECT_EQ(line.size(), 40u);
}

TEST(QuilcallWaterfall, PhasesNeverReachedSaySo) {
    // A call a before filter stopped: nothing from signing to the after filters.
    const PerformanceReport report = Report(0, 1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 1);
    const std::string drawing = DrawWaterfall(report, 60);
    EXPECT_NE(drawing.find("sign           |not reached                      |         -\n"),
              std::string::npos)
        << drawing;
    EXPECT_NE(drawing.find("network        |not reached"), std::string::npos);
    EXPECT_NE(drawing.find("before filters |#################################|      1 ms\n"),
              std::string::npos)
        << drawing;
}

TEST(QuilcallWaterfall, ACallWithinOneMillisecondStillDrawsEachPhase) {
    const PerformanceReport report = Report(0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0);
    const std::string drawing = DrawWaterfall(report, 60);
    EXPECT_NE(drawing.find("network        |#                                |      0 ms\n"),
              std::string::npos)
        << drawing;
}

TEST(QuilcallWaterfall, TerminalWidthComesFromColumns) {
    setenv("COLUMNS", "123", 1);
    EXPECT_EQ(TerminalWidth(-1), 123);
    setenv("COLUMNS", "wide", 1);
    EXPECT_EQ(TerminalWidth(-1), 80);
    unsetenv("COLUMNS");
    // Not a terminal: the default.
    EXPECT_EQ(TerminalWidth(-1), 80);
}

TEST(QuilcallWideText, DecodesUtf8Strictly) {
    std::wstring wide;
    ASSERT_TRUE(Utf8ToWide("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", &wide));
    if (sizeof(wchar_t) == 4) {
        EXPECT_EQ(wide, std::wstring(L"a\u00E9\u20AC") + static_cast<wchar_t>(0x1F600));
    }
    EXPECT_FALSE(Utf8ToWide("\xC0\xAF", &wide));          // overlong
    EXPECT_FALSE(Utf8ToWide("\xED\xA0\x80", &wide));      // a surrogate
    EXPECT_FALSE(Utf8ToWide("\xF4\x90\x80\x80", &wide));  // beyond U+10FFFF
    EXPECT_FALSE(Utf8ToWide("\xE2\x82", &wide));          // cut short
    EXPECT_FALSE(Utf8ToWide("\x80", &wide));              // a lone continuation
}

}  // namespace
}  // namespace quil
