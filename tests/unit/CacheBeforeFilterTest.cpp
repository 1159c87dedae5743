#include "CacheBeforeFilter.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "ApiCacheTable.h"
#include "FilterTestObjects.h"
#include "QuilConfig.h"
#include "RecordingCacheStorage.h"
#include "RecordingLog.h"
#include "ResponseSource.h"

using quil::test::LogLine;
using quil::test::MakeFilterRequest;
using quil::test::RecordingCacheStorage;
using quil::test::ScopedCacheOpen;
using quil::test::ScopedRecordingLog;

namespace {

// Any value but zero lets the cache filters work; it is never read through.
const intptr_t kSwitchOn = 1;

std::unique_ptr<QuilRequestImpl> MakeGet(int id) {
    auto request = MakeFilterRequest(id);
    request->SetMethod(1);
    return request;
}

RpcCache StoredRecord(const std::string& lastModified, const std::string& etag) {
    RpcCache record;
    record.body = "{\"data\":{\"cached\":true}}";
    record.headers = {{"x-retcode", "SUCCESS"}, {"etag", etag}};
    record.lastModified = lastModified;
    record.etag = etag;
    return record;
}

void ExpectLines(quil::test::RecordingLog& log,
                 const std::vector<std::pair<int, std::string>>& expected) {
    std::vector<LogLine> lines = log.Lines();
    ASSERT_EQ(lines.size(), expected.size()) << ::testing::PrintToString(log.Messages());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(lines[i].level, expected[i].first) << i;
        EXPECT_EQ(lines[i].message, expected[i].second) << i;
    }
}

class CacheBeforeFilterTest : public ::testing::Test {
protected:
    void SetUp() override { QuilConfig::GetInstance()->cacheSwitch = kSwitchOn; }
    void TearDown() override { QuilConfig::GetInstance()->cacheSwitch = 0; }

    CacheBeforeFilter filter;
    FilterResult result;
};

}  // namespace

TEST(CacheBeforeFilter, BearsItsNameInTheChain) {
    CacheBeforeFilter filter;
    EXPECT_STREQ(filter.GetName(), "b_cache");
}

TEST(CacheBeforeFilter, WithTheSwitchAtZeroLogsTwiceAtLevelZeroAndPasses) {
    ScopedRecordingLog log;
    ASSERT_EQ(QuilConfig::GetInstance()->cacheSwitch, 0);
    CacheBeforeFilter filter;
    auto request = MakeGet(11);
    FilterResult result;
    filter.HandleRequest(request.get(), &result);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.responseSource, nullptr);
    EXPECT_EQ(result.response, nullptr);
    ExpectLines(log.log(), {{0, "handle cache before filter, id: 11"},
                            {0, "response will not be cache, cacheImpl is null, id: 11"}});
    EXPECT_EQ(log->Lines()[0].function, "HandleRequest");
}

TEST_F(CacheBeforeFilterTest, WithTheCacheClosedNoSourceIsMade) {
    ScopedRecordingLog log;
    auto request = MakeGet(12);
    filter.HandleRequest(request.get(), &result);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.responseSource, nullptr);
    ExpectLines(log.log(), {{0, "handle cache before filter, id: 12"},
                            {1, "CacheManagerImpl not open for need read cache"}});
}

TEST_F(CacheBeforeFilterTest, AFreshRecordEndsTheCallWithTheCachedResponse) {
    RecordingCacheStorage storage;
    ApiCacheConfig config;
    config.blockName = "items";
    ApiCacheTable::GetInstance()->Insert("mtop.test.api$1.0", config);
    storage.Store("", "items", StoredRecord("0", ""));
    ScopedCacheOpen open(&storage);
    ScopedRecordingLog log;
    auto request = MakeGet(13);
    QuilRequestImpl* raw = request.get();

    filter.HandleRequest(raw, &result);

    EXPECT_EQ(result.code, 1);
    ASSERT_NE(result.response, nullptr);
    // The cached response now owns the request, as every response that ends a call does.
    request.release();
    std::unique_ptr<QuilResponse> response(result.response);
    EXPECT_EQ(response->GetRequest(), raw);
    EXPECT_EQ(response->GetStatusCode(), 200);
    EXPECT_EQ(response->GetBody(), "{\"data\":{\"cached\":true}}");
    EXPECT_EQ(response->GetHeaders().at("x-retcode"), "SUCCESS");
    ASSERT_NE(result.responseSource, nullptr);
    EXPECT_EQ(result.responseSource, result.responseSourceOwner.get());
    EXPECT_FALSE(result.responseSource->requireConnection);
    EXPECT_EQ(result.responseSource->cacheResponse, nullptr);
    EXPECT_EQ(result.responseSource->request, raw);
    EXPECT_EQ(result.responseSource->seqNo, 13);
    ASSERT_NE(result.responseSource->rpcCache, nullptr);
    EXPECT_EQ(result.responseSource->rpcCache->cacheStatus, kRpcCacheFresh);
    ASSERT_EQ(storage.Gets().size(), 1u);
    EXPECT_EQ(storage.Gets()[0].key, "");
    EXPECT_EQ(storage.Gets()[0].block, "items");
    ExpectLines(log.log(), {{0, "handle cache before filter, id: 13"},
                            {1, "CacheManagerImpl not open for need read cache"},
                            {1, "request can be read from cache, id: 13"},
                            {1, "CacheManagerImpl not open for get cache key"},
                            {1, "CacheManagerImpl not open for get block name"},
                            {1, "CacheManagerImpl not open for get cache"},
                            {1, "CacheManagerImpl not open for handle cache validation"},
                            {1, "handlerCacheStatus create CacheParser"},
                            {1, "parse FreshCacheParser called"},
                            {1, "request hit cache and connnection not require, id: 13"}});
}

