// The record of every request the gateway emulator received, for tests to inspect and wait
// on. Thread-safe: connection threads add, any thread reads.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <vector>

#include "ReceivedRequest.h"

namespace quil {

class RequestJournal {
public:
    // Keeps request (numbering it in order of arrival). When more than the limit are kept, the
    // oldest is dropped, so a long benchmark does not grow without end.
    void Add(ReceivedRequest request);

    std::vector<ReceivedRequest> All() const;
    // Requests added so far, dropped ones included; Clear starts again at 0.
    std::size_t Count() const;
    // Waits until Count() reaches count or limit passes; true when it was reached.
    bool WaitForCount(std::size_t count, std::chrono::milliseconds limit) const;
    void Clear();
    void SetLimit(std::size_t limit);

private:
    // Guards every field below; added_ is signalled under it.
    mutable std::mutex mutex_;
    mutable std::condition_variable added_;
    std::deque<ReceivedRequest> requests_;
    std::size_t count_ = 0;
    uint64_t nextSequence_ = 1;
    std::size_t limit_ = 100000;
};

}  // namespace quil
