#include "RequestJournal.h"

namespace quil {

void RequestJournal::Add(ReceivedRequest request) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        request.sequence = nextSequence_++;
        requests_.push_back(std::move(request));
        while (requests_.size() > limit_) {
            requests_.pop_front();
        }
        ++count_;
    }
    added_.notify_all();
}

std::vector<ReceivedRequest> RequestJournal::All() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return std::vector<ReceivedRequest>(requests_.begin(), requests_.end());
}

std::size_t RequestJournal::Count() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return count_;
}

bool RequestJournal::WaitForCount(std::size_t count, std::chrono::milliseconds limit) const {
    std::unique_lock<std::mutex> lock(mutex_);
    return added_.wait_for(lock, limit, [&] { return count_ >= count; });
}

void RequestJournal::Clear() {
    std::lock_guard<std::mutex> lock(mutex_);
    requests_.clear();
    count_ = 0;
}

void RequestJournal::SetLimit(std::size_t limit) {
    std::lock_guard<std::mutex> lock(mutex_);
    limit_ = limit == 0 ? 1 : limit;
    while (requests_.size() > limit_) {
        requests_.pop_front();
    }
}

}  // namespace quil
