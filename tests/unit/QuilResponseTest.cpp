#include "QuilResponseImpl.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>

#include "QuilRequestImpl.h"
#include "RecordingLog.h"

using quil::test::ScopedRecordingLog;
using StringMap = std::map<std::string, std::string>;

namespace {

std::unique_ptr<QuilResponseImpl> Answered(int status, const std::string& retCode) {
    auto response = std::make_unique<QuilResponseImpl>();
    response->statusCode = status;
    response->retInfo = std::make_unique<RetInfo>();
    response->retInfo->retCode = retCode;
    return response;
}

QuilRequestImpl* NewRequest(int id) {
    auto* request = dynamic_cast<QuilRequestImpl*>(QuilRequest::Create("mtop.a", "1.0"));
    request->SetId(id);
    return request;
}

}  // namespace

TEST(RetInfo, StartsEmptyWithNoErrorType) {
    RetInfo info;
    EXPECT_EQ(info.retCode, "");
    EXPECT_EQ(info.retMsg, "");
    EXPECT_EQ(info.errorType, 0);
}

TEST(QuilResponse, FieldsStartEmpty) {
    QuilResponseImpl response;
    EXPECT_EQ(response.statusCode, 0);
    EXPECT_EQ(response.retInfo, nullptr);
    EXPECT_TRUE(response.headers.empty());
    EXPECT_EQ(response.body, "");
    EXPECT_TRUE(response.bodyJson.isNull());
    EXPECT_EQ(response.request, nullptr);
    EXPECT_EQ(response.GetStatusCode(), 0);
    EXPECT_EQ(response.GetRetInfo(), nullptr);
    EXPECT_EQ(response.GetRequest(), nullptr);
    EXPECT_EQ(response.GetBody(), "");
    EXPECT_TRUE(response.GetHeaders().empty());
}

TEST(QuilResponse, IsSuccessForStatus200AndSuccess) {
    EXPECT_TRUE(Answered(200, "SUCCESS")->IsSuccess());
}

TEST(QuilResponse, IsSuccessIsFalseForSuccessInAnotherCase) {
    EXPECT_FALSE(Answered(200, "success")->IsSuccess());
    EXPECT_FALSE(Answered(200, "Success")->IsSuccess());
}

TEST(QuilResponse, IsSuccessIsFalseForSuccessWithAnythingBehindIt) {
    EXPECT_FALSE(Answered(200, "SUCCESS::ok")->IsSuccess());
    EXPECT_FALSE(Answered(200, "SUCCESS ")->IsSuccess());
    EXPECT_FALSE(Answered(200, " SUCCESS")->IsSuccess());
}

TEST(QuilResponse, IsSuccessIsFalseForStatus304WithSuccess) {
    EXPECT_FALSE(Answered(304, "SUCCESS")->IsSuccess());
}

TEST(QuilResponse, LocallyBuiltFailureWithStatusZeroIsNeverASuccess) {
    auto failure = Answered(0, "FAIL_SYS_SIGN_ERROR");
    failure->retInfo->errorType = 1;
    EXPECT_FALSE(failure->IsSuccess());
    EXPECT_FALSE(Answered(0, "SUCCESS")->IsSuccess());
}

TEST(QuilResponse, IsSuccessIsFalseWithoutRetInfo) {
    QuilResponseImpl response;
    response.statusCode = 200;
    EXPECT_FALSE(response.IsSuccess());
}

TEST(QuilResponse, GetRetInfoHandsOutTheRecordItself) {
    auto response = Answered(200, "SUCCESS");
    RetInfo* info = response->GetRetInfo();
    EXPECT_EQ(info, response->retInfo.get());
    info->retMsg = "changed";
    EXPECT_EQ(response->retInfo->retMsg, "changed");
}

TEST(QuilResponse, GetHeadersAndBodyHandOutCopies) {
    QuilResponseImpl response;
    response.headers = {{"X-Mixed", "1"}, {"x-systime", "2"}};
    response.body = "{\"ret\":[\"SUCCESS::ok\"]}";
    StringMap headers = response.GetHeaders();
    EXPECT_EQ(headers, (StringMap{{"X-Mixed", "1"}, {"x-systime", "2"}}));
    headers.clear();
    EXPECT_EQ(response.headers.size(), 2u);
    EXPECT_EQ(response.GetBody(), "{\"ret\":[\"SUCCESS::ok\"]}");
}

TEST(QuilResponse, IsSessionExpiredWhenTheHeaderSaysSo) {
    QuilResponseImpl response;
    response.headers["x-retcode"] = "FAIL_SYS_SESSION_EXPIRED";
    EXPECT_TRUE(response.IsSessionExpired());
    EXPECT_FALSE(response.IsRequestExpired());
}

TEST(QuilResponse, IsSessionExpiredIgnoresTheRetCode) {
    auto response = Answered(200, "FAIL_SYS_SESSION_EXPIRED");
    EXPECT_FALSE(response->IsSessionExpired());
}

TEST(QuilResponse, IsSessionExpiredComparesTheHeaderKeyExactly) {
    QuilResponseImpl response;
    response.headers["X-Retcode"] = "FAIL_SYS_SESSION_EXPIRED";
    EXPECT_FALSE(response.IsSessionExpired());
}

TEST(QuilResponse, IsSessionExpiredComparesTheValueExactly) {
    QuilResponseImpl response;
    response.headers["x-retcode"] = "FAIL_SYS_SESSION_EXPIRED::expired";
    EXPECT_FALSE(response.IsSessionExpired());
    response.headers["x-retcode"] = "fail_sys_session_expired";
    EXPECT_FALSE(response.IsSessionExpired());
}

