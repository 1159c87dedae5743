#include "ResponseSource.h"

#include <gtest/gtest.h>

#include <memory>

#include "ApiCacheTable.h"
#include "CacheManagerImpl.h"
#include "FilterTestObjects.h"
#include "RecordingLog.h"

using quil::test::MakeFilterRequest;
using quil::test::ScopedRecordingLog;

TEST(ResponseSource, StartsRequiringTheConnectionWithNothingFound) {
    ResponseSource source;
    EXPECT_EQ(source.request, nullptr);
    EXPECT_EQ(source.cacheManager, nullptr);
    EXPECT_EQ(source.rpcCache, nullptr);
    EXPECT_EQ(source.cacheResponse, nullptr);
    EXPECT_TRUE(source.requireConnection);
    EXPECT_EQ(source.seqNo, 0);
}

TEST(ResponseSource, WithoutRequestOrManagerKeyAndBlockAreEmptyAndNothingIsAsked) {
    ScopedRecordingLog log;
    ResponseSource bare;
    EXPECT_EQ(bare.GetCacheKey(), "");
    EXPECT_EQ(bare.GetCacheBlock(), "");

    ResponseSource managerOnly;
    managerOnly.cacheManager.reset(new CacheManagerImpl());
    EXPECT_EQ(managerOnly.GetCacheKey(), "");
    EXPECT_EQ(managerOnly.GetCacheBlock(), "");

    auto request = MakeFilterRequest(1);
    ResponseSource requestOnly;
    requestOnly.request = request.get();
    EXPECT_EQ(requestOnly.GetCacheKey(), "");
    EXPECT_EQ(requestOnly.GetCacheBlock(), "");
    EXPECT_EQ(log->Count(), 0u);
}

TEST(ResponseSource, BlockComesFromTheManagerOnceAndIsKept) {
    ApiCacheConfig config;
    config.blockName = "items";
    ApiCacheTable::GetInstance()->Insert("mtop.test.api$1.0", config);
    ScopedRecordingLog log;
    auto request = MakeFilterRequest(2);
    ResponseSource source;
    source.request = request.get();
    source.cacheManager.reset(new CacheManagerImpl());
    EXPECT_EQ(source.GetCacheBlock(), "items");
    EXPECT_EQ(source.GetCacheBlock(), "items");
    EXPECT_EQ(source.cacheBlock, "items");
    EXPECT_EQ(log->CountOf("CacheManagerImpl not open for get block name"), 1u);
}

TEST(ResponseSource, AnEmptyKeyIsAskedForAgainAtEveryUse) {
    ScopedRecordingLog log;
    auto request = MakeFilterRequest(3);
    ResponseSource source;
    source.request = request.get();
    source.cacheManager.reset(new CacheManagerImpl());
    EXPECT_EQ(source.GetCacheKey(), "");
    EXPECT_EQ(source.GetCacheKey(), "");
    EXPECT_EQ(log->CountOf("CacheManagerImpl not open for get cache key"), 2u);
}

TEST(ResponseSource, AFilledKeyOrBlockIsNotAskedFor) {
    ScopedRecordingLog log;
    auto request = MakeFilterRequest(4);
    ResponseSource source;
    source.request = request.get();
    source.cacheManager.reset(new CacheManagerImpl());
    source.cacheKey = "k";
    source.cacheBlock = "b";
    EXPECT_EQ(source.GetCacheKey(), "k");
    EXPECT_EQ(source.GetCacheBlock(), "b");
    EXPECT_EQ(log->Count(), 0u);
}
