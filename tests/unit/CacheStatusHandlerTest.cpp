#include "CacheStatusHandler.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "RecordingLog.h"

using quil::test::LogLine;
using quil::test::ScopedRecordingLog;

namespace {

std::unique_ptr<RpcCache> Record(int32_t status) {
    std::unique_ptr<RpcCache> record(new RpcCache());
    record->body = "{\"data\":{\"n\":1}}";
    record->headers = {{"etag", "e1"}, {"x-retcode", "SUCCESS"}};
    record->lastModified = "0";
    record->maxAge = 60;
    record->etag = "e1";
    record->cacheStatus = status;
    return record;
}

void ExpectLine(quil::test::RecordingLog& log, std::size_t index, const std::string& function,
                const std::string& message) {
    std::vector<LogLine> lines = log.Lines();
    ASSERT_LT(index, lines.size()) << ::testing::PrintToString(log.Messages());
    EXPECT_EQ(lines[index].level, QUIL_LOG_INFO);
    EXPECT_EQ(lines[index].function, function);
    EXPECT_EQ(lines[index].message, message);
}

}  // namespace

TEST(CacheStatusHandler, ANullSourceOnlyLogs) {
    ScopedRecordingLog log;
    CacheStatusHandler::handleCacheStatus(nullptr);
    ASSERT_EQ(log->Count(), 1u);
    ExpectLine(log.log(), 0, "handleCacheStatus", "handlerCacheStatus responseSource is null");
}

TEST(CacheStatusHandler, ASourceWithoutRecordOnlyLogs) {
    ScopedRecordingLog log;
    ResponseSource source;
    CacheStatusHandler::handleCacheStatus(&source);
    ASSERT_EQ(log->Count(), 1u);
    ExpectLine(log.log(), 0, "handleCacheStatus", "handlerCacheStatus didn't hig local cache");
    EXPECT_TRUE(source.requireConnection);
    EXPECT_EQ(source.cacheResponse, nullptr);
}

TEST(CacheStatusHandler, AFreshRecordAnswersAloneWithAResponseBuiltFromIt) {
    ScopedRecordingLog log;
    ResponseSource source;
    source.rpcCache = Record(kRpcCacheFresh);
    CacheStatusHandler::handleCacheStatus(&source);
    ASSERT_EQ(log->Count(), 2u);
    ExpectLine(log.log(), 0, "handleCacheStatus", "handlerCacheStatus create CacheParser");
    ExpectLine(log.log(), 1, "parse", "parse FreshCacheParser called");
    EXPECT_FALSE(source.requireConnection);
    ASSERT_NE(source.cacheResponse, nullptr);
    EXPECT_EQ(source.cacheResponse->statusCode, 200);
    EXPECT_EQ(source.cacheResponse->body, "{\"data\":{\"n\":1}}");
    EXPECT_EQ(source.cacheResponse->headers, source.rpcCache->headers);
    // Nothing else reaches the response: no return code, no request, no parsed body.
    EXPECT_EQ(source.cacheResponse->retInfo, nullptr);
    EXPECT_EQ(source.cacheResponse->request, nullptr);
    EXPECT_TRUE(source.cacheResponse->bodyJson.isNull());
    EXPECT_FALSE(source.cacheResponse->IsSuccess());
}

TEST(CacheStatusHandler, AnExpiredRecordOffersTheStaleResponseAndStillNeedsTheNetwork) {
    ScopedRecordingLog log;
    ResponseSource source;
    source.rpcCache = Record(kRpcCacheExpired);
    CacheStatusHandler::handleCacheStatus(&source);
    ExpectLine(log.log(), 1, "parse", "parse ExpiredCacheParser called");
    EXPECT_EQ(log->Count(), 2u);
    EXPECT_TRUE(source.requireConnection);
    ASSERT_NE(source.cacheResponse, nullptr);
    EXPECT_EQ(source.cacheResponse->statusCode, 200);
    EXPECT_EQ(source.cacheResponse->body, "{\"data\":{\"n\":1}}");
}

TEST(CacheStatusHandler, AnEmptyRecordOffersNothing) {
    ScopedRecordingLog log;
    ResponseSource source;
    source.rpcCache = Record(kRpcCacheEmpty);
    CacheStatusHandler::handleCacheStatus(&source);
    ExpectLine(log.log(), 1, "parse", "parse EmptyCacheParser called");
    EXPECT_TRUE(source.requireConnection);
    EXPECT_EQ(source.cacheResponse, nullptr);
}

TEST(CacheStatusHandler, ARecordNeverJudgedOrOfAnUnknownStatusCountsAsEmpty) {
    for (int32_t status : {0, 4, -1, INT32_MAX}) {
        ScopedRecordingLog log;
        ResponseSource source;
        source.rpcCache = Record(status);
        CacheStatusHandler::handleCacheStatus(&source);
        EXPECT_TRUE(log->Has("parse EmptyCacheParser called", QUIL_LOG_INFO)) << status;
        EXPECT_TRUE(source.requireConnection);
        EXPECT_EQ(source.cacheResponse, nullptr);
    }
}
