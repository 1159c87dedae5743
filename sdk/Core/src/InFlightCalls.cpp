#include "InFlightCalls.h"

void InFlightCalls::Enter(HttpRequest* send, QuilRequestImpl* request) {
    std::lock_guard<std::recursive_mutex> lock(mutex);
    inFlight[send] = request;
}

QuilRequestImpl* InFlightCalls::Complete(HttpRequest* send, bool& abandoned) {
    std::lock_guard<std::recursive_mutex> lock(mutex);
    abandoned = false;
    auto entry = inFlight.find(send);
    if (entry != inFlight.end()) {
        QuilRequestImpl* request = entry->second;
        inFlight.erase(entry);
        return request;
    }
    abandoned = abandonedSends.erase(send) > 0;
    return nullptr;
}

std::size_t InFlightCalls::InFlightCount() const {
    std::lock_guard<std::recursive_mutex> lock(mutex);
    return inFlight.size();
}

bool InFlightCalls::IsInFlight(const HttpRequest* send) const {
    std::lock_guard<std::recursive_mutex> lock(mutex);
    return inFlight.count(const_cast<HttpRequest*>(send)) == 1;
}

std::size_t InFlightCalls::AbandonedCount() const {
    std::lock_guard<std::recursive_mutex> lock(mutex);
    return abandonedSends.size();
}