TEST(QuilResponse, IsRequestExpiredWhenTheHeaderSaysSo) {
    QuilResponseImpl response;
    response.headers["x-retcode"] = "FAIL_SYS_REQUEST_EXPIRED";
    EXPECT_TRUE(response.IsRequestExpired());
    EXPECT_FALSE(response.IsSessionExpired());
}

TEST(QuilResponse, IsRequestExpiredIgnoresTheRetCodeAndOtherCases) {
    auto response = Answered(200, "FAIL_SYS_REQUEST_EXPIRED");
    EXPECT_FALSE(response->IsRequestExpired());
    response->headers["X-RETCODE"] = "FAIL_SYS_REQUEST_EXPIRED";
    EXPECT_FALSE(response->IsRequestExpired());
}

TEST(QuilResponse, GetSysTimeWithoutTheHeaderIsEmpty) {
    QuilResponseImpl response;
    response.headers["X-Systime"] = "1700000000";
    EXPECT_EQ(response.GetSysTime(), "");
}

TEST(QuilResponse, GetSysTimeReturnsTheHeaderValue) {
    QuilResponseImpl response;
    response.headers["x-systime"] = "1700000000";
    EXPECT_EQ(response.GetSysTime(), "1700000000");
}

TEST(QuilResponse, DeletingAResponseDeletesItsRequestAndLogsBoth) {
    ScopedRecordingLog log;
    auto response = Answered(200, "SUCCESS");
    response->request.reset(NewRequest(12));
    EXPECT_EQ(response->GetRequest()->GetId(), 12);
    response.reset();
    ASSERT_EQ(log->Count(), 2u) << ::testing::PrintToString(log->Messages());
    EXPECT_EQ(log->Lines()[0].message, "destory QuilResponseImpl, id: 12");
    EXPECT_EQ(log->Lines()[0].level, QUIL_LOG_INFO);
    EXPECT_EQ(log->Lines()[0].file, "QuilResponseImpl.cpp");
    EXPECT_EQ(log->Lines()[1].message, "destory QuilRequestImpl, id: 12");
    EXPECT_EQ(log->Lines()[1].level, QUIL_LOG_INFO);
}

TEST(QuilResponse, DeletingThroughThePublicTypeFreesEverything) {
    ScopedRecordingLog log;
    auto* impl = new QuilResponseImpl();
    impl->retInfo = std::make_unique<RetInfo>();
    impl->request.reset(NewRequest(3));
    QuilResponse* response = impl;
    delete response;
    EXPECT_TRUE(log->Has("destory QuilResponseImpl, id: 3", QUIL_LOG_INFO));
    EXPECT_TRUE(log->Has("destory QuilRequestImpl, id: 3", QUIL_LOG_INFO));
}

TEST(QuilResponse, DeletingAResponseWithoutRequestLogsNothing) {
    ScopedRecordingLog log;
    Answered(0, "FAIL_SYS_SIGN_ERROR").reset();
    EXPECT_EQ(log->Count(), 0u) << ::testing::PrintToString(log->Messages());
}

TEST(QuilResponse, CopyTakesADeepCopyAndOwnsNoRequest) {
    auto original = Answered(200, "SUCCESS");
    original->retInfo->retMsg = "ok";
    original->retInfo->errorType = 3;
    original->headers = {{"x-systime", "5"}};
    original->body = "{\"a\":1}";
    original->bodyJson["a"] = 1;
    original->request.reset(NewRequest(8));

    QuilResponseImpl copy(*original);
    EXPECT_EQ(copy.statusCode, 200);
    ASSERT_NE(copy.retInfo, nullptr);
    EXPECT_NE(copy.retInfo.get(), original->retInfo.get());
    EXPECT_EQ(copy.retInfo->retCode, "SUCCESS");
    EXPECT_EQ(copy.retInfo->retMsg, "ok");
    EXPECT_EQ(copy.retInfo->errorType, 3);
    EXPECT_EQ(copy.headers, (StringMap{{"x-systime", "5"}}));
    EXPECT_EQ(copy.body, "{\"a\":1}");
    EXPECT_EQ(copy.bodyJson["a"].asInt(), 1);
    EXPECT_EQ(copy.request, nullptr);
    EXPECT_EQ(copy.GetRequest(), nullptr);

    copy.retInfo->retCode = "changed";
    EXPECT_EQ(original->retInfo->retCode, "SUCCESS");
}

TEST(QuilResponse, DeletingACopyLeavesTheOriginalAndItsRequestAlive) {
    ScopedRecordingLog log;
    auto original = Answered(200, "SUCCESS");
    original->request.reset(NewRequest(21));
    auto copy = std::make_unique<QuilResponseImpl>(*original);
    copy.reset();
    EXPECT_EQ(log->Count(), 0u) << ::testing::PrintToString(log->Messages());
    // Reading through the original under AddressSanitizer proves both are still alive.
    EXPECT_EQ(original->GetRetInfo()->retCode, "SUCCESS");
    ASSERT_NE(original->GetRequest(), nullptr);
    EXPECT_EQ(original->GetRequest()->GetId(), 21);
    EXPECT_EQ(original->GetRequest()->GetApi(), "mtop.a");
}

TEST(QuilResponse, CopyOfAResponseWithoutRetInfoHasNone) {
    QuilResponseImpl original;
    original.statusCode = 304;
    QuilResponseImpl copy(original);
    EXPECT_EQ(copy.statusCode, 304);
    EXPECT_EQ(copy.retInfo, nullptr);
    EXPECT_FALSE(copy.IsSuccess());
}
