#include "QuilResponseAssembler.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>

#include "QuilRequestImpl.h"
#include "QuilResponseImpl.h"
#include "RecordingLog.h"
#include "RecordingStatistics.h"
#include "UTDataSet.h"

using quil::test::ScopedRecordingLog;
using quil::test::ScopedRecordingStatistics;
using Headers = std::map<std::string, std::string>;

namespace {

// Each test builds one answer, assembles it for a fresh request and keeps the result; the
// response owns the request, so only the response is deleted.
class QuilResponseAssemblerTest : public ::testing::Test {
protected:
    void SetUp() override {
        request = new QuilRequestImpl("quil.test.api", "1.0");
        request->SetId(9);
        UTDataSet::GetInstance()->CreateMetricsEntity(request);
        metrics = UTDataSet::GetInstance()->GetExistMetricsEntity(request);
    }

    void TearDown() override {
        UTDataSet::GetInstance()->CusumeMetricsEntity(request);
        response.reset();
        if (!assembled) delete request;
    }

    QuilResponseImpl* Assemble(int status, const std::string& header, const std::string& body,
                               const std::string& errorMessage = "") {
        HttpResponse http;
        http.statusCode = status;
        http.header.assign(header.begin(), header.end());
        http.body.assign(body.begin(), body.end());
        http.errorMessage = errorMessage;
        QuilResponse* result = QuilResponseAssembler::GetQuilResponse(&http, request);
        assembled = true;
        response.reset(result);
        return dynamic_cast<QuilResponseImpl*>(result);
    }

    QuilRequestImpl* request = nullptr;
    MetricsEntity* metrics = nullptr;
    bool assembled = false;
    std::unique_ptr<QuilResponse> response;
};

const char kOkHeader[] = "HTTP/1.1 200 OK\r\nx-retcode: SUCCESS\r\n\r\n";
const char kOkBody[] = "{\"api\":\"quil.test.api\",\"ret\":[\"SUCCESS::ok\"],\"data\":{\"n\":1}}";

}  // namespace

TEST_F(QuilResponseAssemblerTest, NullAnswerGivesNull) {
    EXPECT_EQ(QuilResponseAssembler::GetQuilResponse(nullptr, request), nullptr);
}

TEST_F(QuilResponseAssemblerTest, SuccessfulAnswerFillsStatusBodyJsonHeadersAndRequest) {
    QuilResponseImpl* result = Assemble(200, kOkHeader, kOkBody);
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->statusCode, 200);
    EXPECT_EQ(result->body, kOkBody);
    EXPECT_EQ(result->bodyJson["data"]["n"].asInt(), 1);
    EXPECT_EQ(result->headers, (Headers{{"x-retcode", "SUCCESS"}}));
    EXPECT_EQ(result->GetRequest(), request);
    ASSERT_NE(result->retInfo, nullptr);
    EXPECT_EQ(result->retInfo->retCode, "SUCCESS");
    EXPECT_EQ(result->retInfo->retMsg, "ok");
    EXPECT_EQ(result->retInfo->errorType, 0);
    EXPECT_TRUE(result->IsSuccess());
}

TEST_F(QuilResponseAssemblerTest, EmptyBodyWithStatusZeroIsANetworkFailureNamingTheClientError) {
    ScopedRecordingStatistics statistics;
    QuilResponseImpl* result = Assemble(0, "", "", "Couldn't connect to server");
    EXPECT_EQ(result->statusCode, 0);
    EXPECT_EQ(result->retInfo->retCode, "FAIL_NETWORK_CONNECT_ERROR");
    EXPECT_EQ(result->retInfo->retMsg,
              "http connect with error message =  Couldn't connect to server, responseCode = 0");
    EXPECT_EQ(result->retInfo->errorType, 2);
    const auto fails = statistics->Calls("CommitFail", "networkSendError");
    ASSERT_EQ(fails.size(), 1u);
    EXPECT_EQ(fails[0].module, "quilsdk");
    EXPECT_EQ(fails[0].arg, "");
    EXPECT_EQ(fails[0].errorCode, "0");
    EXPECT_EQ(fails[0].errorMsg, "network send error");
}

