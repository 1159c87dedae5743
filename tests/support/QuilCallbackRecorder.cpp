#include "QuilCallbackRecorder.h"

#include <utility>

#include "RetInfo.h"

namespace quil {
namespace test {

void QuilCallbackRecorder::Callback(QuilResponse* response, void* userData) {
    static_cast<QuilCallbackRecorder*>(userData)->Record(response);
}

void QuilCallbackRecorder::Attach(QuilRequest* request) {
    request->SetCallback(&QuilCallbackRecorder::Callback);
    request->SetUserData(this);
}

void QuilCallbackRecorder::SetOnDeliver(std::function<void(QuilResponse*)> onDeliver) {
    std::lock_guard<std::mutex> lock(mutex_);
    onDeliver_ = std::move(onDeliver);
}

void QuilCallbackRecorder::Record(QuilResponse* response) {
    std::function<void(QuilResponse*)> onDeliver;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        onDeliver = onDeliver_;
    }
    if (onDeliver) onDeliver(response);
    Delivery delivery;
    delivery.thread = std::this_thread::get_id();
    if (response == nullptr) {
        delivery.isNull = true;
    } else {
        if (RetInfo* info = response->GetRetInfo()) {
            delivery.retCode = info->retCode;
            delivery.retMsg = info->retMsg;
            delivery.errorType = info->errorType;
        }
        delivery.statusCode = response->GetStatusCode();
        delivery.body = response->GetBody();
        delivery.request = response->GetRequest();
        if (delivery.request != nullptr) {
            delivery.id = response->GetRequest()->GetId();
        }
        delete response;
    }
    std::lock_guard<std::mutex> lock(mutex_);
    deliveries_.push_back(std::move(delivery));
    changed_.notify_all();
}

std::vector<Delivery> QuilCallbackRecorder::Deliveries() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return deliveries_;
}

std::size_t QuilCallbackRecorder::Count() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return deliveries_.size();
}

std::size_t QuilCallbackRecorder::CountFor(int id) const {
    std::lock_guard<std::mutex> lock(mutex_);
    std::size_t count = 0;
    for (const Delivery& delivery : deliveries_) {
        if (delivery.id == id) ++count;
    }
    return count;
}

bool QuilCallbackRecorder::WaitFor(std::size_t count, std::chrono::milliseconds limit) const {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, limit, [&] { return deliveries_.size() >= count; });
}

}  // namespace test
}  // namespace quil
