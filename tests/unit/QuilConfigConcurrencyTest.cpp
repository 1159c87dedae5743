#include "QuilConfig.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "FakeCookieStorage.h"
#include "FakeWebBrowserProxy.h"

namespace {

constexpr int kThreads = 8;
constexpr int kRounds = 500;

}  // namespace

TEST(QuilConfigConcurrency, FirstCallsFromManyThreadsSeeOneInstance) {
    std::vector<QuilConfig*> seen(kThreads, nullptr);
    std::vector<std::thread> threads;
    std::atomic<bool> go{false};
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            while (!go.load()) {
                std::this_thread::yield();
            }
            seen[t] = QuilConfig::GetInstance();
        });
    }
    go.store(true);
    for (auto& thread : threads) {
        thread.join();
    }
    for (QuilConfig* config : seen) {
        EXPECT_EQ(config, seen[0]);
        EXPECT_NE(config, nullptr);
    }
}

TEST(QuilConfigConcurrency, EachThreadKeepsItsOwnAccount) {
    std::vector<std::thread> threads;
    std::atomic<int> mismatches{0};
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t, &mismatches] {
            QuilConfig* config = QuilConfig::GetInstance();
            std::string account = "user" + std::to_string(t);
            for (int i = 0; i < kRounds; ++i) {
                std::string sid = "s" + std::to_string(t) + "-" + std::to_string(i);
                std::string uid = "u" + std::to_string(t) + "-" + std::to_string(i);
                if (!config->RegisterMultiAccountSession(account, sid, uid) ||
                    config->GetSid(account) != sid || config->GetUid(account) != uid) {
                    ++mismatches;
                }
                if (i % 3 == 0 && !config->LogoutMultiAccountSession(account)) {
                    ++mismatches;
                }
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(mismatches.load(), 0);
    QuilConfig* config = QuilConfig::GetInstance();
    for (int t = 0; t < kThreads; ++t) {
        std::string account = "user" + std::to_string(t);
        // The last round (499) is not a multiple of 3, so its session stays.
        EXPECT_EQ(config->GetSid(account), "s" + std::to_string(t) + "-499");
        EXPECT_EQ(config->GetUid(account), "u" + std::to_string(t) + "-499");
    }
}

TEST(QuilConfigConcurrency, ReadersOfOneAccountSeeOnlyWholeValues) {
    QuilConfig* config = QuilConfig::GetInstance();
    std::atomic<bool> done{false};
    std::atomic<int> torn{0};
    std::vector<std::thread> readers;
    for (int t = 0; t < kThreads - 2; ++t) {
        readers.emplace_back([&] {
            while (!done.load()) {
                std::string sid = config->GetSid("");
                std::string uid = config->GetUid("Default");
                if (!sid.empty() && sid.rfind("sid-", 0) != 0) {
                    ++torn;
                }
                if (!uid.empty() && uid.rfind("uid-", 0) != 0) {
                    ++torn;
                }
            }
        });
    }
    std::thread writer([&] {
        for (int i = 0; i < kRounds * 4; ++i) {
            config->RegisterMultiAccountSession("", "sid-" + std::to_string(i),
                                                "uid-" + std::to_string(i));
        }
    });
    std::thread logouts([&] {
        for (int i = 0; i < kRounds; ++i) {
            config->LogoutMultiAccountSession("Default");
        }
    });
    writer.join();
    logouts.join();
    done.store(true);
    for (auto& reader : readers) {
        reader.join();
    }
    EXPECT_EQ(torn.load(), 0);
}

TEST(QuilConfigConcurrency, HostInterfacesMayBeRegisteredWhileOthersRead) {
    QuilConfig* config = QuilConfig::GetInstance();
    std::atomic<bool> done{false};
    std::thread reader([&] {
        while (!done.load()) {
            (void)config->cookieStorage.load();
            (void)config->webBrowserProxy.load();
        }
    });
    quil::test::FakeCookieStorage storages[2];
    quil::test::FakeWebBrowserProxy proxies[2];
    for (int i = 0; i < kRounds; ++i) {
        config->RegisterCookieStorage(&storages[i % 2]);
        config->RegisterWKWebBrowserProxy(&proxies[i % 2]);
    }
    done.store(true);
    reader.join();
    EXPECT_EQ(config->cookieStorage.load(), &storages[1]);
    EXPECT_EQ(config->webBrowserProxy.load(), &proxies[1]);
}
