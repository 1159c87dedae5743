#include "ErrorCodeMappingAfterFilter.h"

#include <gtest/gtest.h>

#include <memory>

#include "FilterTestObjects.h"
#include "QuilRequestImpl.h"
#include "QuilResponseImpl.h"
#include "RecordingLog.h"

using quil::test::LogLine;
using quil::test::ScopedRecordingLog;

using quil::test::MakeFilterRequest;
using quil::test::MakeGatewayErrorResponse;

TEST(ErrorCodeMappingAfterFilter, BearsItsNameInTheChain) {
    ErrorCodeMappingAfterFilter filter;
    EXPECT_STREQ(filter.GetName(), "a_errorcode_mapping");
}

TEST(ErrorCodeMappingAfterFilter, LogsTheRequestIdAtLevelZeroAndLetsItPass) {
    ScopedRecordingLog log;
    ErrorCodeMappingAfterFilter filter;
    auto request = MakeFilterRequest(42);
    auto response = MakeGatewayErrorResponse();
    (void)response;
    FilterResult result;
    filter.HandleResponse(request.get(), response.get(), &result);
    EXPECT_EQ(result.code, 0);
    LogLine line = log->Find("handle errorcode mapping after filter, id: 42");
    EXPECT_EQ(line.level, QUIL_LOG_VERBOSE);
    EXPECT_EQ(line.function, "HandleResponse");
    EXPECT_EQ(log->Count(), 1u);
}

TEST(ErrorCodeMappingAfterFilter, TouchesNeitherRequestNorResponse) {
    ErrorCodeMappingAfterFilter filter;
    auto request = MakeFilterRequest(7);
    auto response = MakeGatewayErrorResponse();
    FilterResult result;
    filter.HandleResponse(request.get(), response.get(), &result);
    EXPECT_EQ(request->GetData(), "{   \"k\" : \"v\"}");
    EXPECT_TRUE(request->headers.empty());
    EXPECT_EQ(request->GetId(), 7);
    EXPECT_EQ(response->retInfo->retCode, "FAIL_BIZ_SOMETHING");
    EXPECT_EQ(response->retInfo->retMsg, "went wrong");
    EXPECT_EQ(response->retInfo->errorType, 3);
    EXPECT_EQ(response->statusCode, 200);
    EXPECT_EQ(response->headers.size(), 1u);
}

TEST(ErrorCodeMappingAfterFilter, AnErrorResponsePassesWithItsRetCodeUnchanged) {
    ErrorCodeMappingAfterFilter filter;
    auto request = MakeFilterRequest(8);
    auto response = MakeGatewayErrorResponse();
    FilterResult result;
    result.code = 0;
    filter.HandleResponse(request.get(), response.get(), &result);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(response->GetRetInfo()->retCode, "FAIL_BIZ_SOMETHING");
    EXPECT_FALSE(response->IsSuccess());
}