TEST_F(QuilResponseAssemblerTest, EmptyBodyWithStatus200IsANetworkFailure) {
    ScopedRecordingStatistics statistics;
    QuilResponseImpl* result = Assemble(200, kOkHeader, "");
    EXPECT_EQ(result->retInfo->retCode, "FAIL_NETWORK_CONNECT_ERROR");
    EXPECT_EQ(result->retInfo->retMsg, "http connect with error message =  , responseCode = 200");
    EXPECT_EQ(result->retInfo->errorType, 2);
    EXPECT_EQ(result->headers, (Headers{{"x-retcode", "SUCCESS"}}));
    const auto fails = statistics->Calls("CommitFail", "networkSendError");
    ASSERT_EQ(fails.size(), 1u);
    EXPECT_EQ(fails[0].errorCode, "200");
    EXPECT_FALSE(result->IsSuccess());
}

TEST_F(QuilResponseAssemblerTest, EmptyBodyWithStatus500IsANetworkFailure) {
    ScopedRecordingStatistics statistics;
    QuilResponseImpl* result = Assemble(500, "HTTP/1.1 500 Internal Server Error\r\n\r\n", "");
    EXPECT_EQ(result->retInfo->retCode, "FAIL_NETWORK_CONNECT_ERROR");
    EXPECT_EQ(result->retInfo->retMsg, "http connect with error message =  , responseCode = 500");
    EXPECT_EQ(result->retInfo->errorType, 2);
    EXPECT_EQ(statistics->Calls("CommitFail", "networkSendError").at(0).errorCode, "500");
}

TEST_F(QuilResponseAssemblerTest, NetworkFailureWithoutStatisticsSinkStillGivesTheVerdict) {
    QuilResponseImpl* result = Assemble(0, "", "", "timeout");
    EXPECT_EQ(result->retInfo->retMsg,
              "http connect with error message =  timeout, responseCode = 0");
}

TEST_F(QuilResponseAssemblerTest, BodyWithStatus500GoesThroughTheBodyParser) {
    ScopedRecordingStatistics statistics;
    QuilResponseImpl* result = Assemble(500, "", "{\"ret\":[\"FAIL_SYS_INTERNAL::busy\"]}");
    EXPECT_EQ(result->statusCode, 500);
    EXPECT_EQ(result->retInfo->retCode, "FAIL_SYS_INTERNAL");
    EXPECT_EQ(result->retInfo->retMsg, "busy");
    EXPECT_EQ(result->retInfo->errorType, 3);
    EXPECT_EQ(statistics->CountOf("CommitFail", "networkSendError"), 0u);
}

TEST_F(QuilResponseAssemblerTest, SuccessBodyWithStatus500IsNotASuccess) {
    QuilResponseImpl* result = Assemble(500, "", kOkBody);
    EXPECT_EQ(result->retInfo->retCode, "SUCCESS");
    EXPECT_FALSE(result->IsSuccess());
}

TEST_F(QuilResponseAssemblerTest, SessionExpiredHeaderReachesIsSessionExpired) {
    QuilResponseImpl* result =
        Assemble(200, "HTTP/1.1 200 OK\r\nx-retcode: FAIL_SYS_SESSION_EXPIRED\r\n\r\n", kOkBody);
    EXPECT_TRUE(result->IsSessionExpired());
}

TEST_F(QuilResponseAssemblerTest, SessionExpiredHeaderWithACapitalInItsNameDoesNotCount) {
    QuilResponseImpl* result =
        Assemble(200, "HTTP/1.1 200 OK\r\nX-retcode: FAIL_SYS_SESSION_EXPIRED\r\n\r\n", kOkBody);
    EXPECT_FALSE(result->IsSessionExpired());
    EXPECT_EQ(result->headers, (Headers{{"X-retcode", "FAIL_SYS_SESSION_EXPIRED"}}));
}

TEST_F(QuilResponseAssemblerTest, SessionExpiredHeaderWithoutBlankAfterTheColonIsDropped) {
    QuilResponseImpl* result =
        Assemble(200, "HTTP/1.1 200 OK\r\nx-retcode:FAIL_SYS_SESSION_EXPIRED\r\n\r\n", kOkBody);
    EXPECT_FALSE(result->IsSessionExpired());
    EXPECT_TRUE(result->headers.empty());
}

TEST_F(QuilResponseAssemblerTest, ValueContainingTheSeparatorIsKeptWhole) {
    QuilResponseImpl* result = Assemble(200, "x-systime: 12: 34: 56\r\n", kOkBody);
    EXPECT_EQ(result->GetSysTime(), "12: 34: 56");
}

