// The after filters that only hold their place in the chain ("a_dynamic_api_config",
// "a_errorcode_mapping", "a_ut"): each logs the request's id at level 0 and lets every response
// pass untouched. One parameterised test for the three, which differ only in their names.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

#include "DynamicApiConfigAfterFilter.h"
#include "ErrorCodeMappingAfterFilter.h"
#include "FilterTestObjects.h"
#include "QuilRequestImpl.h"
#include "QuilResponseImpl.h"
#include "RecordingLog.h"
#include "UTAfterFilter.h"

using quil::test::LogLine;
using quil::test::MakeFilterRequest;
using quil::test::MakeGatewayErrorResponse;
using quil::test::ScopedRecordingLog;

namespace {

struct PassThroughCase {
    const char* name;       // the filter's name in the chain
    const char* logPrefix;  // its entry line without the id
    std::function<std::unique_ptr<AfterFilter>()> make;
};

void PrintTo(const PassThroughCase& filterCase, std::ostream* out) { *out << filterCase.name; }

class PassThroughAfterFilter : public ::testing::TestWithParam<PassThroughCase> {
protected:
    std::unique_ptr<AfterFilter> filter = GetParam().make();
};

}  // namespace

TEST_P(PassThroughAfterFilter, BearsItsNameInTheChain) {
    EXPECT_STREQ(filter->GetName(), GetParam().name);
}

TEST_P(PassThroughAfterFilter, LogsTheRequestIdAtLevelZeroAndLetsItPass) {
    ScopedRecordingLog log;
    auto request = MakeFilterRequest(42);
    auto response = MakeGatewayErrorResponse();
    FilterResult result;
    filter->HandleResponse(request.get(), response.get(), &result);
    EXPECT_EQ(result.code, 0);
    LogLine line = log->Find(std::string(GetParam().logPrefix) + "42");
    EXPECT_EQ(line.level, QUIL_LOG_VERBOSE);
    EXPECT_EQ(line.function, "HandleResponse");
    EXPECT_EQ(log->Count(), 1u);
}

TEST_P(PassThroughAfterFilter, TouchesNeitherRequestNorResponse) {
    auto request = MakeFilterRequest(7);
    auto response = MakeGatewayErrorResponse();
    FilterResult result;
    filter->HandleResponse(request.get(), response.get(), &result);
    EXPECT_EQ(request->GetData(), "{   \"k\" : \"v\"}");
    EXPECT_TRUE(request->headers.empty());
    EXPECT_EQ(request->GetId(), 7);
    EXPECT_EQ(response->retInfo->retCode, "FAIL_BIZ_SOMETHING");
    EXPECT_EQ(response->retInfo->retMsg, "went wrong");
    EXPECT_EQ(response->retInfo->errorType, 3);
    EXPECT_EQ(response->statusCode, 200);
    EXPECT_EQ(response->headers.size(), 1u);
}

TEST_P(PassThroughAfterFilter, AnErrorResponsePassesWithItsRetCodeUnchanged) {
    auto request = MakeFilterRequest(8);
    auto response = MakeGatewayErrorResponse();
    FilterResult result;
    filter->HandleResponse(request.get(), response.get(), &result);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(response->GetRetInfo()->retCode, "FAIL_BIZ_SOMETHING");
    EXPECT_FALSE(response->IsSuccess());
}

INSTANTIATE_TEST_SUITE_P(
    Placeholders, PassThroughAfterFilter,
    ::testing::Values(
        PassThroughCase{
            "a_dynamic_api_config", "handle dynamic api config after filter, id: ",
            [] { return std::unique_ptr<AfterFilter>(new DynamicApiConfigAfterFilter); }},
        PassThroughCase{
            "a_errorcode_mapping", "handle errorcode mapping after filter, id: ",
            [] { return std::unique_ptr<AfterFilter>(new ErrorCodeMappingAfterFilter); }},
        PassThroughCase{"a_ut", "handle ut after filter, id: ",
                        [] { return std::unique_ptr<AfterFilter>(new UTAfterFilter); }}),
    // "a_dynamic_api_config" becomes "dynamicapiconfig": test names take no underscores.
    [](const ::testing::TestParamInfo<PassThroughCase>& info) {
        std::string name;
        for (const char* c = info.param.name + 2; *c != '\0'; ++c) {
            if (*c != '_') name += *c;
        }
        return name;
    });
