#include "NetworkManager.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <regex>
#include <string>

#include "HttpCompletionRecorder.h"
#include "QuilConfig.h"
#include "RecordingLog.h"
#include "ScriptedHttpClient.h"
#include "TestSync.h"
#include "ThreadPool.h"

using quil::test::HttpCompletionRecorder;
using quil::test::ScopedRecordingLog;
using quil::test::ScriptedHttpClient;
using quil::test::ScriptedResponse;
using quil::test::WaitUntil;

namespace {

class NetworkManagerTest : public ::testing::Test {
protected:
    void SetUp() override { poolsBefore_ = ThreadPool::LivePoolCount(); }
    // Each test gets a fresh manager, even when the tests share one process. The stopped pool
    // frees itself once its workers have left; the test ends only then, so that no worker is
    // still running while the process exits.
    void TearDown() override {
        NetworkManager::DestroyInstance();
        EXPECT_TRUE(WaitUntil([this] { return ThreadPool::LivePoolCount() <= poolsBefore_; }));
    }

    NetworkManager* Manager() { return NetworkManager::GetInstance(); }

    // Occupies all five workers with sends held at the client's gate.
    void OccupyAllWorkers(ScriptedHttpClient& client, HttpCompletionRecorder& recorder) {
        client.CloseGate();
        for (int i = 0; i < 5; ++i) {
            ASSERT_EQ(
                Manager()->SendAsyncHttpRequest(recorder.NewRequest(
                    "http://gw.example/busy" + std::to_string(i), "busy" + std::to_string(i))),
                0);
        }
        ASSERT_TRUE(client.WaitForInFlight(5));
    }

private:
    int poolsBefore_ = 0;
};

HttpRequest* NewSyncRequest(const std::string& url) {
    auto* request = new HttpRequest();
    request->method = 0;
    request->url = url;
    return request;
}

// Parses "(S.SS)s" at the end of a send line; -1 when the line has another shape.
double SendSeconds(const std::string& message, const std::string& prefix) {
    std::smatch match;
    const std::regex shape(
        std::regex_replace(prefix, std::regex(R"([.?*+^$()\[\]{}|\\/])"), R"(\$&)") +
        R"( use: \((\d+\.\d\d)\)s)");
    if (!std::regex_match(message, match, shape)) return -1;
    return std::stod(match[1].str());
}

}  // namespace

TEST_F(NetworkManagerTest, GetInstanceReturnsTheSameManager) {
    EXPECT_NE(Manager(), nullptr);
    EXPECT_EQ(Manager(), NetworkManager::GetInstance());
}

TEST_F(NetworkManagerTest, SyncSendReturnsTheClientsResponseWithTheVeryRequest) {
    ScriptedHttpClient client;
    ScriptedResponse answer;
    answer.statusCode = 201;
    answer.header = "HTTP/1.1 201 Created\r\nx-retcode: SUCCESS\r\n";
    answer.body = "{\"ret\":[\"SUCCESS::ok\"]}";
    answer.errorMessage = "none";
    client.Enqueue(answer);
    Manager()->RegisterHttpClient(&client);
    HttpRequest* request = NewSyncRequest("http://gw.example/gw/a");
    std::unique_ptr<HttpResponse> response(Manager()->SendSyncHttpRequest(request));
    ASSERT_NE(response, nullptr);
    EXPECT_EQ(response->request, request);
    EXPECT_EQ(response->statusCode, 201);
    EXPECT_EQ(std::string(response->header.begin(), response->header.end()), answer.header);
    EXPECT_EQ(std::string(response->body.begin(), response->body.end()), answer.body);
    EXPECT_EQ(response->errorMessage, "none");
}

TEST_F(NetworkManagerTest, RequestReachesTheClientUnchanged) {
    ScriptedHttpClient client;
    Manager()->RegisterHttpClient(&client);
    auto* request = new HttpRequest();
    request->requestId = 42;
    request->method = 1;
    request->url = "https://gw.example/gw/x.y/1.0/";
    request->body = "data=%7B%7D&t=1";
    request->header = {"Connection:close", "x-appkey:123"};
    request->cancelKey = "42";
    request->sslValue = "ssl";
    request->proxy = "127.0.0.1:8888";
    std::unique_ptr<HttpResponse> response(Manager()->SendSyncHttpRequest(request));
    ASSERT_EQ(client.SendCount(), 1u);
    const auto seen = client.Requests()[0];
    EXPECT_EQ(seen.requestId, 42);
    EXPECT_EQ(seen.method, 1);
    EXPECT_EQ(seen.url, "https://gw.example/gw/x.y/1.0/");
    EXPECT_EQ(seen.body, "data=%7B%7D&t=1");
    EXPECT_EQ(seen.header, (std::vector<std::string>{"Connection:close", "x-appkey:123"}));
    EXPECT_EQ(seen.cancelKey, "42");
    EXPECT_EQ(seen.sslValue, "ssl");
    EXPECT_EQ(seen.proxy, "127.0.0.1:8888");
}

