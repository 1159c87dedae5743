// The cache opened through the internal switch, against the gateway emulator over loopback: a
// GET answered with cache headers is turned into a stored record, a fresh record answers the
// next GET without the network, and a record that must be revalidated sends the GET, whose
// answer (a 304 from the gateway) reaches the host while nothing is written.
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "CacheManagerImpl.h"
#include "GatewayEmulator.h"
#include "QuilConfig.h"
#include "RecordingCacheStorage.h"
#include "ServiceTestHost.h"
#include "quil/CurlHttpClient.h"

using quil::test::RecordingCacheStorage;
using quil::test::ScopedCacheOpen;
using quil::test::ServiceTestHost;

namespace {

using ResponsePtr = std::unique_ptr<QuilResponse>;

const char kApi[] = "mtop.cache.items";
const char kBody[] =
    "{\"api\":\"mtop.cache.items\",\"v\":\"1.0\",\"data\":{\"n\":1},"
    "\"ret\":[\"SUCCESS::call ok\"]}";

quil::GatewayEmulatorOptions Options() {
    quil::GatewayEmulatorOptions options;
    options.verifySignatures = false;  // signed by the scripted signer, not the stand-in
    return options;
}

class CacheRevalidationTest : public ::testing::Test {
protected:
    CacheRevalidationTest() : gateway(Options()) {}

    void SetUp() override {
        service = ServiceTestHost::Install();
        ASSERT_NE(service, nullptr);
        ASSERT_TRUE(gateway.Start(0));
        QuilConfig* config = QuilConfig::GetInstance();
        config->environment = 0;
        config->onlineHost = "127.0.0.1:" + std::to_string(gateway.Port());
        config->RegisterHttpClient(&curl);
        config->cacheSwitch = 1;
    }
    void TearDown() override {
        QuilConfig::GetInstance()->cacheSwitch = 0;
        QuilConfig::GetInstance()->RegisterQuilLog(nullptr);
        QuilConfig::GetInstance()->RegisterUTStatistics(nullptr);
        gateway.Stop();
    }

    static QuilRequest* NewGet() {
        QuilRequest* request = QuilRequest::Create(kApi, "1.0");
        request->SetMethod(1);
        return request;
    }

    void Answer(int status, const std::vector<std::pair<std::string, std::string>>& headers,
                const std::string& body) {
        quil::ScriptedAnswer answer;
        answer.status = status;
        answer.headers = headers;
        answer.body = body;
        gateway.Script(kApi, {answer});
    }

    quil::test::RecordingLog& log() { return ServiceTestHost::Log(); }

    QuilServiceImpl* service = nullptr;
    quil::GatewayEmulator gateway;
    quil::CurlHttpClient curl;
    RecordingCacheStorage storage;
};

}  // namespace

TEST_F(CacheRevalidationTest, AGatewayAnswerWithCacheHeadersBecomesAFreshRecord) {
    ScopedCacheOpen open(&storage);
    Answer(200,
           {{"x-retcode", "SUCCESS"},
            {"cache-control", "private,xxxxxxxx0x3C"},
            {"last-modified", "Mon, 23 Nov 2026 10:00:00 GMT"},
            {"etag", "\"v1\""}},
           kBody);
    ResponsePtr first(service->SendSyncRequest(NewGet()));
    ASSERT_NE(first, nullptr);
    ASSERT_TRUE(first->IsSuccess()) << first->GetRetInfo()->retCode;
    EXPECT_EQ(gateway.RequestCount(), 1u);
    EXPECT_EQ(gateway.Requests()[0].method, "GET");
    // The library's own after pass writes nothing; a manager stores the answer as a host
    // that opens the cache would.
    EXPECT_TRUE(storage.Puts().empty());
    CacheManagerImpl manager(&storage);
    ASSERT_TRUE(manager.putCache("", "", first.get()));
    RpcCache written = storage.PutRecord(0);
    EXPECT_EQ(written.body, kBody);
    EXPECT_EQ(written.lastModified, "Mon, 23 Nov 2026 10:00:00 GMT");
    EXPECT_EQ(written.maxAge, 60);
    EXPECT_EQ(written.etag, "\"v1\"");
    EXPECT_EQ(written.headers.at("cache-control"), "private,xxxxxxxx0x3C");

    // The next GET is answered from that record, and the gateway sees nothing more.
    QuilRequest* second = NewGet();
    ResponsePtr cached(service->SendSyncRequest(second));
    ASSERT_NE(cached, nullptr);
    EXPECT_EQ(cached->GetStatusCode(), 200);
    EXPECT_EQ(cached->GetBody(), kBody);
    EXPECT_EQ(cached->GetRequest(), second);
    EXPECT_EQ(gateway.RequestCount(), 1u);
    EXPECT_TRUE(log().Has("parse FreshCacheParser called", QUIL_LOG_INFO));
}

TEST_F(CacheRevalidationTest, ARecordWithOnlyATagIsRevalidatedAndTheGatewaysNotModifiedComesBack) {
    RpcCache record;
    record.body = kBody;
    record.headers = {{"etag", "\"v1\""}};
    record.etag = "\"v1\"";
    storage.Store("", "", record);
    ScopedCacheOpen open(&storage);
    Answer(304, {{"etag", "\"v1\""}, {"x-retcode", "SUCCESS"}}, "");

    ResponsePtr response(service->SendSyncRequest(NewGet()));
    ASSERT_NE(response, nullptr);
    EXPECT_EQ(gateway.RequestCount(), 1u);
    EXPECT_EQ(response->GetStatusCode(), 304);
    EXPECT_FALSE(response->IsSuccess());
    EXPECT_TRUE(log().Has("parse ExpiredCacheParser called", QUIL_LOG_INFO));
    EXPECT_FALSE(log().Has("request hit cache and connnection not require, id: 1"));
    EXPECT_TRUE(storage.Puts().empty());
}

TEST_F(CacheRevalidationTest, ARecordWithANumericLastModifiedGoesToTheGatewayAgain) {
    RpcCache record;
    record.body = kBody;
    record.lastModified = "1700000000";
    record.maxAge = 60;
    storage.Store("", "", record);
    ScopedCacheOpen open(&storage);
    Answer(200, {{"x-retcode", "SUCCESS"}, {"last-modified", "1700000060"}}, kBody);

    ResponsePtr response(service->SendSyncRequest(NewGet()));
    ASSERT_NE(response, nullptr);
    EXPECT_TRUE(response->IsSuccess());
    EXPECT_EQ(gateway.RequestCount(), 1u);
    EXPECT_TRUE(log().Has("parse EmptyCacheParser called", QUIL_LOG_INFO));
    EXPECT_TRUE(storage.Puts().empty());
}

TEST_F(CacheRevalidationTest, APostIsNeitherReadNorWritten) {
    RpcCache record;
    record.body = kBody;
    record.lastModified = "0";
    storage.Store("", "", record);
    ScopedCacheOpen open(&storage);
    Answer(200, {{"x-retcode", "SUCCESS"}}, kBody);
    ResponsePtr response(service->SendSyncRequest(QuilRequest::Create(kApi, "1.0")));
    ASSERT_NE(response, nullptr);
    EXPECT_TRUE(response->IsSuccess());
    EXPECT_EQ(gateway.RequestCount(), 1u);
    EXPECT_EQ(gateway.Requests()[0].method, "POST");
    EXPECT_TRUE(storage.Gets().empty());
    EXPECT_TRUE(storage.Puts().empty());
}
