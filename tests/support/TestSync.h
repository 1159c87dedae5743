// Small synchronisation helpers for tests: a count-down latch, a gate that blocks until opened,
// and a bounded wait for a condition. Every wait has a limit, so a broken test fails instead
// of hanging. All members are thread-safe.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>

namespace quil {
namespace test {

// The default limit of every wait in the tests: generous, because sanitizers are slow.
constexpr std::chrono::seconds kWaitLimit{20};

// Counts down from a number; Wait returns once it reaches zero.
class Latch {
public:
    explicit Latch(int count) : count_(count) {}
    void CountDown();
    // True when the count reached zero within the limit.
    bool Wait(std::chrono::milliseconds limit = kWaitLimit);
    int Remaining() const;

private:
    mutable std::mutex mutex_;  // guards count_
    std::condition_variable condition_;
    int count_;
};

// Closed until Open is called; Pass blocks while it is closed.
class Gate {
public:
    void Open();
    // Blocks until the gate is open; false when the limit passed first.
    bool Pass(std::chrono::milliseconds limit = kWaitLimit);
    bool IsOpen() const;

private:
    mutable std::mutex mutex_;  // guards open_
    std::condition_variable condition_;
    bool open_ = false;
};

// Checks predicate until it holds or the limit passes (checking every millisecond); returns
// its last value. For state that offers no event to wait on, such as a worker count.
bool WaitUntil(const std::function<bool()>& predicate,
               std::chrono::milliseconds limit = kWaitLimit);

}  // namespace test
}  // namespace quil