TEST_F(NetworkManagerTest, SyncSendLogsItsUrlAndTimeAtLevelOne) {
    ScopedRecordingLog log;
    ScriptedHttpClient client;
    Manager()->RegisterHttpClient(&client);
    std::unique_ptr<HttpResponse> response(
        Manager()->SendSyncHttpRequest(NewSyncRequest("http://gw.example/gw/s")));
    ASSERT_EQ(log->Count(), 1u);
    const auto line = log->Lines()[0];
    EXPECT_EQ(line.level, QUIL_LOG_INFO);
    EXPECT_EQ(line.function, "SendSyncHttpRequest");
    EXPECT_EQ(line.file, "NetworkManager.cpp");
    EXPECT_GE(
        SendSeconds(line.message, "NetworkManager sync send httpRequest: http://gw.example/gw/s"),
        0.0)
        << line.message;
}

TEST_F(NetworkManagerTest, SendTimeIsTheMonotonicDifferenceInSeconds) {
    ScopedRecordingLog log;
    ScriptedHttpClient client;
    client.SetDelay(std::chrono::milliseconds(300));
    Manager()->RegisterHttpClient(&client);
    std::unique_ptr<HttpResponse> response(
        Manager()->SendSyncHttpRequest(NewSyncRequest("http://gw.example/slow")));
    ASSERT_EQ(log->Count(), 1u);
    const double seconds = SendSeconds(
        log->Lines()[0].message, "NetworkManager sync send httpRequest: http://gw.example/slow");
    EXPECT_GE(seconds, 0.30);
    EXPECT_LT(seconds, 30.0);
}

TEST_F(NetworkManagerTest, AsyncSendLogsItsUrlAndTimeAtLevelOne) {
    ScopedRecordingLog log;
    ScriptedHttpClient client;
    HttpCompletionRecorder recorder;
    Manager()->RegisterHttpClient(&client);
    ASSERT_EQ(Manager()->SendAsyncHttpRequest(recorder.NewRequest("http://gw.example/a", "7")), 0);
    ASSERT_TRUE(recorder.WaitFor(1));
    ASSERT_EQ(log->Count(), 1u);
    const auto line = log->Lines()[0];
    EXPECT_EQ(line.level, QUIL_LOG_INFO);
    EXPECT_EQ(line.function, "ExecuteHttpRequest");
    EXPECT_GE(
        SendSeconds(line.message, "NetworkManager async send httpRequest: http://gw.example/a"),
        0.0)
        << line.message;
}

TEST_F(NetworkManagerTest, AsyncSendCallsBackWithTheClientsResponse) {
    ScriptedHttpClient client;
    ScriptedResponse answer;
    answer.statusCode = 200;
    answer.body = "ok";
    client.Enqueue(answer);
    HttpCompletionRecorder recorder;
    Manager()->RegisterHttpClient(&client);
    HttpRequest* request = recorder.NewRequest("http://gw.example/a", "1");
    ASSERT_EQ(Manager()->SendAsyncHttpRequest(request), 0);
    ASSERT_TRUE(recorder.WaitFor(1));
    const auto completion = recorder.Completions()[0];
    EXPECT_EQ(completion.request, request);
    EXPECT_EQ(completion.statusCode, 200);
    EXPECT_EQ(completion.body, "ok");
}

TEST_F(NetworkManagerTest, SetHttpMaxConcurrentCountLeavesThePoolAtFiveWorkers) {
    ScriptedHttpClient client;
    HttpCompletionRecorder recorder;
    Manager()->RegisterHttpClient(&client);
    Manager()->SetHttpMaxConcurrentCount(100);
    Manager()->SetDownloadMaxConcurrentCount(100);
    client.CloseGate();
    for (int i = 0; i < 10; ++i) {
        ASSERT_EQ(Manager()->SendAsyncHttpRequest(
                      recorder.NewRequest("http://gw.example/" + std::to_string(i), "k")),
                  0);
    }
    ASSERT_TRUE(client.WaitForInFlight(5));
    client.OpenGate();
    ASSERT_TRUE(recorder.WaitFor(10));
    EXPECT_EQ(client.MaxInFlight(), 5);
    EXPECT_EQ(client.SendCount(), 10u);
}

