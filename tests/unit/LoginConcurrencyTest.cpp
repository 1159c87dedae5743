// The login road under load: sixteen threads of mixed calls (asynchronous and synchronous,
// with and without a session, of four accounts, some withdrawn at once), logins that succeed,
// fail and are cancelled at random on threads of their own, some of them before login()
// returns, gateway answers that declare the session expired, and sessions registered and
// logged out meanwhile. Every asynchronous call that was not withdrawn gets exactly one
// callback, and the pending-request pool is empty at the end.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <iostream>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "NetworkPoolBarrier.h"
#include "QuilCancelRelease.h"
#include "QuilConfig.h"
#include "QuilRequestImpl.h"
#include "RemoteLogin.h"
#include "RequestPool.h"
#include "ScriptedLogin.h"
#include "ServiceTestHost.h"
#include "TestSync.h"

using quil::test::ServiceTestHost;

namespace {

constexpr int kThreads = 16;
// Each thread calls until this many calls or the soak's time is up, whichever comes first.
constexpr int kCallsPerThread = 400;
constexpr int kCalls = kThreads * kCallsPerThread;
constexpr std::chrono::seconds kSoakTime{2};
// Ids set by the test, far above any the service would issue, so a cancel by id is exact.
constexpr int kFirstId = 100000;

const char* const kAccounts[] = {"", "alice", "bob", "carol"};

// The fate of each call, by its index.
struct Outcomes {
    Outcomes() : delivered(kCalls), withdrawn(kCalls), isAsync(kCalls) {}
    std::vector<std::atomic<int>> delivered;
    std::vector<std::atomic<int>> withdrawn;
    std::vector<std::atomic<bool>> isAsync;
    std::atomic<int> asyncEnded{0};
    std::atomic<int> asyncCalls{0};
};

Outcomes* TheOutcomes() {
    static Outcomes outcomes;
    return &outcomes;
}

void OnResponse(QuilResponse* response, void* userData) {
    const int index = static_cast<int>(reinterpret_cast<intptr_t>(userData));
    TheOutcomes()->delivered[index].fetch_add(1);
    delete response;
    TheOutcomes()->asyncEnded.fetch_add(1);
}

// A random source per thread: the login's chooser runs on many threads.
int Random(int below) {
    thread_local std::mt19937 engine(std::random_device{}());
    return std::uniform_int_distribution<int>(0, below - 1)(engine);
}

void RunCalls(int thread, std::chrono::steady_clock::time_point end) {
    Outcomes* outcomes = TheOutcomes();
    // Calls to withdraw a little later, when they may be on the network.
    std::vector<int> toWithdraw;
    for (int i = 0; i < kCallsPerThread && std::chrono::steady_clock::now() < end; ++i) {
        if (toWithdraw.size() > 2) {
            const int victim = toWithdraw.front();
            toWithdraw.erase(toWithdraw.begin());
            if (quil::CancelCallAndRelease(kFirstId + victim)) {
                outcomes->withdrawn[victim].fetch_add(1);
                outcomes->asyncEnded.fetch_add(1);
            }
        }
        const int index = thread * kCallsPerThread + i;
        const int kind = Random(10);
        QuilRequest* request = QuilRequest::Create("mtop.soak.api", "1.0");
        request->SetNeedLogin(kind != 0);
        request->SetUserInfo(kAccounts[Random(4)]);
        request->SetId(kFirstId + index);
        if (kind < 2) {
            // Synchronous: never waits for a login; its response comes back here.
            QuilResponse* response = QuilService::GetInstance()->SendSyncRequest(request);
            EXPECT_NE(response, nullptr);
            delete response;
            continue;
        }
        outcomes->isAsync[index].store(true);
        outcomes->asyncCalls.fetch_add(1);
        request->SetCallback(&OnResponse);
        request->SetUserData(reinterpret_cast<void*>(static_cast<intptr_t>(index)));
        ASSERT_EQ(QuilService::GetInstance()->SendAsyncRequest(request), 0);
        if (kind == 9) {
            toWithdraw.push_back(index);
        }
    }
}

}  // namespace

