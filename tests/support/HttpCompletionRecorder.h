// Receives the completions of asynchronous sends in tests: pass Callback and the recorder as
// the request's callback and callbackContext. It takes ownership of every response (and with
// it the request), keeps a summary, and deletes them when it is destroyed. Thread-safe.
#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "HttpRequest.h"
#include "HttpResponse.h"
#include "TestSync.h"

namespace quil {
namespace test {

// What one completion carried.
struct Completion {
    int statusCode = 0;
    std::string body;
    std::string errorMessage;
    std::string cancelKey;
    std::string url;
    const HttpRequest* request = nullptr;  // the response's request, still owned by the recorder
};

class HttpCompletionRecorder {
public:
    // The request callback: context is the HttpCompletionRecorder.
    static void Callback(HttpResponse* response, void* context);

    // Builds a request that completes into this recorder. The caller owns it until it is sent.
    HttpRequest* NewRequest(const std::string& url, const std::string& cancelKey);

    std::vector<Completion> Completions() const;
    std::size_t Count() const;
    // True when at least count completions arrived within the limit.
    bool WaitFor(std::size_t count, std::chrono::milliseconds limit = kWaitLimit) const;

private:
    void Record(HttpResponse* response);

    mutable std::mutex mutex_;  // guards completions_ and responses_
    mutable std::condition_variable changed_;
    std::vector<Completion> completions_;
    std::vector<std::unique_ptr<HttpResponse>> responses_;
};

}  // namespace test
}  // namespace quil