TEST_F(NetworkManagerTest, SetHttpTimeoutChangesNothingObservable) {
    ScopedRecordingLog log;
    ScriptedHttpClient client;
    Manager()->RegisterHttpClient(&client);
    Manager()->SetHttpTimeout(1);
    HttpRequest* request = NewSyncRequest("http://gw.example/t");
    request->header = {"Connection:close"};
    std::unique_ptr<HttpResponse> response(Manager()->SendSyncHttpRequest(request));
    ASSERT_NE(response, nullptr);
    EXPECT_EQ(response->statusCode, 200);
    ASSERT_EQ(client.SendCount(), 1u);
    EXPECT_EQ(client.Requests()[0].header, (std::vector<std::string>{"Connection:close"}));
    EXPECT_EQ(log->Count(), 1u);
}

TEST_F(NetworkManagerTest, RegisterNullClientKeepsThePreviousClient) {
    ScriptedHttpClient client;
    Manager()->RegisterHttpClient(&client);
    Manager()->RegisterHttpClient(nullptr);
    std::unique_ptr<HttpResponse> response(
        Manager()->SendSyncHttpRequest(NewSyncRequest("http://gw.example/k")));
    ASSERT_NE(response, nullptr);
    EXPECT_EQ(client.SendCount(), 1u);
}

TEST_F(NetworkManagerTest, RegisterReplacesTheClient) {
    ScriptedHttpClient first;
    ScriptedHttpClient second;
    Manager()->RegisterHttpClient(&first);
    Manager()->RegisterHttpClient(&second);
    std::unique_ptr<HttpResponse> response(
        Manager()->SendSyncHttpRequest(NewSyncRequest("http://gw.example/r")));
    EXPECT_EQ(first.SendCount(), 0u);
    EXPECT_EQ(second.SendCount(), 1u);
}

TEST_F(NetworkManagerTest, AsyncSendOfNullReturnsMinusSixAndQueuesNothing) {
    ScriptedHttpClient client;
    HttpCompletionRecorder recorder;
    Manager()->RegisterHttpClient(&client);
    EXPECT_EQ(Manager()->SendAsyncHttpRequest(nullptr), -6);
    // A later send completes alone: nothing else was queued.
    ASSERT_EQ(Manager()->SendAsyncHttpRequest(recorder.NewRequest("http://gw.example/m", "m")), 0);
    ASSERT_TRUE(recorder.WaitFor(1));
    EXPECT_EQ(client.SendCount(), 1u);
    EXPECT_EQ(recorder.Count(), 1u);
}

TEST_F(NetworkManagerTest, SyncSendOfNullRequestReturnsNullSilently) {
    ScopedRecordingLog log;
    ScriptedHttpClient client;
    Manager()->RegisterHttpClient(&client);
    EXPECT_EQ(Manager()->SendSyncHttpRequest(nullptr), nullptr);
    EXPECT_EQ(client.SendCount(), 0u);
    EXPECT_EQ(log->Count(), 0u);
}

TEST_F(NetworkManagerTest, WithoutClientSyncSendReturnsNullAndLogsNothing) {
    ScopedRecordingLog log;
    std::unique_ptr<HttpRequest> request(NewSyncRequest("http://gw.example/n"));
    EXPECT_EQ(Manager()->SendSyncHttpRequest(request.get()), nullptr);
    EXPECT_EQ(log->Count(), 0u);
}

TEST_F(NetworkManagerTest, WithoutClientAsyncSendCallsBackWithStatusZero) {
    ScopedRecordingLog log;
    HttpCompletionRecorder recorder;
    HttpRequest* request = recorder.NewRequest("http://gw.example/n", "3");
    EXPECT_EQ(Manager()->SendAsyncHttpRequest(request), 0);
    ASSERT_TRUE(recorder.WaitFor(1));
    const auto completion = recorder.Completions()[0];
    EXPECT_EQ(completion.statusCode, 0);
    EXPECT_EQ(completion.errorMessage, "");
    EXPECT_EQ(completion.body, "");
    EXPECT_EQ(completion.request, request);
    EXPECT_EQ(log->Count(), 0u);
}

