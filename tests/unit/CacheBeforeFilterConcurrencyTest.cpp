#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "CacheBeforeFilter.h"
#include "FilterTestObjects.h"
#include "QuilConfig.h"
#include "RecordingCacheStorage.h"
#include "ResponseSource.h"

using quil::test::MakeFilterRequest;
using quil::test::RecordingCacheStorage;
using quil::test::ScopedCacheOpen;

TEST(CacheBeforeFilterConcurrency, ManyThreadsAreAnsweredFromOneStorageAtOnce) {
    QuilConfig::GetInstance()->cacheSwitch = 1;
    RecordingCacheStorage storage;
    RpcCache record;
    record.body = "{\"data\":1}";
    record.lastModified = "0";
    storage.Store("", "", record);
    ScopedCacheOpen open(&storage);
    CacheBeforeFilter filter;  // one filter for every thread, as in the chain
    const int kThreads = 4;
    const int kRounds = 50;
    std::atomic<int> hits{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&filter, &hits, t]() {
            for (int i = 0; i < kRounds; ++i) {
                auto request = MakeFilterRequest(t * 1000 + i);
                request->SetMethod(1);
                FilterResult result;
                filter.HandleRequest(request.get(), &result);
                if (result.code == 1 && result.response != nullptr) {
                    request.release();  // the cached response owns it now
                    delete result.response;
                    ++hits;
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(hits.load(), kThreads * kRounds);
    EXPECT_EQ(storage.Gets().size(), static_cast<std::size_t>(kThreads * kRounds));
    QuilConfig::GetInstance()->cacheSwitch = 0;
}
