#include "RecordingHttpClient.h"

#include "HttpRequest.h"
#include "HttpResponse.h"

namespace quil {
namespace test {

namespace {

// A held exchange goes on by itself after this, so a failed test cannot hang a worker; the
// destructor waits as long for completions still running.
constexpr std::chrono::seconds kLongestHold(30);

}  // namespace

struct RecordingHttpClient::Records {
    // Guards every field below; never held while the transport or the library works.
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<RecordedExchange> exchanges;
    bool holding = false;
    std::vector<int> heldIds;
    std::size_t probes = 0;       // completions routed through a probe
    std::size_t completions = 0;  // of those, the ones that have returned
};

struct RecordingHttpClient::CompletionProbe {
    // Shared, not the client itself: the test may destroy the client as soon as the library's
    // completion has handed its answer over, while this probe still has its count to make.
    std::shared_ptr<Records> records;
    HttpRequestCallback completion;
    void* context;
};

RecordingHttpClient::RecordingHttpClient(IHttpClient* transport)
    : transport_(transport), records_(std::make_shared<Records>()) {}

RecordingHttpClient::~RecordingHttpClient() { WaitForEveryCompletion(kLongestHold); }

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
        std::unique_lock<std::mutex> lock(records_->mutex);
        if (request->callback != nullptr) {
            // The network manager calls the request's completion after this returns; passing
            // through the probe tells the test when the library is done with the exchange.
            request->callbackContext =
                new CompletionProbe{records_, request->callback, request->callbackContext};
            request->callback = &RecordingHttpClient::ProbeCompletion;
            ++records_->probes;
        }
        if (records_->holding) {
            records_->heldIds.push_back(request->requestId);
            records_->changed.notify_all();
            records_->changed.wait_for(lock, kLongestHold, [&] { return !records_->holding; });
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
    std::lock_guard<std::mutex> lock(records_->mutex);
    records_->exchanges.push_back(std::move(exchange));
    records_->changed.notify_all();
    return response;
}

void RecordingHttpClient::ProbeCompletion(HttpResponse* response, void* context) {
    std::unique_ptr<CompletionProbe> probe(static_cast<CompletionProbe*>(context));
    if (response != nullptr && response->request != nullptr) {
        // The library's completion finds its request by this pointer and may read its context.
        response->request->callback = probe->completion;
        response->request->callbackContext = probe->context;
    }
    probe->completion(response, probe->context);
    // The client may be gone by now; the records are not.
    std::lock_guard<std::mutex> lock(probe->records->mutex);
    ++probe->records->completions;
    probe->records->changed.notify_all();
}

std::vector<RecordedExchange> RecordingHttpClient::Exchanges() const {
    std::lock_guard<std::mutex> lock(records_->mutex);
    return records_->exchanges;
}

std::size_t RecordingHttpClient::Count() const {
    std::lock_guard<std::mutex> lock(records_->mutex);
    return records_->exchanges.size();
}

bool RecordingHttpClient::WaitForExchanges(std::size_t count,
                                           std::chrono::milliseconds limit) const {
    std::unique_lock<std::mutex> lock(records_->mutex);
    return records_->changed.wait_for(lock, limit,
                                      [&] { return records_->exchanges.size() >= count; });
}

void RecordingHttpClient::HoldExchanges(bool on) {
    std::lock_guard<std::mutex> lock(records_->mutex);
    records_->holding = on;
    records_->changed.notify_all();
}

bool RecordingHttpClient::WaitForHeld(std::size_t count, std::chrono::milliseconds limit) const {
    std::unique_lock<std::mutex> lock(records_->mutex);
    return records_->changed.wait_for(lock, limit,
                                      [&] { return records_->heldIds.size() >= count; });
}

std::vector<int> RecordingHttpClient::HeldRequestIds() const {
    std::lock_guard<std::mutex> lock(records_->mutex);
    return records_->heldIds;
}

bool RecordingHttpClient::WaitForCompletions(std::size_t count,
                                             std::chrono::milliseconds limit) const {
    std::unique_lock<std::mutex> lock(records_->mutex);
    return records_->changed.wait_for(lock, limit, [&] { return records_->completions >= count; });
}

bool RecordingHttpClient::WaitForEveryCompletion(std::chrono::milliseconds limit) const {
    std::unique_lock<std::mutex> lock(records_->mutex);
    return records_->changed.wait_for(lock, limit,
                                      [&] { return records_->completions >= records_->probes; });
}

}  // namespace test
}  // namespace quil
