#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "ApiCacheTable.h"

TEST(ApiCacheTableConcurrency, ReadersAndWritersShareTheTable) {
    const int kThreads = 4;
    const int kRounds = 300;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t]() {
            ApiCacheTable* table = ApiCacheTable::GetInstance();
            for (int i = 0; i < kRounds; ++i) {
                std::string key = "mtop.api" + std::to_string(i % 50) + "$1.0";
                if (t % 2 == 0) {
                    ApiCacheConfig config;
                    config.blockName = "block" + std::to_string(i % 50);
                    table->Insert(key, config);
                } else {
                    std::unique_ptr<ApiCacheConfig> found = table->Find(key);
                    if (found) {
                        EXPECT_EQ(found->blockName, "block" + std::to_string(i % 50));
                    }
                    table->Find("mtop.miss" + std::to_string(i) + "$1.0");
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    ApiCacheTable* table = ApiCacheTable::GetInstance();
    for (int i = 0; i < 50; ++i) {
        ASSERT_NE(table->Find("mtop.api" + std::to_string(i) + "$1.0"), nullptr);
    }
    EXPECT_LE(table->Size(), 50u + ApiCacheTable::kMaxUnknownKeys);
}
