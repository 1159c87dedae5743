// The response cache as delivered: closed. Through the shared library, on both roads, a GET
// and a POST with cacheSwitch zero and not zero reach the gateway, and the cache leaves only
// its filters' and its manager's entry lines.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <tuple>
#include <vector>

#include "E2eHost.h"
#include "RecordingLog.h"

namespace quil {
namespace test {
namespace {

constexpr std::chrono::seconds kLimit(10);

enum class Road { Sync, Async };

// Takes the one response an asynchronous call delivers.
class OneDelivery {
public:
    static void OnResponse(QuilResponse* response, void* userData) {
        OneDelivery* self = static_cast<OneDelivery*>(userData);
        std::lock_guard<std::mutex> lock(self->mutex_);
        self->response_.reset(response);
        self->delivered_ = true;
        self->changed_.notify_all();
    }

    ResponsePtr Wait() {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait_for(lock, kLimit, [this]() { return delivered_; });
        return std::move(response_);
    }

private:
    std::mutex mutex_;  // guards response_ and delivered_
    std::condition_variable changed_;
    ResponsePtr response_;
    bool delivered_ = false;
};

using Case = std::tuple<Road, int /*method*/, intptr_t /*cacheSwitch*/>;

class CacheClosed : public ::testing::TestWithParam<Case> {
protected:
    void SetUp() override {
        ASSERT_TRUE(host.Start());
        QuilConfig::GetInstance()->cacheSwitch = std::get<2>(GetParam());
    }
    void TearDown() override { QuilConfig::GetInstance()->cacheSwitch = 0; }

    ResponsePtr Call() {
        QuilRequest* request = QuilRequest::Create("e2e.echo", "1.0");
        request->SetMethod(std::get<1>(GetParam()));
        // A request that would be written if the cache were open.
        request->AddHeader("QUIL-XETag", "t1");
        if (std::get<0>(GetParam()) == Road::Sync) {
            return host.Call(request);
        }
        request->SetCallback(&OneDelivery::OnResponse);
        request->SetUserData(&delivery);
        if (QuilService::GetInstance()->SendAsyncRequest(request) != 0) {
            return nullptr;
        }
        return delivery.Wait();
    }

    // Declared first, so it outlives the host, which waits for every completion.
    ScopedRecordingLog log;
    E2eHost host;
    OneDelivery delivery;
};

std::vector<std::string> Expected(intptr_t cacheSwitch, int id) {
    const std::string tail = ", id: " + std::to_string(id);
    if (cacheSwitch == 0) {
        return {"0 handle cache before filter" + tail,
                "0 response will not be cache, cacheImpl is null" + tail,
                "0 handle cache after filter" + tail,
                "0 response will not be cache, cacheImpl is null" + tail};
    }
    return {"0 handle cache before filter" + tail,
            "1 CacheManagerImpl not open for need read cache",
            "0 handle cache after filter" + tail};
}

TEST_P(CacheClosed, TheCallReachesTheGatewayAndTheCacheOnlyLogs) {
    ResponsePtr response = Call();
    ASSERT_NE(response, nullptr);
    EXPECT_TRUE(response->IsSuccess()) << response->GetRetInfo()->retCode;
    EXPECT_EQ(host.Gateway().RequestCount(), 1u);
    EXPECT_EQ(host.Gateway().Requests()[0].method, std::get<1>(GetParam()) == 1 ? "GET" : "POST");
    ASSERT_NE(response->GetRequest(), nullptr);
    const int id = response->GetRequest()->GetId();

    std::vector<std::string> written;
    for (const LogLine& line : log->Lines()) {
        if (line.message.find("ache") != std::string::npos) {
            written.push_back(std::to_string(line.level) + " " + line.message);
        }
    }
    EXPECT_EQ(written, Expected(std::get<2>(GetParam()), id));
}

// A host has no way to open the cache: the library exports no symbol of the switch or of the
// cache's internals, while the public families stay reachable.
TEST(CacheClosedExports, NothingThatOpensTheCacheIsExported) {
    EXPECT_NE(dlsym(RTLD_DEFAULT, "_ZN10QuilConfig11GetInstanceEv"), nullptr);
    EXPECT_EQ(dlsym(RTLD_DEFAULT, "_ZN15CacheOpenSwitch4OpenEP13ICacheStorage"), nullptr);
    EXPECT_EQ(dlsym(RTLD_DEFAULT, "_ZN15CacheOpenSwitch6IsOpenEv"), nullptr);
    EXPECT_EQ(dlsym(RTLD_DEFAULT, "_ZN13ApiCacheTable11GetInstanceEv"), nullptr);
}

INSTANTIATE_TEST_SUITE_P(BothRoadsBothMethodsBothSwitches, CacheClosed,
                         ::testing::Combine(::testing::Values(Road::Sync, Road::Async),
                                            ::testing::Values(1, 2),
                                            ::testing::Values(intptr_t(0), intptr_t(1))),
                         [](const ::testing::TestParamInfo<Case>& info) {
                             return std::string(std::get<0>(info.param) == Road::Sync ? "Sync"
                                                                                      : "Async") +
                                    (std::get<1>(info.param) == 1 ? "Get" : "Post") +
                                    (std::get<2>(info.param) == 0 ? "SwitchZero" : "SwitchOn");
                         });

}  // namespace
}  // namespace test
}  // namespace quil