TEST_F(NetworkManagerTest, SyncSendWhoseClientAnswersNullIsLoggedAndReturnsNull) {
    ScopedRecordingLog log;
    ScriptedHttpClient client;
    client.Enqueue(ScriptedResponse::Null());
    Manager()->RegisterHttpClient(&client);
    std::unique_ptr<HttpRequest> request(NewSyncRequest("http://gw.example/null"));
    EXPECT_EQ(Manager()->SendSyncHttpRequest(request.get()), nullptr);
    ASSERT_EQ(log->Count(), 1u);
    EXPECT_GE(SendSeconds(log->Lines()[0].message,
                          "NetworkManager sync send httpRequest: http://gw.example/null"),
              0.0);
}

TEST_F(NetworkManagerTest, AsyncSendWhoseClientAnswersNullCallsBackWithStatusZero) {
    ScopedRecordingLog log;
    ScriptedHttpClient client;
    client.Enqueue(ScriptedResponse::Null());
    HttpCompletionRecorder recorder;
    Manager()->RegisterHttpClient(&client);
    HttpRequest* request = recorder.NewRequest("http://gw.example/null", "9");
    EXPECT_EQ(Manager()->SendAsyncHttpRequest(request), 0);
    ASSERT_TRUE(recorder.WaitFor(1));
    EXPECT_EQ(recorder.Completions()[0].statusCode, 0);
    EXPECT_EQ(recorder.Completions()[0].request, request);
    // The send itself was logged.
    EXPECT_EQ(log->Count(), 1u);
}

TEST_F(NetworkManagerTest, CancelOfASendInProgressHasNoEffectOnIt) {
    ScriptedHttpClient client;
    HttpCompletionRecorder recorder;
    Manager()->RegisterHttpClient(&client);
    client.CloseGate();
    HttpRequest* request = recorder.NewRequest("http://gw.example/p", "running");
    ASSERT_EQ(Manager()->SendAsyncHttpRequest(request), 0);
    ASSERT_TRUE(client.WaitForInFlight(1));
    Manager()->CancelHttpRequest(request);
    Manager()->CancelHttpRequest("running");
    client.OpenGate();
    ASSERT_TRUE(recorder.WaitFor(1));
    EXPECT_EQ(recorder.Completions()[0].statusCode, 200);
}

TEST_F(NetworkManagerTest, SixthSlowSendCanBeCancelledTheFirstFiveCannot) {
    ScriptedHttpClient client;
    HttpCompletionRecorder recorder;
    Manager()->RegisterHttpClient(&client);
    OccupyAllWorkers(client, recorder);
    std::unique_ptr<HttpRequest> sixth(recorder.NewRequest("http://gw.example/sixth", "sixth"));
    ASSERT_EQ(Manager()->SendAsyncHttpRequest(sixth.get()), 0);
    for (int i = 0; i < 5; ++i) Manager()->CancelHttpRequest(("busy" + std::to_string(i)).c_str());
    Manager()->CancelHttpRequest(sixth.get());
    client.OpenGate();
    ASSERT_TRUE(recorder.WaitFor(5));
    // A marker send proves the queue has moved past where the sixth stood.
    ASSERT_EQ(Manager()->SendAsyncHttpRequest(recorder.NewRequest("http://gw.example/m", "m")), 0);
    ASSERT_TRUE(recorder.WaitFor(6));
    EXPECT_EQ(client.SendCount(), 6u);
    for (const auto& seen : client.Requests()) EXPECT_NE(seen.cancelKey, "sixth");
    for (const auto& completion : recorder.Completions()) EXPECT_NE(completion.cancelKey, "sixth");
}

TEST_F(NetworkManagerTest, OneCancelOfASharedKeyRemovesTheOlderQueuedSendOnly) {
    ScriptedHttpClient client;
    HttpCompletionRecorder recorder;
    Manager()->RegisterHttpClient(&client);
    OccupyAllWorkers(client, recorder);
    std::unique_ptr<HttpRequest> older(recorder.NewRequest("http://gw.example/older", "same"));
    HttpRequest* newer = recorder.NewRequest("http://gw.example/newer", "same");
    ASSERT_EQ(Manager()->SendAsyncHttpRequest(older.get()), 0);
    ASSERT_EQ(Manager()->SendAsyncHttpRequest(newer), 0);
    Manager()->CancelHttpRequest("same");
    client.OpenGate();
    ASSERT_TRUE(recorder.WaitFor(6));
    ASSERT_TRUE(client.WaitForSends(6));
    std::vector<std::string> urls;
    for (const auto& seen : client.Requests()) urls.push_back(seen.url);
    EXPECT_EQ(std::count(urls.begin(), urls.end(), "http://gw.example/newer"), 1);
    EXPECT_EQ(std::count(urls.begin(), urls.end(), "http://gw.example/older"), 0);
}

