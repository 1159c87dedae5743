#include "SoakTransport.h"

#include <iterator>

namespace quil::soak {

HttpResponse* SoakTransport::SendHttpRequest(HttpRequest* request) {
    // The request may be gone once the exchange returns; keep its id.
    const int id = request != nullptr ? request->requestId : -1;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        onNetwork_.insert(id);
        ++exchanges_;
    }
    HttpResponse* response = curl_.SendHttpRequest(request);
    {
        std::lock_guard<std::mutex> lock(mutex_);
        onNetwork_.erase(onNetwork_.find(id));
    }
    return response;
}

int SoakTransport::AnyOnNetwork(std::mt19937_64& random) const {
    std::lock_guard<std::mutex> lock(mutex_);
    if (onNetwork_.empty()) return -1;
    auto it = onNetwork_.begin();
    std::advance(it, static_cast<long>(random() % onNetwork_.size()));
    return *it;
}

std::size_t SoakTransport::OnNetwork() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return onNetwork_.size();
}

uint64_t SoakTransport::Exchanges() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return exchanges_;
}

}  // namespace quil::soak
