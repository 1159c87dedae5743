#include "RecordingHttpClient.h"

#include "HttpRequest.h"
#include "HttpResponse.h"

namespace quil {
namespace test {

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
    }
    HttpResponse* response = transport_->SendHttpRequest(request);
    if (response != nullptr) {
        exchange.answered = true;
        exchange.statusCode = response->statusCode;
        exchange.responseHeader.assign(response->header.begin(), response->header.end());
        exchange.responseBody.assign(response->body.begin(), response->body.end());
        exchange.errorMessage = response->errorMessage;
    }
    {
        std::lock_guard<std::mutex> lock(mutex_);
        exchanges_.push_back(std::move(exchange));
    }
    changed_.notify_all();
    return response;
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

}  // namespace test
}  // namespace quil
