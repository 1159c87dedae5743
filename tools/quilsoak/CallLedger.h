// CallLedger: the soak's account of asynchronous calls. Each call gets a tag (its index) before
// it is sent; a callback marks its tag, a withdrawal that the library confirms is counted. At
// the end, missing = calls that should have had a callback and had none, duplicate = callbacks
// beyond the first for one tag. Capacity is fixed and touched up front, so the ledger itself
// does not grow the resident memory that the soak measures. Any thread may call.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace quil::soak {

class CallLedger {
public:
    explicit CallLedger(std::size_t capacity);

    // A new tag, or -1 when the ledger is full (the caller then makes no more calls).
    int64_t NewTag();
    // The library refused the call (SendAsyncRequest gave a negative code): no callback is due.
    void Refused(int64_t tag);
    // A callback came for tag.
    void Delivered(int64_t tag);
    // A cancel withdrew one call (its callback will not come).
    void Withdrawn() { withdrawn_.fetch_add(1); }

    int64_t Calls() const { return next_.load(); }
    int64_t Callbacks() const { return callbacks_.load(); }
    int64_t WithdrawnCount() const { return withdrawn_.load(); }
    // Tags still without a callback, less the withdrawn ones.
    int64_t Missing() const;
    int64_t Duplicates() const { return duplicates_.load(); }
    // Callbacks that came although every open call was withdrawn (a withdrawn call answered).
    int64_t Unexpected() const;

private:
    int64_t Undelivered() const;

    const std::size_t capacity_;
    std::unique_ptr<std::atomic<uint8_t>[]> marks_;  // 0 open, 1 delivered, 2 refused
    std::atomic<int64_t> next_{0};
    std::atomic<int64_t> callbacks_{0};
    std::atomic<int64_t> withdrawn_{0};
    std::atomic<int64_t> duplicates_{0};
};

}  // namespace quil::soak