TEST_F(CacheBeforeFilterTest, AnExpiredRecordLetsTheRequestGoOnWithTheStaleResponse) {
    RecordingCacheStorage storage;
    storage.Store("", "", StoredRecord("", "e1"));
    ScopedCacheOpen open(&storage);
    ScopedRecordingLog log;
    auto request = MakeGet(14);
    filter.HandleRequest(request.get(), &result);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.response, nullptr);
    ASSERT_NE(result.responseSource, nullptr);
    EXPECT_TRUE(result.responseSource->requireConnection);
    ASSERT_NE(result.responseSource->cacheResponse, nullptr);
    EXPECT_EQ(result.responseSource->cacheResponse->body, "{\"data\":{\"cached\":true}}");
    EXPECT_EQ(result.responseSource->cacheResponse->request, nullptr);
    EXPECT_TRUE(log->Has("parse ExpiredCacheParser called", QUIL_LOG_INFO));
    EXPECT_FALSE(log->Has("request hit cache and connnection not require, id: 14"));
}

TEST_F(CacheBeforeFilterTest, NothingStoredLetsTheRequestGoOn) {
    RecordingCacheStorage storage;
    ScopedCacheOpen open(&storage);
    ScopedRecordingLog log;
    auto request = MakeGet(15);
    filter.HandleRequest(request.get(), &result);
    EXPECT_EQ(result.code, 0);
    ASSERT_NE(result.responseSource, nullptr);
    EXPECT_EQ(result.responseSource->rpcCache, nullptr);
    EXPECT_TRUE(result.responseSource->requireConnection);
    EXPECT_TRUE(log->Has("handlerCacheStatus didn't hig local cache", QUIL_LOG_INFO));
}

TEST_F(CacheBeforeFilterTest, AnEmptyRecordLetsTheRequestGoOn) {
    RecordingCacheStorage storage;
    RpcCache empty = StoredRecord("0", "e1");
    empty.body.clear();
    storage.Store("", "", empty);
    ScopedCacheOpen open(&storage);
    auto request = MakeGet(16);
    filter.HandleRequest(request.get(), &result);
    EXPECT_EQ(result.code, 0);
    ASSERT_NE(result.responseSource, nullptr);
    EXPECT_EQ(result.responseSource->rpcCache->cacheStatus, kRpcCacheEmpty);
    EXPECT_EQ(result.responseSource->cacheResponse, nullptr);
}

TEST_F(CacheBeforeFilterTest, APostOrANoCacheRequestIsNotRead) {
    RecordingCacheStorage storage;
    storage.Store("", "", StoredRecord("0", ""));
    ScopedCacheOpen open(&storage);
    auto post = MakeFilterRequest(17);
    filter.HandleRequest(post.get(), &result);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.responseSource, nullptr);
    auto noCache = MakeGet(18);
    noCache->SetHeaders({{"cache-control", "no-cache"}});
    filter.HandleRequest(noCache.get(), &result);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.responseSource, nullptr);
    EXPECT_TRUE(storage.Gets().empty());
}

TEST_F(CacheBeforeFilterTest, AStorageThatThrowsIsLoggedAndTheRequestGoesOn) {
    RecordingCacheStorage storage;
    storage.ThrowOnGet();
    ScopedCacheOpen open(&storage);
    ScopedRecordingLog log;
    auto request = MakeGet(19);
    filter.HandleRequest(request.get(), &result);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.response, nullptr);
    LogLine line = log->Find("init ResponseSource error");
    EXPECT_EQ(line.level, QUIL_LOG_ERROR);
    EXPECT_EQ(line.function, "HandleRequest");
    // The source stays as far as it was built, and belongs to the result.
    ASSERT_NE(result.responseSource, nullptr);
    EXPECT_EQ(result.responseSource->rpcCache, nullptr);
    EXPECT_TRUE(result.responseSource->requireConnection);
}

TEST_F(CacheBeforeFilterTest, TheSourceEndsWithTheResultEvenWhenAnotherFilterClearsThePointer) {
    RecordingCacheStorage storage;
    storage.Store("", "", StoredRecord("", "e1"));
    ScopedCacheOpen open(&storage);
    auto request = MakeGet(20);
    std::unique_ptr<FilterResult> owned(new FilterResult());
    filter.HandleRequest(request.get(), owned.get());
    std::weak_ptr<ResponseSource> watch = owned->responseSourceOwner;
    owned->responseSource = nullptr;  // as the flow-control filter does on a ban
    EXPECT_FALSE(watch.expired());
    owned.reset();
    EXPECT_TRUE(watch.expired());
}