TEST(LoginConcurrency, EveryWaitingCallEndsOnceWhileLoginsAndSessionsChange) {
    ServiceTestHost::Install();
    // The log stays quiet: sixteen threads of lines would only slow the run down.
    QuilConfig::GetInstance()->RegisterQuilLog(nullptr);
    ServiceTestHost::Client().SetDefault(ServiceTestHost::GatewayAnswer());
    // Exchanges that take a moment, so that some calls are on the network when withdrawn.
    ServiceTestHost::Client().SetDelay(std::chrono::milliseconds(1));
    for (int i = 0; i < 40; ++i) {
        ServiceTestHost::Client().Enqueue(ServiceTestHost::GatewayAnswer(
            "FAIL_SYS_SESSION_EXPIRED::expired", "x-retcode: FAIL_SYS_SESSION_EXPIRED\r\n"));
        ServiceTestHost::Client().Enqueue(ServiceTestHost::GatewayAnswer());
    }

    static quil::ScriptedLogin login;
    login.SetChooser([](const std::string& account) {
        quil::LoginScript script;
        script.outcome = static_cast<quil::LoginOutcome>(Random(3));
        script.delay = std::chrono::milliseconds(Random(5) - 1);  // -1 ends inside login()
        script.sid = "sid-" + account + "-" + std::to_string(Random(1000));
        script.uid = "uid-" + account;
        return script;
    });
    RemoteLogin::setLoginImpl(&login);

    std::atomic<bool> stop{false};
    std::thread sessions([&stop] {
        while (!stop.load()) {
            const char* account = kAccounts[Random(4)];
            switch (Random(3)) {
                case 0:
                    QuilConfig::GetInstance()->RegisterMultiAccountSession(account, "sid-host",
                                                                           "uid-host");
                    break;
                case 1:
                    QuilConfig::GetInstance()->LogoutMultiAccountSession(account);
                    break;
                default:
                    login.SetSessionValid(account, Random(2) == 0);
                    break;
            }
            std::this_thread::yield();
        }
    });
    std::vector<std::thread> callers;
    const auto end = std::chrono::steady_clock::now() + kSoakTime;
    for (int thread = 0; thread < kThreads; ++thread) {
        callers.emplace_back(RunCalls, thread, end);
    }
    for (std::thread& caller : callers) {
        caller.join();
    }
    stop.store(true);
    sessions.join();

    Outcomes* outcomes = TheOutcomes();
    EXPECT_TRUE(quil::test::WaitUntil(
        [outcomes] { return outcomes->asyncEnded.load() >= outcomes->asyncCalls.load(); },
        std::chrono::seconds(120)))
        << outcomes->asyncEnded.load() << " of " << outcomes->asyncCalls.load() << " ended";
    EXPECT_TRUE(login.WaitIdle(quil::test::kWaitLimit));
    quil::test::NetworkPoolBarrier barrier(&ServiceTestHost::Client());
    QuilConfig::GetInstance()->RegisterHttpClient(&barrier);
    EXPECT_TRUE(barrier.Drain());

    EXPECT_EQ(RequestPool::Size(), 0u);
    EXPECT_EQ(outcomes->asyncEnded.load(), outcomes->asyncCalls.load());
    for (int index = 0; index < kCalls; ++index) {
        if (!outcomes->isAsync[index].load()) {
            EXPECT_EQ(outcomes->delivered[index].load(), 0) << index;
            continue;
        }
        EXPECT_EQ(outcomes->delivered[index].load() + outcomes->withdrawn[index].load(), 1)
            << "call " << index << " delivered " << outcomes->delivered[index].load()
            << " withdrawn " << outcomes->withdrawn[index].load();
    }
    EXPECT_GT(login.LoginCount(), 0u);
    int withdrawn = 0;
    for (int index = 0; index < kCalls; ++index) {
        withdrawn += outcomes->withdrawn[index].load();
    }
    // What the soak covered, for whoever reads the output.
    std::cout << outcomes->asyncCalls.load() << " asynchronous calls, " << withdrawn
              << " withdrawn, " << login.LoginCount() << " logins" << std::endl;
    QuilConfig::GetInstance()->RegisterUTStatistics(nullptr);
}
