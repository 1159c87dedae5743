#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "HttpCompletionRecorder.h"
#include "NetworkManager.h"
#include "RecordingLog.h"
#include "ScriptedHttpClient.h"
#include "TestSync.h"
#include "ThreadPool.h"

using quil::test::HttpCompletionRecorder;
using quil::test::ScopedRecordingLog;
using quil::test::ScriptedHttpClient;

namespace {

// Ends a test: the stopped pool frees itself once its workers have left, and the test waits for
// that, so that no worker is still running while the process exits.
void DestroyManagerAndWaitForItsPool() {
    NetworkManager::DestroyInstance();
    EXPECT_TRUE(quil::test::WaitUntil([] { return ThreadPool::LivePoolCount() == 0; }));
}

}  // namespace

TEST(NetworkManagerConcurrency, FirstCallsFromManyThreadsSeeOneManager) {
    std::vector<NetworkManager*> seen(8, nullptr);
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&seen, i] { seen[i] = NetworkManager::GetInstance(); });
    }
    for (auto& thread : threads) thread.join();
    for (NetworkManager* manager : seen) EXPECT_EQ(manager, NetworkManager::GetInstance());
    DestroyManagerAndWaitForItsPool();
}

TEST(NetworkManagerConcurrency, ManyThreadsSendingSyncAndAsyncEachSendCompletesOnce) {
    ScopedRecordingLog log;
    ScriptedHttpClient client;
    HttpCompletionRecorder recorder;
    NetworkManager* manager = NetworkManager::GetInstance();
    manager->RegisterHttpClient(&client);
    constexpr int kThreads = 6;
    constexpr int kSends = 40;
    std::atomic<int> syncAnswers{0};
    std::vector<std::thread> senders;
    for (int t = 0; t < kThreads; ++t) {
        senders.emplace_back([manager, &recorder, &syncAnswers, t] {
            for (int i = 0; i < kSends; ++i) {
                const std::string key = std::to_string(t) + "-" + std::to_string(i);
                ASSERT_EQ(manager->SendAsyncHttpRequest(
                              recorder.NewRequest("http://gw.example/a/" + key, key)),
                          0);
                auto* request = new HttpRequest();
                request->url = "http://gw.example/s/" + key;
                HttpResponse* response = manager->SendSyncHttpRequest(request);
                if (response != nullptr) ++syncAnswers;
                delete response;
            }
        });
    }
    for (auto& sender : senders) sender.join();
    ASSERT_TRUE(recorder.WaitFor(kThreads * kSends));
    EXPECT_EQ(syncAnswers, kThreads * kSends);
    EXPECT_EQ(client.SendCount(), static_cast<std::size_t>(2 * kThreads * kSends));
    EXPECT_EQ(log->Count(), static_cast<std::size_t>(2 * kThreads * kSends));
    // Five pool workers plus the six calling threads at most.
    EXPECT_LE(client.MaxInFlight(), 5 + kThreads);
    DestroyManagerAndWaitForItsPool();
}

TEST(NetworkManagerConcurrency, CancelsRaceWithQueuedSendsAndEachSendEndsOnce) {
    ScriptedHttpClient client;
    HttpCompletionRecorder recorder;
    NetworkManager* manager = NetworkManager::GetInstance();
    manager->RegisterHttpClient(&client);
    constexpr int kSends = 200;
    std::vector<HttpRequest*> requests;
    for (int i = 0; i < kSends; ++i) {
        requests.push_back(recorder.NewRequest("http://gw.example/c", std::to_string(i)));
    }
    // A cancelled send stays with its caller; the client records which ones it saw.
    std::thread sender([manager, &requests] {
        for (HttpRequest* request : requests) manager->SendAsyncHttpRequest(request);
    });
    std::thread canceller([manager] {
        for (int i = 0; i < kSends; ++i) {
            manager->CancelHttpRequest(std::to_string(i).c_str());
            if (i % 40 == 0) manager->CancelAllHttpRequest();
        }
    });
    sender.join();
    canceller.join();
    // Five barrier sends, queued behind everything else, hold all five workers at once in
    // their callbacks: by then every earlier send has either completed or was cancelled.
    struct Barrier {
        quil::test::Latch arrived{5};
        quil::test::Gate release;
        quil::test::Latch left{5};
    } barrier;
    auto barrierCallback = [](HttpResponse* response, void* context) {
        delete response;
        auto* b = static_cast<Barrier*>(context);
        b->arrived.CountDown();
        b->release.Pass();
        b->left.CountDown();
    };
    for (int i = 0; i < 5; ++i) {
        auto* request = new HttpRequest();
        request->url = "http://gw.example/barrier";
        request->cancelKey = "barrier";
        request->callback = barrierCallback;
        request->callbackContext = &barrier;
        ASSERT_EQ(manager->SendAsyncHttpRequest(request), 0);
    }
    ASSERT_TRUE(barrier.arrived.Wait());
    // Requests that reached the client now belong to the recorder; the rest are still ours.
    std::vector<const HttpRequest*> sent;
    for (const auto& completion : recorder.Completions()) sent.push_back(completion.request);
    for (HttpRequest* request : requests) {
        if (std::find(sent.begin(), sent.end(), request) == sent.end()) delete request;
    }
    barrier.release.Open();
    ASSERT_TRUE(barrier.left.Wait());
    EXPECT_EQ(recorder.Count() + 5, client.SendCount());
    DestroyManagerAndWaitForItsPool();
}
