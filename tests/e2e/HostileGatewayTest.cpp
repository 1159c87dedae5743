// A host against the gateway emulator in hostile mode, through the shared library, the curl
// adapter and the stand-in security library: whatever the gateway answers, every synchronous
// call returns a response with its return information, and every asynchronous call gets
// exactly one callback.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "E2eHost.h"

namespace quil {
namespace test {
namespace {

constexpr int kCalls = 48;

HostileOptions Hostile() {
    HostileOptions options;
    options.seed = 2026;
    options.normalPercent = 0;  // every answer a bad one
    options.slowMs = 50;        // slow, but inside the host's limit
    options.oversizedBytes = 256 * 1024;
    return options;
}

class HostileGateway : public ::testing::Test {
protected:
    void SetUp() override {
        host.Gateway().SetHostile(Hostile());
        ASSERT_TRUE(host.Start());
    }

    E2eHost host;
};

TEST_F(HostileGateway, EverySynchronousCallReturnsAResponseWhateverTheAnswer) {
    for (int n = 1; n <= kCalls; ++n) {
        ResponsePtr response = host.Call(QuilRequest::Create("e2e.hostile", "1.0"));
        ASSERT_NE(response, nullptr) << n;
        ASSERT_NE(response->GetRetInfo(), nullptr) << n;
        if (response->IsSuccess()) {
            EXPECT_EQ(response->GetRetInfo()->errorType, 0) << n;
        }
    }
    // The transport may send a call again on a fresh connection when a kept one was dropped,
    // so the gateway sees at least one request per call, and bad answers among them.
    ASSERT_TRUE(host.Gateway().WaitForRequests(kCalls, std::chrono::seconds(10)));
    std::set<std::string> kinds;
    for (const ReceivedRequest& request : host.Gateway().Requests()) {
        kinds.insert(request.answerCode);
    }
    EXPECT_EQ(kinds.count("hostile:drop"), 1u);
    EXPECT_EQ(kinds.count("hostile:truncated-body"), 1u);
    EXPECT_GE(kinds.size(), 8u);
}

struct CallbackCount {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<int> perCall = std::vector<int>(kCalls, 0);
    int total = 0;
};

struct Tag {
    CallbackCount* count;
    int index;
};

void OnResponse(QuilResponse* response, void* userData) {
    Tag* tag = static_cast<Tag*>(userData);
    delete response;
    std::lock_guard<std::mutex> lock(tag->count->mutex);
    ++tag->count->perCall[tag->index];
    ++tag->count->total;
    tag->count->changed.notify_all();
}

TEST_F(HostileGateway, EveryAsynchronousCallGetsExactlyOneCallback) {
    CallbackCount count;
    std::vector<Tag> tags;
    for (int i = 0; i < kCalls; ++i) tags.push_back(Tag{&count, i});
    for (int i = 0; i < kCalls; ++i) {
        QuilRequest* request = QuilRequest::Create("e2e.hostile", "1.0");
        request->SetCallback(&OnResponse);
        request->SetUserData(&tags[i]);
        ASSERT_EQ(QuilService::GetInstance()->SendAsyncRequest(request), 0);
    }
    std::unique_lock<std::mutex> lock(count.mutex);
    ASSERT_TRUE(count.changed.wait_for(lock, std::chrono::seconds(60),
                                       [&] { return count.total >= kCalls; }));
    for (int i = 0; i < kCalls; ++i) EXPECT_EQ(count.perCall[i], 1) << i;
    lock.unlock();
    // Nothing more comes once every exchange is over.
    ASSERT_TRUE(host.Client().WaitForEveryCompletion(std::chrono::seconds(30)));
    lock.lock();
    EXPECT_EQ(count.total, kCalls);
}

}  // namespace
}  // namespace test
}  // namespace quil