TEST_F(NetworkManagerTest, CancelKeyCountsUpToItsFirstZeroByte) {
    ScriptedHttpClient client;
    HttpCompletionRecorder recorder;
    Manager()->RegisterHttpClient(&client);
    OccupyAllWorkers(client, recorder);
    std::unique_ptr<HttpRequest> queued(
        recorder.NewRequest("http://gw.example/z", std::string("key\0tail", 8)));
    ASSERT_EQ(Manager()->SendAsyncHttpRequest(queued.get()), 0);
    Manager()->CancelHttpRequest("key");
    client.OpenGate();
    ASSERT_TRUE(recorder.WaitFor(5));
    ASSERT_EQ(Manager()->SendAsyncHttpRequest(recorder.NewRequest("http://gw.example/m", "m")), 0);
    ASSERT_TRUE(recorder.WaitFor(6));
    EXPECT_EQ(client.SendCount(), 6u);
}

TEST_F(NetworkManagerTest, CancelAllHttpRequestRemovesEveryQueuedSend) {
    ScriptedHttpClient client;
    HttpCompletionRecorder recorder;
    Manager()->RegisterHttpClient(&client);
    OccupyAllWorkers(client, recorder);
    std::vector<std::unique_ptr<HttpRequest>> queued;
    for (int i = 0; i < 3; ++i) {
        queued.emplace_back(recorder.NewRequest("http://gw.example/q", "q" + std::to_string(i)));
        ASSERT_EQ(Manager()->SendAsyncHttpRequest(queued.back().get()), 0);
    }
    Manager()->CancelAllHttpRequest();
    client.OpenGate();
    ASSERT_TRUE(recorder.WaitFor(5));
    ASSERT_EQ(Manager()->SendAsyncHttpRequest(recorder.NewRequest("http://gw.example/m", "m")), 0);
    ASSERT_TRUE(recorder.WaitFor(6));
    EXPECT_EQ(client.SendCount(), 6u);
}

TEST_F(NetworkManagerTest, CancelAllRequestForwardsToCancelAllHttpRequest) {
    ScriptedHttpClient client;
    HttpCompletionRecorder recorder;
    Manager()->RegisterHttpClient(&client);
    OccupyAllWorkers(client, recorder);
    std::unique_ptr<HttpRequest> queued(recorder.NewRequest("http://gw.example/q", "q"));
    ASSERT_EQ(Manager()->SendAsyncHttpRequest(queued.get()), 0);
    Manager()->CancelAllRequest();
    client.OpenGate();
    ASSERT_TRUE(recorder.WaitFor(5));
    ASSERT_EQ(Manager()->SendAsyncHttpRequest(recorder.NewRequest("http://gw.example/m", "m")), 0);
    ASSERT_TRUE(recorder.WaitFor(6));
    EXPECT_EQ(client.SendCount(), 6u);
}

// A null cancel removes nothing, not even a queued send under the empty key, and says nothing.
TEST_F(NetworkManagerTest, CancelOfNullIsIgnored) {
    ScriptedHttpClient client;
    HttpCompletionRecorder recorder;
    Manager()->RegisterHttpClient(&client);
    OccupyAllWorkers(client, recorder);
    ASSERT_EQ(Manager()->SendAsyncHttpRequest(recorder.NewRequest("http://gw.example/e", "")), 0);
    ASSERT_EQ(Manager()->SendAsyncHttpRequest(recorder.NewRequest("http://gw.example/k", "k")), 0);
    ScopedRecordingLog log;
    Manager()->CancelHttpRequest(static_cast<HttpRequest*>(nullptr));
    Manager()->CancelHttpRequest(static_cast<const char*>(nullptr));
    EXPECT_EQ(log->Count(), 0u);
    client.OpenGate();
    ASSERT_TRUE(recorder.WaitFor(7));
    EXPECT_EQ(client.SendCount(), 7u);
    std::vector<std::string> keys;
    for (const auto& completion : recorder.Completions()) {
        EXPECT_EQ(completion.statusCode, 200);
        keys.push_back(completion.cancelKey);
    }
    EXPECT_NE(std::find(keys.begin(), keys.end(), ""), keys.end());
    EXPECT_NE(std::find(keys.begin(), keys.end(), "k"), keys.end());
}

