// Many asynchronous calls meeting an expired answer at once: every one ends exactly once.
#include <gtest/gtest.h>

#include <atomic>
#include <vector>

#include "NetworkPoolBarrier.h"
#include "QuilRequestImpl.h"
#include "ServiceTestHost.h"
#include "SkewedGatewayClient.h"
#include "TestSync.h"

using quil::test::ServiceTestHost;

namespace {

constexpr int kTotal = 200;

struct Outcomes {
    Outcomes() : delivered(kTotal + 1), succeeded(kTotal + 1) {}
    std::vector<std::atomic<int>> delivered;
    std::vector<std::atomic<int>> succeeded;
    std::atomic<int> ended{0};

    static void Callback(QuilResponse* response, void* userData) {
        Outcomes* outcomes = static_cast<Outcomes*>(userData);
        const int id = response->GetRequest()->GetId();
        if (id >= 1 && id <= kTotal) {
            outcomes->delivered[id].fetch_add(1);
            if (response->IsSuccess()) outcomes->succeeded[id].fetch_add(1);
        }
        delete response;
        outcomes->ended.fetch_add(1);
    }
};

}  // namespace

TEST(TimeCalibrationConcurrency, CallsMeetingAnExpiredAnswerAtOnceEachEndExactlyOnce) {
    QuilServiceImpl* service = ServiceTestHost::Install();
    QuilConfig::GetInstance()->RegisterQuilLog(nullptr);
    quil::test::SkewedGatewayClient gateway(7200);
    QuilConfig::GetInstance()->RegisterHttpClient(&gateway);
    Outcomes outcomes;
    for (int i = 0; i < kTotal; ++i) {
        QuilRequestImpl* request = new QuilRequestImpl("mtop.clock.api", "1.0");
        request->SetCallback(&Outcomes::Callback);
        request->SetUserData(&outcomes);
        ASSERT_EQ(service->SendAsyncRequest(request), 0);
    }
    ASSERT_TRUE(quil::test::WaitUntil([&] { return outcomes.ended.load() == kTotal; }));
    for (int id = 1; id <= kTotal; ++id) {
        EXPECT_EQ(outcomes.delivered[id].load(), 1) << id;
    }
    // Calls whose retries all met a stale offset end with the expired answer, so success is
    // not asserted per call; but the clock was learned.
    EXPECT_TRUE(service->timeCalibrated.load());
    EXPECT_NEAR(static_cast<double>(service->timeOffset.load()), 7200.0, 5.0);
    EXPECT_GE(gateway.Expired(), 1u);
    quil::test::NetworkPoolBarrier barrier(&gateway);
    QuilConfig::GetInstance()->RegisterHttpClient(&barrier);
    EXPECT_TRUE(barrier.Drain());
}
