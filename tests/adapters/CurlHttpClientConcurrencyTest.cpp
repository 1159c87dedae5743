// Many threads calling one curl transport at once, as the SDK's network workers and
// synchronous callers do.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "HttpRequest.h"
#include "HttpResponse.h"
#include "LocalHttpServer.h"
#include "quil/CurlHttpClient.h"

TEST(CurlHttpClientConcurrency, ManyThreadsShareOneClientAndItsConnections) {
    quil::test::LocalHttpServer server;
    server.Server().Post("/echo", [](const httplib::Request& request, httplib::Response& response) {
        response.set_header("x-n", request.get_header_value("x-n"));
        response.set_content(request.body, "application/octet-stream");
    });
    server.Start();
    quil::CurlHttpClient client;

    // Fewer threads than the server's workers, which each hold one kept-alive connection.
    const int kThreads = 6;
    const int kCalls = 25;
    std::atomic<int> good{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < kCalls; ++i) {
                const std::string tag = std::to_string(t) + "-" + std::to_string(i);
                auto* request = new HttpRequest();
                request->method = 1;
                request->url = server.Url("/echo");
                request->header = {"x-n:" + tag};
                request->body = "body " + tag;
                std::unique_ptr<HttpResponse> response(client.SendHttpRequest(request));
                const std::string header = response ? std::string(response->header.begin(),
                                                                  response->header.end())
                                                    : std::string();
                if (response && response->request == request && response->statusCode == 200 &&
                    std::string(response->body.begin(), response->body.end()) == "body " + tag &&
                    header.find("\r\nx-n: " + tag + "\r\n") != std::string::npos) {
                    ++good;
                }
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(good.load(), kThreads * kCalls);
    // Each thread holds at most one handle at a time, and handles keep their connections.
    EXPECT_LE(server.Connections(), static_cast<std::size_t>(kThreads));
}
