#include "ScriptedHttpClient.h"

#include <algorithm>
#include <thread>
#include <utility>

namespace quil {
namespace test {

HttpResponse* ScriptedHttpClient::SendHttpRequest(HttpRequest* request) {
    std::function<void(HttpRequest*)> onSend;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        onSend = onSend_;
    }
    if (onSend) onSend(request);
    ScriptedResponse answer;
    std::chrono::milliseconds delay{0};
    {
        std::unique_lock<std::mutex> lock(mutex_);
        RecordedRequest record;
        if (request != nullptr) {
            record.requestId = request->requestId;
            record.method = request->method;
            record.url = request->url;
            record.body = request->body;
            record.header = request->header;
            record.cancelKey = request->cancelKey;
            record.sslValue = request->sslValue;
            record.proxy = request->proxy;
            record.address = request;
        }
        requests_.push_back(std::move(record));
        ++inFlight_;
        maxInFlight_ = std::max(maxInFlight_, inFlight_);
        changed_.notify_all();
        // A limit, so that a test that forgets to open the gate fails instead of hanging.
        changed_.wait_for(lock, kWaitLimit, [this] { return !gateClosed_; });
        delay = delay_;
        if (!queued_.empty()) {
            answer = queued_.front();
            queued_.pop_front();
        } else {
            answer = default_;
        }
    }
    if (delay.count() > 0) std::this_thread::sleep_for(delay);
    {
        std::lock_guard<std::mutex> lock(mutex_);
        --inFlight_;
        changed_.notify_all();
    }
    if (answer.isNull) return nullptr;
    auto* response = new HttpResponse();
    response->request = request;
    response->statusCode = answer.statusCode;
    response->header.assign(answer.header.begin(), answer.header.end());
    response->body.assign(answer.body.begin(), answer.body.end());
    response->errorMessage = answer.errorMessage;
    return response;
}

void ScriptedHttpClient::SetOnSend(std::function<void(HttpRequest*)> onSend) {
    std::lock_guard<std::mutex> lock(mutex_);
    onSend_ = std::move(onSend);
}

void ScriptedHttpClient::Enqueue(const ScriptedResponse& response) {
    std::lock_guard<std::mutex> lock(mutex_);
    queued_.push_back(response);
}

void ScriptedHttpClient::SetDefault(const ScriptedResponse& response) {
    std::lock_guard<std::mutex> lock(mutex_);
    default_ = response;
}

void ScriptedHttpClient::CloseGate() {
    std::lock_guard<std::mutex> lock(mutex_);
    gateClosed_ = true;
}

void ScriptedHttpClient::SetDelay(std::chrono::milliseconds delay) {
    std::lock_guard<std::mutex> lock(mutex_);
    delay_ = delay;
}

void ScriptedHttpClient::OpenGate() {
    std::lock_guard<std::mutex> lock(mutex_);
    gateClosed_ = false;
    changed_.notify_all();
}

std::vector<RecordedRequest> ScriptedHttpClient::Requests() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return requests_;
}

std::size_t ScriptedHttpClient::SendCount() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return requests_.size();
}

int ScriptedHttpClient::InFlight() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return inFlight_;
}

int ScriptedHttpClient::MaxInFlight() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return maxInFlight_;
}

bool ScriptedHttpClient::WaitForSends(std::size_t count, std::chrono::milliseconds limit) const {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, limit, [&] { return requests_.size() >= count; });
}

bool ScriptedHttpClient::WaitForInFlight(int count, std::chrono::milliseconds limit) const {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, limit, [&] { return inFlight_ >= count; });
}

}  // namespace test
}  // namespace quil
