#include "ZentDispatcher.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "DispatchTestHost.h"
#include "QuilConfig.h"
#include "ZentDispatch.h"

using quil::test::DispatchTestHost;
using quil::test::ServiceTestHost;

namespace {

const char kDomain[] = "gw.quil.example";

}  // namespace

TEST(ZentDispatcherConcurrency, ManyThreadsLookingUpAtOnceStartOneRequest) {
    ZentDispatcher* dispatcher = DispatchTestHost::Install();
    ServiceTestHost::Client().CloseGate();
    ServiceTestHost::Client().Enqueue(
        DispatchTestHost::Answer(DispatchTestHost::DnsText(kDomain, {"A", "B", "C", "D"})));
    std::vector<std::thread> threads;
    std::atomic<int> nonEmpty{0};
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&nonEmpty] {
            for (int j = 0; j < 50; ++j) {
                std::string ip;
                zentDomainDispatch(kDomain, ip);
                if (!ip.empty()) ++nonEmpty;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    ASSERT_TRUE(ServiceTestHost::Client().WaitForSends(1));
    EXPECT_EQ(nonEmpty.load(), 0);
    ServiceTestHost::Client().OpenGate();
    ASSERT_TRUE(DispatchTestHost::WaitForRequestsDone(1));
    EXPECT_EQ(ServiceTestHost::Client().SendCount(), 1u);
    EXPECT_EQ(dispatcher->RequestCount(), 1);
    EXPECT_EQ(ServiceTestHost::Log().CountOf("ZENT request for domain: gw.quil.example"), 1u);
    QuilConfig::GetInstance()->RegisterQuilLog(nullptr);
}

TEST(ZentDispatcherConcurrency, LookupsAndReportsFromManyThreadsWhileTheAnswerIsStored) {
    ZentDispatcher* dispatcher = DispatchTestHost::Install();
    std::vector<std::string> ips;
    for (int i = 0; i < 40; ++i) ips.push_back("10.0.0." + std::to_string(i));
    ServiceTestHost::Client().Enqueue(
        DispatchTestHost::Answer(DispatchTestHost::DnsText(kDomain, ips)));
    std::string first;
    zentDomainDispatch(kDomain, first);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] {
            for (int j = 0; j < 10; ++j) {
                std::string ip;
                zentDomainDispatch(kDomain, ip);
                zentUpdateStrategy(kDomain);
                zentUpdateStrategy("unknown.example");
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    ASSERT_TRUE(DispatchTestHost::WaitForRequestsDone(1));
    // Every report before the answer landed found no addresses; those after it each took one.
    std::shared_ptr<ZentInfo> info = dispatcher->Strategy(kDomain);
    ASSERT_NE(info, nullptr);
    EXPECT_LE(info->ips.size(), ips.size());
    EXPECT_EQ(dispatcher->RequestCount(), 1);
    QuilConfig::GetInstance()->RegisterQuilLog(nullptr);
}