TEST_F(QuilResponseAssemblerTest, LastHeaderLineWithoutLineEndIsLost) {
    QuilResponseImpl* result =
        Assemble(200, "HTTP/1.1 200 OK\r\ns-rt: 5\r\nx-systime: 1700000000", kOkBody);
    EXPECT_EQ(result->headers, (Headers{{"s-rt", "5"}}));
    EXPECT_EQ(result->GetSysTime(), "");
}

TEST_F(QuilResponseAssemblerTest, HeaderValuesAreNotTrimmed) {
    QuilResponseImpl* result = Assemble(200, "x-retcode:  FAIL_SYS_SESSION_EXPIRED\r\n", kOkBody);
    EXPECT_FALSE(result->IsSessionExpired());
    EXPECT_EQ(result->headers, (Headers{{"x-retcode", " FAIL_SYS_SESSION_EXPIRED"}}));
}

TEST_F(QuilResponseAssemblerTest, LastDuplicateHeaderWins) {
    QuilResponseImpl* result = Assemble(
        200, "x-retcode: FAIL_SYS_SESSION_EXPIRED\r\nx-retcode: FAIL_SYS_REQUEST_EXPIRED\r\n",
        kOkBody);
    EXPECT_FALSE(result->IsSessionExpired());
    EXPECT_TRUE(result->IsRequestExpired());
}

TEST_F(QuilResponseAssemblerTest, EmptyRetArrayIsACustomError) {
    QuilResponseImpl* result = Assemble(200, kOkHeader, "{\"ret\":[]}");
    EXPECT_EQ(result->retInfo->retCode, "FAIL_SYS_CUSTOM_ERROR");
    EXPECT_EQ(result->retInfo->retMsg, "server return error");
    EXPECT_EQ(result->retInfo->errorType, 3);
}

TEST_F(QuilResponseAssemblerTest, SuccessKeepsTheMessageBytesUnchanged) {
    QuilResponseImpl* result =
        Assemble(200, kOkHeader, "{\"ret\":[\"SUCCESS::\xE8\xB0\x83\xE7\x94\xA8 ok\"]}");
    EXPECT_EQ(result->retInfo->retCode, "SUCCESS");
    EXPECT_EQ(result->retInfo->retMsg, "\xE8\xB0\x83\xE7\x94\xA8 ok");
    EXPECT_EQ(result->retInfo->errorType, 0);
}

TEST_F(QuilResponseAssemblerTest, SeveralSeparatorsSplitAtTheFirst) {
    QuilResponseImpl* result = Assemble(200, kOkHeader, "{\"ret\":[\"FAIL_X::a::b\"]}");
    EXPECT_EQ(result->retInfo->retCode, "FAIL_X");
    EXPECT_EQ(result->retInfo->retMsg, "a::b");
    EXPECT_EQ(result->retInfo->errorType, 3);
}

TEST_F(QuilResponseAssemblerTest, ElementWithoutSeparatorCountsAsNoErrorButNoSuccess) {
    QuilResponseImpl* result = Assemble(200, kOkHeader, "{\"ret\":[\"SUCCESS\"]}");
    EXPECT_EQ(result->retInfo->retCode, "");
    EXPECT_EQ(result->retInfo->retMsg, "");
    EXPECT_EQ(result->retInfo->errorType, 0);
    EXPECT_FALSE(result->IsSuccess());
}

TEST_F(QuilResponseAssemblerTest, NonJsonBodyIsACustomErrorAndTheBodyKeepsTheText) {
    QuilResponseImpl* result = Assemble(502, "", "<html>Bad Gateway</html>");
    EXPECT_EQ(result->body, "<html>Bad Gateway</html>");
    EXPECT_EQ(result->retInfo->retCode, "FAIL_SYS_CUSTOM_ERROR");
    EXPECT_EQ(result->retInfo->retMsg, "server return error");
    EXPECT_EQ(result->retInfo->errorType, 3);
}

