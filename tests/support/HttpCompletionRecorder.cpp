#include "HttpCompletionRecorder.h"

namespace quil {
namespace test {

void HttpCompletionRecorder::Callback(HttpResponse* response, void* context) {
    static_cast<HttpCompletionRecorder*>(context)->Record(response);
}

HttpRequest* HttpCompletionRecorder::NewRequest(const std::string& url,
                                                const std::string& cancelKey) {
    auto* request = new HttpRequest();
    request->method = 1;
    request->url = url;
    request->cancelKey = cancelKey;
    request->callback = &HttpCompletionRecorder::Callback;
    request->callbackContext = this;
    return request;
}

void HttpCompletionRecorder::Record(HttpResponse* response) {
    Completion completion;
    if (response != nullptr) {
        completion.statusCode = response->statusCode;
        completion.body.assign(response->body.begin(), response->body.end());
        completion.errorMessage = response->errorMessage;
        completion.request = response->request;
        if (response->request != nullptr) {
            completion.cancelKey = response->request->cancelKey;
            completion.url = response->request->url;
        }
    }
    std::lock_guard<std::mutex> lock(mutex_);
    completions_.push_back(std::move(completion));
    responses_.emplace_back(response);
    changed_.notify_all();
}

std::vector<Completion> HttpCompletionRecorder::Completions() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return completions_;
}

std::size_t HttpCompletionRecorder::Count() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return completions_.size();
}

bool HttpCompletionRecorder::WaitFor(std::size_t count, std::chrono::milliseconds limit) const {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, limit, [&] { return completions_.size() >= count; });
}

}  // namespace test
}  // namespace quil
