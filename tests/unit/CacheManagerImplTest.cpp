#include "CacheManagerImpl.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>

#include "ApiCacheTable.h"
#include "CacheOpenSwitch.h"
#include "FilterTestObjects.h"
#include "RecordingCacheStorage.h"
#include "RecordingLog.h"

using quil::test::LogLine;
using quil::test::MakeFilterRequest;
using quil::test::RecordingCacheStorage;
using quil::test::ScopedCacheOpen;
using quil::test::ScopedRecordingLog;

namespace {

using Headers = std::map<std::string, std::string>;

std::unique_ptr<QuilRequestImpl> MakeGet(const Headers& headers = Headers()) {
    auto request = MakeFilterRequest(5);
    request->SetMethod(1);
    request->SetHeaders(headers);
    return request;
}

std::unique_ptr<QuilResponseImpl> MakeAnswer(const std::string& body, const Headers& headers) {
    std::unique_ptr<QuilResponseImpl> response(new QuilResponseImpl());
    response->statusCode = 200;
    response->body = body;
    response->headers = headers;
    return response;
}

const Headers kSomeResponseHeaders = {{"x-retcode", "SUCCESS"}};

}  // namespace

TEST(CacheManagerImpl, TheCacheShipsClosed) {
    EXPECT_FALSE(CacheOpenSwitch::IsOpen());
    EXPECT_EQ(CacheOpenSwitch::Storage(), nullptr);
}

TEST(CacheManagerImpl, ClosedCacheAnswersNoReadForAnyRequestAndStillLogs) {
    ScopedRecordingLog log;
    RecordingCacheStorage storage;
    CacheManagerImpl manager(&storage);
    auto get = MakeGet();
    auto post = MakeFilterRequest(6);
    EXPECT_FALSE(manager.isNeedReadCache(get.get()));
    EXPECT_FALSE(manager.isNeedReadCache(post.get()));
    EXPECT_FALSE(manager.isNeedReadCache(nullptr));
    EXPECT_EQ(log->CountOf("CacheManagerImpl not open for need read cache"), 3u);
    EXPECT_EQ(log->Find("CacheManagerImpl not open for need read cache").level, QUIL_LOG_INFO);
    EXPECT_EQ(log->Find("CacheManagerImpl not open for need read cache").function,
              "isNeedReadCache");
    EXPECT_EQ(log->Count(), 3u);
}

TEST(CacheManagerImpl, ClosedCacheAnswersNoWriteForAnyRequestAndStillLogs) {
    ScopedRecordingLog log;
    CacheManagerImpl manager;
    auto get = MakeGet({{"QUIL-XETag", "t1"}});
    EXPECT_FALSE(manager.isNeedWriteCache(get.get(), kSomeResponseHeaders));
    LogLine line = log->Find("CacheManagerImpl not open for need write cache");
    EXPECT_EQ(line.level, QUIL_LOG_INFO);
    EXPECT_EQ(line.function, "isNeedWriteCache");
    EXPECT_EQ(log->Count(), 1u);
}

TEST(CacheManagerImpl, EveryOperationLogsItsEntryLineAtLevelOne) {
    ScopedRecordingLog log;
    CacheManagerImpl manager;
    auto request = MakeGet();
    auto response = MakeAnswer("{}", Headers());
    RpcCache record;
    manager.getCache("k", "b");
    manager.putCache("k", "b", response.get());
    manager.getCacheKey(request.get());
    manager.getBlockName("");
    manager.handleResponseCacheFlag(&record);
    manager.handleCacheValidation(&record);
    manager.queryExistRpcCacheVersion("b", "");
    const std::vector<std::pair<std::string, std::string>> expected = {
        {"getCache", "CacheManagerImpl not open for get cache"},
        {"putCache", "CacheManagerImpl not open for put cache"},
        {"getCacheKey", "CacheManagerImpl not open for get cache key"},
        {"getBlockName", "CacheManagerImpl not open for get block name"},
        {"handleResponseCacheFlag", "CacheManagerImpl not open for handle response cache flag"},
        {"handleCacheValidation", "CacheManagerImpl not open for handle cache validation"},
        {"queryExistRpcCacheVersion",
         "CacheManagerImpl not open for query exist rpc cache version"},
    };
    std::vector<quil::test::LogLine> lines = log->Lines();
    ASSERT_EQ(lines.size(), expected.size()) << ::testing::PrintToString(log->Messages());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(lines[i].function, expected[i].first);
        EXPECT_EQ(lines[i].message, expected[i].second);
        EXPECT_EQ(lines[i].level, QUIL_LOG_INFO);
    }
}