TEST_F(NetworkManagerTest, AfterDestroyInstanceANewManagerHasNoClient) {
    ScopedRecordingLog log;
    ScriptedHttpClient client;
    Manager()->RegisterHttpClient(&client);
    NetworkManager::DestroyInstance();
    std::unique_ptr<HttpRequest> request(NewSyncRequest("http://gw.example/d"));
    EXPECT_EQ(Manager()->SendSyncHttpRequest(request.get()), nullptr);
    EXPECT_EQ(client.SendCount(), 0u);
    EXPECT_EQ(log->Count(), 0u);
}

TEST_F(NetworkManagerTest, DestroyInstanceLetsRunningSendsFinishAndCallBack) {
    ScriptedHttpClient client;
    HttpCompletionRecorder recorder;
    Manager()->RegisterHttpClient(&client);
    OccupyAllWorkers(client, recorder);
    NetworkManager::DestroyInstance();
    client.OpenGate();
    ASSERT_TRUE(recorder.WaitFor(5));
    for (const auto& completion : recorder.Completions()) EXPECT_EQ(completion.statusCode, 200);
}

// The service keeps the manager's address for the life of the process; DestroyInstance must
// leave that address usable. Without a client on the new manager a send gets the network
// failure (no response); once a client is registered, through either pointer, sends go out.
TEST_F(NetworkManagerTest, AManagerKeptAcrossDestroyInstanceSendsSyncThroughTheNewOne) {
    ScriptedHttpClient client;
    NetworkManager* kept = Manager();
    kept->RegisterHttpClient(&client);
    NetworkManager::DestroyInstance();

    std::unique_ptr<HttpRequest> request(NewSyncRequest("http://gw.example/kept"));
    EXPECT_EQ(kept->SendSyncHttpRequest(request.get()), nullptr);
    EXPECT_EQ(client.SendCount(), 0u);

    kept->RegisterHttpClient(&client);
    std::unique_ptr<HttpResponse> response(
        kept->SendSyncHttpRequest(NewSyncRequest("http://gw.example/kept2")));
    ASSERT_NE(response, nullptr);
    EXPECT_EQ(response->statusCode, 200);
    EXPECT_EQ(client.SendCount(), 1u);
    EXPECT_NE(Manager(), kept);
}

TEST_F(NetworkManagerTest, AManagerKeptAcrossDestroyInstanceSendsAsyncThroughTheNewOne) {
    ScriptedHttpClient client;
    HttpCompletionRecorder recorder;
    NetworkManager* kept = Manager();
    kept->RegisterHttpClient(&client);
    NetworkManager::DestroyInstance();

    // No client on the new manager: the send completes with the empty response.
    ASSERT_EQ(kept->SendAsyncHttpRequest(recorder.NewRequest("http://gw.example/a1", "a1")), 0);
    ASSERT_TRUE(recorder.WaitFor(1));
    EXPECT_EQ(recorder.Completions()[0].statusCode, 0);
    EXPECT_EQ(client.SendCount(), 0u);

    QuilConfig::GetInstance()->RegisterHttpClient(&client);
    ASSERT_EQ(kept->SendAsyncHttpRequest(recorder.NewRequest("http://gw.example/a2", "a2")), 0);
    ASSERT_TRUE(recorder.WaitFor(2));
    EXPECT_EQ(recorder.Completions()[1].statusCode, 200);
    EXPECT_EQ(recorder.Completions()[1].cancelKey, "a2");
    EXPECT_EQ(client.SendCount(), 1u);
    // Cancels on the kept pointer reach the new manager too, and end well.
    kept->CancelHttpRequest("none");
    kept->CancelAllRequest();
}

TEST_F(NetworkManagerTest, ClientRegisteredThroughTheConfigurationReachesTheManager) {
    ScriptedHttpClient client;
    QuilConfig::GetInstance()->RegisterHttpClient(&client);
    std::unique_ptr<HttpResponse> response(
        Manager()->SendSyncHttpRequest(NewSyncRequest("http://gw.example/c")));
    ASSERT_NE(response, nullptr);
    EXPECT_EQ(client.SendCount(), 1u);
}
