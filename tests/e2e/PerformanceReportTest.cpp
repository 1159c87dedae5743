// The performance report of one whole call, end to end, as the host's statistics sink receives
// it: the point's registration, every dimension, every time mark in the order the call passes
// its phases, and the sizes of what went over the wire.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "E2eHost.h"

namespace quil {
namespace test {
namespace {

// A host cookie store, so that the composition asks one and marks it.
class OneCookieStorage : public IQuilCookieStorage {
public:
    bool GetCookie(const std::string& /*url*/, std::string& cookie) override {
        cookie = "c=1";
        return true;
    }
};

const std::vector<std::string> kDimensionNames = {
    "api",       "version",   "domain",  "method",   "isSync",          "isSSL",
    "retryTime", "errorCode", "retType", "useProxy", "protocolVersion", "httpStatusCode"};

const std::vector<std::string> kMeasureNames = {"processStartTime",
                                                "processEndTime",
                                                "beforeFilterStartTime",
                                                "beforeFilterEndTime",
                                                "interceptRequestStartTime",
                                                "interceptRequestEndTime",
                                                "composeRequestStartTime",
                                                "composeRequestEndTime",
                                                "signStartTime",
                                                "signEndTime",
                                                "getCookieStartTime",
                                                "getCookieEndTime",
                                                "networkSendStartTime",
                                                "networkSendEndTime",
                                                "parseResponseStartTime",
                                                "parseResponseEndTime",
                                                "afterFilterStartTime",
                                                "afterFilterEndTime",
                                                "interceptResponseStartTime",
                                                "interceptResponseEndTime",
                                                "processContentStartTime",
                                                "processContentEndTime",
                                                "serverRT",
                                                "requestUrlLength",
                                                "requestHeaderSize",
                                                "requestBodySize",
                                                "responseHeaderSize",
                                                "responseBodySize"};

TEST(PerformanceReport, OneCallReportsEveryPhaseInOrder) {
    E2eHost host;
    ASSERT_TRUE(host.Start());
    static OneCookieStorage cookies;  // the library keeps the pointer for the process
    QuilConfig::GetInstance()->RegisterCookieStorage(&cookies);
    QuilRequest* request = QuilRequest::Create("e2e.echo", "1.0");
    request->AddData("greeting", std::string("hello"));
    ResponsePtr response = host.Call(request);
    ASSERT_NE(response, nullptr);
    ASSERT_TRUE(response->IsSuccess());

    const std::vector<StatisticsCall> registrations =
        host.Statistics().Calls("RegisterPoint", "performance");
    ASSERT_EQ(registrations.size(), 1u);
    EXPECT_EQ(registrations[0].module, "quilsdk");
    EXPECT_EQ(registrations[0].dimensionNames, kDimensionNames);
    EXPECT_EQ(registrations[0].measureNames, kMeasureNames);

    const std::vector<StatisticsCall> reports =
        host.Statistics().Calls("CommitPoint", "performance");
    ASSERT_EQ(reports.size(), 1u);
    const StatisticsCall& report = reports[0];
    EXPECT_EQ(report.module, "quilsdk");
    const std::vector<std::pair<std::string, std::string>> dimensions = {
        {"api", "e2e.echo"},   {"version", "1.0"},         {"domain", host.HostText()},
        {"method", "post"},    {"isSync", "true"},         {"isSSL", "false"},
        {"retryTime", "0"},    {"errorCode", "SUCCESS"},   {"retType", "0"},
        {"useProxy", "false"}, {"protocolVersion", "6.3"}, {"httpStatusCode", "200"}};
    EXPECT_EQ(report.dimensionValues, dimensions);
    std::vector<std::string> measureNames;
    for (const auto& measure : report.measureValues) {
        measureNames.push_back(measure.first);
    }
    ASSERT_EQ(measureNames, kMeasureNames);

    // The phases in the order one call passes them; each mark no earlier than the one before.
    const std::vector<std::string> road = {
        "processStartTime",     "beforeFilterStartTime", "beforeFilterEndTime",
        "signStartTime",        "signEndTime",           "composeRequestStartTime",
        "getCookieStartTime",   "getCookieEndTime",      "composeRequestEndTime",
        "networkSendStartTime", "networkSendEndTime",    "parseResponseStartTime",
        "parseResponseEndTime", "afterFilterStartTime",  "afterFilterEndTime",
        "processEndTime"};
    for (std::size_t i = 0; i < road.size(); ++i) {
        const double mark = report.Measure(road[i]);
        EXPECT_GE(mark, 0.0) << road[i] << " was never marked";
        if (i > 0) {
            EXPECT_LE(report.Measure(road[i - 1]), mark) << road[i - 1] << " after " << road[i];
        }
    }
    // No remote-configuration component and no traffic verdict: those phases never ran.
    EXPECT_EQ(report.Measure("interceptRequestStartTime"), -1.0);
    EXPECT_EQ(report.Measure("interceptRequestEndTime"), -1.0);
    EXPECT_EQ(report.Measure("interceptResponseStartTime"), -1.0);
    EXPECT_EQ(report.Measure("interceptResponseEndTime"), -1.0);
    EXPECT_EQ(report.Measure("processContentStartTime"), -1.0);
    EXPECT_EQ(report.Measure("processContentEndTime"), -1.0);

    // The sizes are those of what crossed the wire, as the transport saw it.
    ASSERT_EQ(host.Client().Count(), 1u);
    const RecordedExchange exchange = host.Client().Exchanges().at(0);
    double headerSize = 0;
    for (const std::string& line : exchange.headerLines) {
        headerSize += static_cast<double>(line.size() + 1);
    }
    EXPECT_EQ(report.Measure("serverRT"),
              static_cast<double>(std::atoi(response->GetHeaders().at("s-rt").c_str())));
    EXPECT_EQ(report.Measure("requestUrlLength"), static_cast<double>(exchange.url.size()));
    EXPECT_EQ(report.Measure("requestHeaderSize"), headerSize);
    EXPECT_EQ(report.Measure("requestBodySize"), static_cast<double>(exchange.body.size()));
    EXPECT_EQ(report.Measure("responseHeaderSize"),
              static_cast<double>(exchange.responseHeader.size()));
    EXPECT_EQ(report.Measure("responseBodySize"),
              static_cast<double>(exchange.responseBody.size()));

    const std::vector<StatisticsCall> outcomes =
        host.Statistics().Calls("CommitSuccess", "successRate");
    ASSERT_EQ(outcomes.size(), 1u);
    EXPECT_EQ(outcomes[0].module, "quilsdk");
    EXPECT_EQ(outcomes[0].arg, "");
    EXPECT_TRUE(host.Statistics().Calls("CommitFail", "successRate").empty());
}

}  // namespace
}  // namespace test
}  // namespace quil