TEST(CacheManagerImpl, OpenCacheReadsAGetWithoutCacheControl) {
    RecordingCacheStorage storage;
    ScopedCacheOpen open(&storage);
    CacheManagerImpl manager(&storage);
    auto request = MakeGet();
    EXPECT_TRUE(manager.isNeedReadCache(request.get()));
}

TEST(CacheManagerImpl, APostIsNeverReadOrWritten) {
    RecordingCacheStorage storage;
    ScopedCacheOpen open(&storage);
    CacheManagerImpl manager(&storage);
    auto post = MakeFilterRequest(6);
    post->SetHeaders({{"QUIL-XETag", "t1"}});
    ASSERT_EQ(post->GetMethod(), 2);
    EXPECT_FALSE(manager.isNeedReadCache(post.get()));
    EXPECT_FALSE(manager.isNeedWriteCache(post.get(), kSomeResponseHeaders));
    post->SetMethod(3);
    EXPECT_FALSE(manager.isNeedReadCache(post.get()));
}

TEST(CacheManagerImpl, NoCacheIsNotReadButMayBeWrittenWithATag) {
    RecordingCacheStorage storage;
    ScopedCacheOpen open(&storage);
    CacheManagerImpl manager(&storage);
    auto request = MakeGet({{"cache-control", "no-cache"}, {"QUIL-XETag", "t1"}});
    EXPECT_FALSE(manager.isNeedReadCache(request.get()));
    EXPECT_TRUE(manager.isNeedWriteCache(request.get(), kSomeResponseHeaders));
}

TEST(CacheManagerImpl, OnlyExactlyNoCacheKeepsAReadAway) {
    RecordingCacheStorage storage;
    ScopedCacheOpen open(&storage);
    CacheManagerImpl manager(&storage);
    auto upper = MakeGet({{"cache-control", "No-Cache"}});
    auto padded = MakeGet({{"cache-control", "no-cache "}});
    auto otherCase = MakeGet({{"Cache-Control", "no-cache"}});
    EXPECT_TRUE(manager.isNeedReadCache(upper.get()));
    EXPECT_TRUE(manager.isNeedReadCache(padded.get()));
    EXPECT_TRUE(manager.isNeedReadCache(otherCase.get()));
}

TEST(CacheManagerImpl, MaxAgeRequestIsReadAndNeverWritten) {
    RecordingCacheStorage storage;
    ScopedCacheOpen open(&storage);
    CacheManagerImpl manager(&storage);
    auto request = MakeGet({{"cache-control", "max-age=10"}, {"QUIL-XETag", "t1"}});
    EXPECT_TRUE(manager.isNeedReadCache(request.get()));
    EXPECT_FALSE(manager.isNeedWriteCache(request.get(), kSomeResponseHeaders));
}

TEST(CacheManagerImpl, WriteNeedsTheRequestsOwnTagAndIgnoresTheResponseHeaders) {
    RecordingCacheStorage storage;
    ScopedCacheOpen open(&storage);
    CacheManagerImpl manager(&storage);
    auto untagged = MakeGet({{"last-modified", "1"}});
    // The response's tag counts for nothing; only its map being non-empty does.
    EXPECT_FALSE(manager.isNeedWriteCache(untagged.get(), {{"QUIL-XETag", "t1"}}));
    auto tagged = MakeGet({{"QUIL-XETag", "t1"}});
    EXPECT_TRUE(manager.isNeedWriteCache(tagged.get(), {{"anything", "x"}}));
    EXPECT_FALSE(manager.isNeedWriteCache(tagged.get(), Headers()));
    EXPECT_FALSE(manager.isNeedWriteCache(nullptr, kSomeResponseHeaders));
}