TEST_F(QuilResponseAssemblerTest, MalformedBodiesNeverThrowAndGiveACustomError) {
    const std::string bodies[] = {
        "404 Not Found",
        "[1]",
        "true",
        "\"text\"",
        "{\"ret\":{\"a\":\"SUCCESS::ok\"}}",
        "{\"ret\":[[\"SUCCESS::ok\"]]}",
        "{\"ret\":[{\"a\":1}]}",
        "{\"ret\":\"SUCCESS::ok\"}",
        std::string(50000, '['),
        std::string(50000, '{'),
    };
    for (const std::string& body : bodies) {
        QuilResponseImpl* result = nullptr;
        EXPECT_NO_THROW(result = Assemble(200, kOkHeader, body));
        ASSERT_NE(result, nullptr);
        EXPECT_EQ(result->body, body);
        EXPECT_EQ(result->retInfo->retCode, "FAIL_SYS_CUSTOM_ERROR") << body.substr(0, 40);
        EXPECT_EQ(result->retInfo->retMsg, "server return error");
        EXPECT_EQ(result->retInfo->errorType, 3);
        // Each assembled response owns its request: hand a fresh one to the next round.
        UTDataSet::GetInstance()->CusumeMetricsEntity(request);
        response.reset();
        request = new QuilRequestImpl("quil.test.api", "1.0");
        assembled = false;
    }
}

TEST_F(QuilResponseAssemblerTest, BodyKeepsItsExactLengthWithNulBytes) {
    const std::string body("{\"ret\":[\"SUCCESS::ok\"]}\0tail", 29);
    QuilResponseImpl* result = Assemble(200, kOkHeader, body);
    EXPECT_EQ(result->body, body);
    EXPECT_EQ(result->retInfo->retCode, "SUCCESS");
    EXPECT_EQ(metrics->responseBodySize, 29);
}

TEST_F(QuilResponseAssemblerTest, MetricsRecordStatusAndRawSizes) {
    Assemble(200, kOkHeader, kOkBody);
    EXPECT_EQ(metrics->httpStatusCode, 200);
    EXPECT_EQ(metrics->responseHeaderSize, 39);  // 17 + 20 + 2
    EXPECT_EQ(metrics->responseBodySize, static_cast<int32_t>(sizeof(kOkBody) - 1));
}

TEST_F(QuilResponseAssemblerTest, MetricsRecordANetworkFailure) {
    Assemble(0, "", "", "refused");
    EXPECT_EQ(metrics->httpStatusCode, 0);
    EXPECT_EQ(metrics->responseHeaderSize, 0);
    EXPECT_EQ(metrics->responseBodySize, 0);
}

TEST_F(QuilResponseAssemblerTest, LogsResponseInfoAndContent) {
    ScopedRecordingLog log;
    Assemble(200, "HTTP/1.1 200 OK\r\nx-retcode: SUCCESS\r\ns-rt: 3\r\n\r\n",
             "{\"ret\":[\"SUCCESS::ok\"]}");
    EXPECT_TRUE(log->Has("httpResponse info { requestId: 9, statusCode: 200 }", QUIL_LOG_INFO));
    EXPECT_TRUE(
        log->Has("httpResponse content { requestId: 9, header: s-rt: 3\nx-retcode: "
                 "SUCCESS\n, body: {\"ret\":[\"SUCCESS::ok\"]} }",
                 QUIL_LOG_VERBOSE));
}

TEST_F(QuilResponseAssemblerTest, DeletingTheResponseDeletesTheRequest) {
    ScopedRecordingLog log;
    Assemble(200, kOkHeader, kOkBody);
    UTDataSet::GetInstance()->CusumeMetricsEntity(request);
    response.reset();
    EXPECT_TRUE(log->Has("destory QuilRequestImpl, id: 9"));
    request = nullptr;
}

TEST(QuilResponseAssembler, NullRequestGivesAResponseWithoutRequestOrMetrics) {
    ScopedRecordingLog log;
    HttpResponse http;
    http.statusCode = 200;
    const std::string body = "{\"ret\":[\"SUCCESS::ok\"]}";
    http.body.assign(body.begin(), body.end());
    std::unique_ptr<QuilResponse> response(QuilResponseAssembler::GetQuilResponse(&http, nullptr));
    ASSERT_NE(response, nullptr);
    EXPECT_EQ(response->GetRequest(), nullptr);
    EXPECT_EQ(response->GetRetInfo()->retCode, "SUCCESS");
    EXPECT_EQ(UTDataSet::GetInstance()->Size(), 0u);
    EXPECT_TRUE(log->Has("httpResponse info { requestId: -1, statusCode: 200 }", QUIL_LOG_INFO));
}
