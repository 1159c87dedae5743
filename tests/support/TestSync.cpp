#include "TestSync.h"

#include <thread>

namespace quil {
namespace test {

void Latch::CountDown() {
    std::lock_guard<std::mutex> lock(mutex_);
    if (count_ > 0 && --count_ == 0) condition_.notify_all();
}

bool Latch::Wait(std::chrono::milliseconds limit) {
    std::unique_lock<std::mutex> lock(mutex_);
    return condition_.wait_for(lock, limit, [this] { return count_ == 0; });
}

int Latch::Remaining() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return count_;
}

void Gate::Open() {
    std::lock_guard<std::mutex> lock(mutex_);
    open_ = true;
    condition_.notify_all();
}

bool Gate::Pass(std::chrono::milliseconds limit) {
    std::unique_lock<std::mutex> lock(mutex_);
    return condition_.wait_for(lock, limit, [this] { return open_; });
}

bool Gate::IsOpen() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return open_;
}

bool WaitUntil(const std::function<bool()>& predicate, std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!predicate()) {
        if (std::chrono::steady_clock::now() >= deadline) return predicate();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace test
}  // namespace quil
