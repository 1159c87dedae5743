// Many threads calling one curl transport at once, as the SDK's network workers and
// synchronous callers do. The server is the test's own raw recorder: the packaged cpp-httplib
// library is not built for ThreadSanitizer, whose reports from inside it would not be ours.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "HttpRequest.h"
#include "HttpResponse.h"
#include "RawHttpRecorder.h"
#include "quil/CurlHttpClient.h"

TEST(CurlHttpClientConcurrency, ManyThreadsShareOneClientAndItsConnections) {
    quil::test::RawHttpRecorder server;
    server.SetReply("HTTP/1.1 200 OK\r\nx-r: 1\r\nContent-Length: 4\r\n\r\ndone");
    quil::CurlHttpClient client;

    const int kThreads = 8;
    const int kCalls = 25;
    std::atomic<int> good{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < kCalls; ++i) {
                const std::string tag = std::to_string(t) + "-" + std::to_string(i);
                auto* request = new HttpRequest();
                request->method = i % 2;
                request->url = "http://127.0.0.1:" + std::to_string(server.Port()) + "/c";
                request->header = {"x-n:" + tag};
                request->body = "body " + tag;
                std::unique_ptr<HttpResponse> response(client.SendHttpRequest(request));
                if (response && response->request == request && response->statusCode == 200 &&
                    std::string(response->body.begin(), response->body.end()) == "done" &&
                    std::string(response->header.begin(), response->header.end()) ==
                        "HTTP/1.1 200 OK\r\nx-r: 1\r\nContent-Length: 4\r\n\r\n") {
                    ++good;
                }
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(good.load(), kThreads * kCalls);

    // Every request arrived once, with its own header line.
    const auto requests = server.WaitForRequests(kThreads * kCalls);
    ASSERT_EQ(requests.size(), static_cast<std::size_t>(kThreads * kCalls));
    for (int t = 0; t < kThreads; ++t) {
        for (int i = 0; i < kCalls; ++i) {
            const std::string line =
                "\r\nx-n:" + std::to_string(t) + "-" + std::to_string(i) + "\r\n";
            EXPECT_EQ(std::count_if(
                          requests.begin(), requests.end(),
                          [&](const std::string& r) { return r.find(line) != std::string::npos; }),
                      1);
        }
    }
    // Each thread holds at most one handle at a time, and handles keep their connections.
    EXPECT_LE(server.AcceptedConnections(), static_cast<std::size_t>(kThreads));
}