TEST(CacheManagerImpl, GetCacheWithoutStorageIsNull) {
    RecordingCacheStorage storage;
    ScopedCacheOpen open(&storage);
    CacheManagerImpl manager(nullptr);
    EXPECT_EQ(manager.getCache("k", "b"), nullptr);
    EXPECT_TRUE(storage.Gets().empty());
}

TEST(CacheManagerImpl, GetCacheJudgesWhatTheStorageGives) {
    RecordingCacheStorage storage;
    RpcCache stored;
    stored.body = "{\"data\":1}";
    stored.etag = "t1";
    storage.Store("", "block", stored);
    CacheManagerImpl manager(&storage);
    std::unique_ptr<RpcCache> record(manager.getCache("", "block"));
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->cacheStatus, kRpcCacheExpired);
    EXPECT_EQ(record->body, "{\"data\":1}");
    ASSERT_EQ(storage.Gets().size(), 1u);
    EXPECT_EQ(storage.Gets()[0].key, "");
    EXPECT_EQ(storage.Gets()[0].block, "block");
    EXPECT_EQ(manager.getCache("", "other"), nullptr);
}

TEST(CacheManagerImpl, PutCacheWithoutStorageIsFalse) {
    CacheManagerImpl manager(nullptr);
    auto response = MakeAnswer("{}", kSomeResponseHeaders);
    EXPECT_FALSE(manager.putCache("k", "b", response.get()));
    EXPECT_FALSE(manager.putCache("k", "b", nullptr));
}

TEST(CacheManagerImpl, PutCacheStoresBodyHeadersAndTheFlagsOfTheHeaders) {
    RecordingCacheStorage storage;
    CacheManagerImpl manager(&storage);
    const Headers headers = {
        {"cache-control", "no-store,abcdefgh0x1F"}, {"last-modified", "0"}, {"etag", "\"e1\""}};
    auto response = MakeAnswer("{\"ret\":[\"SUCCESS::ok\"]}", headers);
    EXPECT_TRUE(manager.putCache("key", "block", response.get()));
    ASSERT_EQ(storage.Puts().size(), 1u);
    EXPECT_EQ(storage.Puts()[0].key, "key");
    EXPECT_EQ(storage.Puts()[0].block, "block");
    RpcCache record = storage.PutRecord(0);
    EXPECT_EQ(record.body, "{\"ret\":[\"SUCCESS::ok\"]}");
    EXPECT_EQ(record.headers, headers);
    EXPECT_EQ(record.lastModified, "0");
    EXPECT_EQ(record.maxAge, 31);
    EXPECT_FALSE(record.offline);
    EXPECT_EQ(record.etag, "\"e1\"");
    EXPECT_EQ(record.version, "");
    EXPECT_EQ(record.reserved, 0);
    EXPECT_EQ(record.cacheStatus, kRpcCacheNotJudged);
}

TEST(CacheManagerImpl, PutCacheAnswersWhatTheStorageAnswers) {
    RecordingCacheStorage storage;
    storage.SetPutAnswer(false);
    CacheManagerImpl manager(&storage);
    auto response = MakeAnswer("{}", kSomeResponseHeaders);
    EXPECT_FALSE(manager.putCache("", "b", response.get()));
    EXPECT_EQ(storage.Puts().size(), 1u);
}

TEST(CacheManagerImpl, PutCacheStoresARecordWithAnInvalidOrOddBody) {
    RecordingCacheStorage storage;
    CacheManagerImpl manager(&storage);
    for (const char* body : {"not json", "[1,2]", "5", "{\"api\":{\"x\":1},\"v\":[1]}", ""}) {
        auto response = MakeAnswer(body, Headers());
        EXPECT_TRUE(manager.putCache("", "b", response.get())) << body;
    }
    EXPECT_EQ(storage.Puts().size(), 5u);
    EXPECT_EQ(storage.PutRecord(0).body, "not json");
}

