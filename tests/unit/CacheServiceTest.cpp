// The cache filters in the service's own chains, on both roads, with a scripted transport:
// closed as delivered, and opened through the internal switch over a recording storage.
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>

#include "NetworkPoolBarrier.h"
#include "QuilCallbackRecorder.h"
#include "QuilConfig.h"
#include "RecordingCacheStorage.h"
#include "ServiceTestHost.h"

using quil::test::NetworkPoolBarrier;
using quil::test::QuilCallbackRecorder;
using quil::test::RecordingCacheStorage;
using quil::test::ScopedCacheOpen;
using quil::test::ServiceTestHost;

namespace {

using ResponsePtr = std::unique_ptr<QuilResponse>;

const char kCachedBody[] = "{\"data\":{\"from\":\"cache\"},\"ret\":[\"SUCCESS::cached\"]}";

class CacheServiceTest : public ::testing::Test {
protected:
    void SetUp() override {
        service = ServiceTestHost::Install();
        ASSERT_NE(service, nullptr);
        client().SetDefault(
            ServiceTestHost::GatewayAnswer("SUCCESS::call ok", "x-retcode: SUCCESS\r\n"));
        barrier.reset(new NetworkPoolBarrier(&client()));
        QuilConfig::GetInstance()->RegisterHttpClient(barrier.get());
        QuilConfig::GetInstance()->cacheSwitch = 1;
    }
    void TearDown() override {
        EXPECT_TRUE(barrier->Drain());
        QuilConfig::GetInstance()->cacheSwitch = 0;
        QuilConfig::GetInstance()->RegisterQuilLog(nullptr);
        QuilConfig::GetInstance()->RegisterUTStatistics(nullptr);
    }

    static QuilRequest* NewGet(const std::map<std::string, std::string>& headers = {}) {
        QuilRequest* request = QuilRequest::Create("mtop.cache.api", "1.0");
        request->SetMethod(1);
        request->SetHeaders(headers);
        return request;
    }

    void StoreRecord(const std::string& lastModified, const std::string& etag) {
        RpcCache record;
        record.body = kCachedBody;
        record.headers = {{"x-retcode", "SUCCESS"}};
        record.lastModified = lastModified;
        record.etag = etag;
        storage.Store("", "", record);
    }

    quil::test::RecordingLog& log() { return ServiceTestHost::Log(); }
    quil::test::ScriptedHttpClient& client() { return ServiceTestHost::Client(); }

    QuilServiceImpl* service = nullptr;
    std::unique_ptr<NetworkPoolBarrier> barrier;
    RecordingCacheStorage storage;
};

}  // namespace

TEST_F(CacheServiceTest, ClosedCacheSendsAGetAndLeavesOnlyTheEntryLines) {
    ResponsePtr response(service->SendSyncRequest(NewGet({{"QUIL-XETag", "t1"}})));
    ASSERT_NE(response, nullptr);
    EXPECT_TRUE(response->IsSuccess());
    EXPECT_EQ(client().SendCount(), 1u);
    EXPECT_TRUE(log().Has("handle cache before filter, id: 1", QUIL_LOG_VERBOSE));
    EXPECT_TRUE(log().Has("CacheManagerImpl not open for need read cache", QUIL_LOG_INFO));
    EXPECT_TRUE(log().Has("handle cache after filter, id: 1", QUIL_LOG_VERBOSE));
    EXPECT_FALSE(log().Has("request can be read from cache, id: 1"));
    EXPECT_FALSE(log().Has("response is success, responseSource is not null, id: 1"));
    EXPECT_EQ(log().CountOf("CacheManagerImpl not open for need write cache"), 0u);
}

TEST_F(CacheServiceTest, AFreshRecordAnswersASyncGetWithoutTheNetwork) {
    StoreRecord("0", "");
    ScopedCacheOpen open(&storage);
    QuilRequest* request = NewGet();
    ResponsePtr response(service->SendSyncRequest(request));
    ASSERT_NE(response, nullptr);
    EXPECT_EQ(response->GetStatusCode(), 200);
    EXPECT_EQ(response->GetBody(), kCachedBody);
    EXPECT_EQ(response->GetRequest(), request);
    EXPECT_EQ(response->GetRetInfo(), nullptr);
    EXPECT_EQ(client().SendCount(), 0u);
    EXPECT_TRUE(log().Has("request hit cache and connnection not require, id: 1", QUIL_LOG_INFO));
    EXPECT_TRUE(log().Has("sync QuilRequest before filter stop id = 1", QUIL_LOG_ERROR));
    EXPECT_TRUE(log().Has("request: 1 interupt at before filter: b_cache", QUIL_LOG_WARN));
}

TEST_F(CacheServiceTest, AFreshRecordAnswersAnAsyncGetThroughTheCallback) {
    StoreRecord("0", "");
    ScopedCacheOpen open(&storage);
    QuilCallbackRecorder recorder;
    QuilRequest* request = NewGet();
    recorder.Attach(request);
    ASSERT_EQ(service->SendAsyncRequest(request), 0);
    ASSERT_TRUE(recorder.WaitFor(1));
    quil::test::Delivery delivery = recorder.Deliveries()[0];
    EXPECT_FALSE(delivery.isNull);
    EXPECT_EQ(delivery.statusCode, 200);
    EXPECT_EQ(delivery.body, kCachedBody);
    EXPECT_EQ(delivery.id, 1);
    EXPECT_EQ(client().SendCount(), 0u);
    EXPECT_TRUE(log().Has("async QuilRequest before filter stop id = 1", QUIL_LOG_ERROR));
}

TEST_F(CacheServiceTest, AnExpiredRecordSendsTheGetAndTheAnswerIsTheNetworks) {
    StoreRecord("", "e1");
    ScopedCacheOpen open(&storage);
    ResponsePtr response(service->SendSyncRequest(NewGet({{"QUIL-XETag", "e1"}})));
    ASSERT_NE(response, nullptr);
    EXPECT_TRUE(response->IsSuccess());
    EXPECT_EQ(response->GetBody(), "{\"data\":{},\"ret\":[\"SUCCESS::call ok\"]}");
    EXPECT_EQ(client().SendCount(), 1u);
    EXPECT_TRUE(log().Has("parse ExpiredCacheParser called", QUIL_LOG_INFO));
    // The after chain has a result of its own, without the source: nothing is written.
    EXPECT_TRUE(storage.Puts().empty());
    EXPECT_FALSE(log().Has("response is success, responseSource is not null, id: 1"));
}

TEST_F(CacheServiceTest, ASuccessfulGetIsNeverWrittenEvenWithTheCacheOpen) {
    ScopedCacheOpen open(&storage);
    QuilCallbackRecorder recorder;
    QuilRequest* async = NewGet({{"QUIL-XETag", "t1"}});
    recorder.Attach(async);
    ASSERT_EQ(service->SendAsyncRequest(async), 0);
    ASSERT_TRUE(recorder.WaitFor(1));
    ResponsePtr sync(service->SendSyncRequest(NewGet({{"QUIL-XETag", "t1"}})));
    ASSERT_NE(sync, nullptr);
    EXPECT_TRUE(sync->IsSuccess());
    EXPECT_EQ(client().SendCount(), 2u);
    EXPECT_EQ(storage.Gets().size(), 2u);
    EXPECT_TRUE(storage.Puts().empty());
}
