#include "SpareJsonReader.h"

#include <gtest/gtest.h>
#include <json/json.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace {

// Threads that parse at once each get a reader of their own (the spare, or a fresh one), and
// each parse gives its own text's tree.
TEST(SpareJsonReader, ThreadsParsingAtOnceEachGetTheirOwnTree) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 500;
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t, &wrong] {
            const std::string text = "{\"thread\":" + std::to_string(t) + ",\"ret\":[\"x\"]}";
            for (int round = 0; round < kRounds; ++round) {
                Json::Value root;
                const bool parsed =
                    SpareJsonReader::Parse(text.data(), text.data() + text.size(), root);
                if (!parsed || root["thread"].asInt() != t) ++wrong;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(wrong.load(), 0);
}

}  // namespace