TEST(CacheManagerImpl, PutCacheKeepsTheVersionOfTheExistingEntryForAKeptVersionApi) {
    RecordingCacheStorage storage;
    ApiCacheConfig config;
    config.blockName = "kept";
    config.keepVersion = true;
    ApiCacheTable::GetInstance()->Insert("mtop.kept$1.0", config);
    RpcCache existing;
    existing.body = "old";
    existing.version = "v7";
    storage.Store("key", "kept", existing);
    CacheManagerImpl manager(&storage);
    auto response = MakeAnswer("{\"api\":\"mtop.kept\",\"v\":\"1.0\"}", Headers());
    EXPECT_TRUE(manager.putCache("key", "kept", response.get()));
    EXPECT_EQ(storage.PutRecord(0).version, "v7");
    // The existing entry was read (and judged) on the way.
    ASSERT_EQ(storage.Gets().size(), 1u);
    EXPECT_EQ(storage.Gets()[0].key, "key");
}

TEST(CacheManagerImpl, PutCacheKeepsNoVersionWithoutKeepVersionOrKey) {
    RecordingCacheStorage storage;
    ApiCacheConfig config;
    config.blockName = "free";
    config.keepVersion = false;
    ApiCacheTable::GetInstance()->Insert("mtop.free$1.0", config);
    config.keepVersion = true;
    ApiCacheTable::GetInstance()->Insert("mtop.kept$1.0", config);
    RpcCache existing;
    existing.version = "v7";
    storage.Store("key", "free", existing);
    storage.Store("", "free", existing);
    CacheManagerImpl manager(&storage);
    auto free = MakeAnswer("{\"api\":\"mtop.free\",\"v\":\"1.0\"}", Headers());
    EXPECT_TRUE(manager.putCache("key", "free", free.get()));
    EXPECT_EQ(storage.PutRecord(0).version, "");
    // An empty key (every key the library derives) finds no version.
    auto kept = MakeAnswer("{\"api\":\"mtop.kept\",\"v\":\"1.0\"}", Headers());
    EXPECT_TRUE(manager.putCache("", "free", kept.get()));
    EXPECT_EQ(storage.PutRecord(1).version, "");
    EXPECT_TRUE(storage.Gets().empty());
}

TEST(CacheManagerImpl, GetCacheKeyIsEmptyForEveryRequest) {
    CacheManagerImpl manager;
    auto request = MakeGet({{"QUIL-XETag", "t"}});
    EXPECT_EQ(manager.getCacheKey(request.get()), "");
}

TEST(CacheManagerImpl, GetBlockNameFindsTheConfiguredBlock) {
    ApiCacheConfig config;
    config.blockName = "items";
    ApiCacheTable::GetInstance()->Insert("mtop.items$2.0", config);
    CacheManagerImpl manager;
    EXPECT_EQ(manager.getBlockName("mtop.items$2.0"), "items");
    EXPECT_EQ(manager.getBlockName(""), "");
}

TEST(CacheManagerImpl, GetBlockNameOfAnUnknownKeyIsEmptyAndGrowsTheTableByOne) {
    CacheManagerImpl manager;
    std::size_t before = ApiCacheTable::GetInstance()->Size();
    EXPECT_EQ(manager.getBlockName("mtop.unknown$1.0"), "");
    EXPECT_EQ(ApiCacheTable::GetInstance()->Size(), before + 1);
    EXPECT_EQ(manager.getBlockName("mtop.unknown$1.0"), "");
    EXPECT_EQ(ApiCacheTable::GetInstance()->Size(), before + 1);
}

TEST(CacheManagerImpl, QueryExistVersionIsEmptyWithoutRecordOrKey) {
    RecordingCacheStorage storage;
    RpcCache existing;
    existing.version = "v2";
    storage.Store("k", "b", existing);
    CacheManagerImpl manager(&storage);
    EXPECT_EQ(manager.queryExistRpcCacheVersion("b", "k"), "v2");
    EXPECT_EQ(manager.queryExistRpcCacheVersion("b", "missing"), "");
    EXPECT_EQ(manager.queryExistRpcCacheVersion("b", ""), "");
    EXPECT_EQ(storage.Gets().size(), 2u);
}
