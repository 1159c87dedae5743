#include "RecordingHttpClient.h"

#include "HttpRequest.h"
#include "HttpResponse.h"

namespace quil {
namespace test {

namespace {

// A held exchange goes on by itself after this, so a failed test cannot hang a worker.
constexpr std::chrono::seconds kLongestHold(30);

}  // namespace

struct RecordingHttpClient::CompletionProbe {
    RecordingHttpClient* client;
    HttpRequestCallback completion;
    void* context;
};

HttpResponse* RecordingHttpClient::SendHttpRequest(HttpRequest* request) {
    RecordedExchange exchange;
    if (request != nullptr) {
        // Copied before the send: afterwards the request belongs to the response.
        exchange.requestId = request->requestId;
        exchange.method = request->method;
        exchange.url = request->url;
        exchange.headerLines = request->header;
        exchange.body = request->body;
        exchange.proxy = request->proxy;
        if (request->callback != nullptr) {
            // The network manager calls the request's completion after this returns; passing
            // through the probe tells the test when the library is done with the exchange.
            request->callbackContext =
                new CompletionProbe{this, request->callback, request->callbackContext};
            request->callback = &RecordingHttpClient::ProbeCompletion;
        }
        std::unique_lock<std::mutex> lock(mutex_);
        if (holding_) {
            heldIds_.push_back(request->requestId);
            changed_.notify_all();
            changed_.wait_for(lock, kLongestHold, [&] { return !holding_; });
        }
    }
    HttpResponse* response = transport_->SendHttpRequest(request);
    if (response != nullptr) {
        exchange.answered = true;
        exchange.statusCode = response->statusCode;
        exchange.responseHeader.assign(response->header.begin(), response->header.end());
        exchange.responseBody.assign(response->body.begin(), response->body.end());
        exchange.errorMessage = response->errorMessage;
    }
    std::lock_guard<std::mutex> lock(mutex_);
    exchanges_.push_back(std::move(exchange));
    changed_.notify_all();
    return response;
}

void RecordingHttpClient::ProbeCompletion(HttpResponse* response, void* context) {
    CompletionProbe* probe = static_cast<CompletionProbe*>(context);
    if (response != nullptr && response->request != nullptr) {
        // The library's completion finds its request by this pointer and may read its context.
        response->request->callback = probe->completion;
        response->request->callbackContext = probe->context;
    }
    probe->completion(response, probe->context);
    RecordingHttpClient* client = probe->client;
    delete probe;
    std::lock_guard<std::mutex> lock(client->mutex_);
    ++client->completions_;
    client->changed_.notify_all();
}

std::vector<RecordedExchange> RecordingHttpClient::Exchanges() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return exchanges_;
}

std::size_t RecordingHttpClient::Count() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return exchanges_.size();
}

bool RecordingHttpClient::WaitForExchanges(std::size_t count,
                                           std::chrono::milliseconds limit) const {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, limit, [&] { return exchanges_.size() >= count; });
}

void RecordingHttpClient::HoldExchanges(bool on) {
    std::lock_guard<std::mutex> lock(mutex_);
    holding_ = on;
    changed_.notify_all();
}

bool RecordingHttpClient::WaitForHeld(std::size_t count, std::chrono::milliseconds limit) const {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, limit, [&] { return heldIds_.size() >= count; });
}

std::vector<int> RecordingHttpClient::HeldRequestIds() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return heldIds_;
}

bool RecordingHttpClient::WaitForCompletions(std::size_t count,
                                             std::chrono::milliseconds limit) const {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, limit, [&] { return completions_ >= count; });
}

}  // namespace test
}  // namespace quil
