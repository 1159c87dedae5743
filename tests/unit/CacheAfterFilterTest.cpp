#include "CacheAfterFilter.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "CacheManagerImpl.h"
#include "FilterTestObjects.h"
#include "QuilConfig.h"
#include "RecordingCacheStorage.h"
#include "RecordingLog.h"
#include "ResponseSource.h"

using quil::test::LogLine;
using quil::test::MakeFilterRequest;
using quil::test::MakeGatewayErrorResponse;
using quil::test::RecordingCacheStorage;
using quil::test::ScopedCacheOpen;
using quil::test::ScopedRecordingLog;

namespace {

std::unique_ptr<QuilResponseImpl> MakeSuccess() {
    std::unique_ptr<QuilResponseImpl> response(new QuilResponseImpl());
    response->statusCode = 200;
    response->body = "{\"data\":{\"fresh\":1}}";
    response->headers = {{"x-retcode", "SUCCESS"}, {"etag", "e9"}};
    response->retInfo.reset(new RetInfo());
    response->retInfo->retCode = "SUCCESS";
    return response;
}

std::vector<std::string> Messages(quil::test::RecordingLog& log) { return log.Messages(); }

class CacheAfterFilterTest : public ::testing::Test {
protected:
    void SetUp() override {
        QuilConfig::GetInstance()->cacheSwitch = 1;
        request = MakeFilterRequest(31);
        request->SetMethod(1);
        request->SetHeaders({{"QUIL-XETag", "t1"}});
        source.request = request.get();
        source.cacheManager.reset(new CacheManagerImpl(&storage));
        source.cacheBlock = "block";
    }
    void TearDown() override { QuilConfig::GetInstance()->cacheSwitch = 0; }

    CacheAfterFilter filter;
    RecordingCacheStorage storage;
    std::unique_ptr<QuilRequestImpl> request;
    ResponseSource source;
    FilterResult result;
};

}  // namespace

TEST(CacheAfterFilter, BearsItsNameInTheChain) {
    CacheAfterFilter filter;
    EXPECT_STREQ(filter.GetName(), "a_cache");
}

TEST(CacheAfterFilter, WithTheSwitchAtZeroLogsTwiceAtLevelZeroAndPasses) {
    ScopedRecordingLog log;
    CacheAfterFilter filter;
    auto request = MakeFilterRequest(21);
    auto response = MakeSuccess();
    FilterResult result;
    filter.HandleResponse(request.get(), response.get(), &result);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(Messages(log.log()),
              (std::vector<std::string>{"handle cache after filter, id: 21",
                                        "response will not be cache, cacheImpl is null, id: 21"}));
    EXPECT_EQ(log->Lines()[0].level, QUIL_LOG_VERBOSE);
    EXPECT_EQ(log->Lines()[1].level, QUIL_LOG_VERBOSE);
    EXPECT_EQ(log->Lines()[0].function, "HandleResponse");
}

TEST_F(CacheAfterFilterTest, AResultWithoutSourceLogsOnlyTheEntryLine) {
    ScopedCacheOpen open(&storage);
    ScopedRecordingLog log;
    auto response = MakeSuccess();
    filter.HandleResponse(request.get(), response.get(), &result);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(Messages(log.log()), (std::vector<std::string>{"handle cache after filter, id: 31"}));
    EXPECT_TRUE(storage.Puts().empty());
}

TEST_F(CacheAfterFilterTest, AFailedResponseIsNotOfferedEvenWithASource) {
    ScopedCacheOpen open(&storage);
    ScopedRecordingLog log;
    auto response = MakeGatewayErrorResponse();
    result.responseSource = &source;
    filter.HandleResponse(request.get(), response.get(), &result);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(Messages(log.log()), (std::vector<std::string>{"handle cache after filter, id: 31"}));
    EXPECT_TRUE(storage.Puts().empty());
}

TEST_F(CacheAfterFilterTest, ASuccessWithASourceIsWrittenWhenTheManagerAllowsIt) {
    ScopedCacheOpen open(&storage);
    ScopedRecordingLog log;
    auto response = MakeSuccess();
    result.responseSource = &source;
    filter.HandleResponse(request.get(), response.get(), &result);
    EXPECT_EQ(result.code, 0);
    ASSERT_EQ(storage.Puts().size(), 1u);
    EXPECT_EQ(storage.Puts()[0].key, "");
    EXPECT_EQ(storage.Puts()[0].block, "block");
    RpcCache written = storage.PutRecord(0);
    EXPECT_EQ(written.body, "{\"data\":{\"fresh\":1}}");
    EXPECT_EQ(written.etag, "e9");
    EXPECT_EQ(Messages(log.log()),
              (std::vector<std::string>{
                  "handle cache after filter, id: 31",
                  "response is success, responseSource is not null, id: 31",
                  "CacheManagerImpl not open for need write cache",
                  "response will be cached, id: 31", "CacheManagerImpl not open for get cache key",
                  "CacheManagerImpl not open for put cache",
                  "CacheManagerImpl not open for handle response cache flag"}));
    EXPECT_EQ(log->Find("response will be cached, id: 31").level, QUIL_LOG_INFO);
    EXPECT_EQ(log->Find("response is success, responseSource is not null, id: 31").level,
              QUIL_LOG_INFO);
}

TEST_F(CacheAfterFilterTest, AStorageThatRefusesChangesNothingForTheCall) {
    ScopedCacheOpen open(&storage);
    storage.SetPutAnswer(false);
    auto response = MakeSuccess();
    result.responseSource = &source;
    filter.HandleResponse(request.get(), response.get(), &result);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(storage.Puts().size(), 1u);
}

TEST_F(CacheAfterFilterTest, WithTheCacheClosedASourceStillWritesNothing) {
    ScopedRecordingLog log;
    auto response = MakeSuccess();
    result.responseSource = &source;
    filter.HandleResponse(request.get(), response.get(), &result);
    EXPECT_EQ(result.code, 0);
    EXPECT_TRUE(storage.Puts().empty());
    EXPECT_EQ(Messages(log.log()),
              (std::vector<std::string>{"handle cache after filter, id: 31",
                                        "response is success, responseSource is not null, id: 31",
                                        "CacheManagerImpl not open for need write cache"}));
}

TEST_F(CacheAfterFilterTest, ARequestWithoutTagIsNotWritten) {
    ScopedCacheOpen open(&storage);
    auto untagged = MakeFilterRequest(32);
    untagged->SetMethod(1);
    auto response = MakeSuccess();
    result.responseSource = &source;
    filter.HandleResponse(untagged.get(), response.get(), &result);
    EXPECT_EQ(result.code, 0);
    EXPECT_TRUE(storage.Puts().empty());
}

TEST_F(CacheAfterFilterTest, ASourceWithoutManagerIsNeverAsked) {
    ScopedCacheOpen open(&storage);
    ScopedRecordingLog log;
    ResponseSource bare;
    auto response = MakeSuccess();
    result.responseSource = &bare;
    filter.HandleResponse(request.get(), response.get(), &result);
    EXPECT_EQ(result.code, 0);
    EXPECT_TRUE(storage.Puts().empty());
    EXPECT_EQ(log->Count(), 2u);
}
