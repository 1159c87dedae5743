#include "CallLedger.h"

namespace quil::soak {

CallLedger::CallLedger(std::size_t capacity)
    : capacity_(capacity), marks_(new std::atomic<uint8_t>[capacity]) {
    for (std::size_t i = 0; i < capacity_; ++i) marks_[i].store(0);
}

int64_t CallLedger::NewTag() {
    const int64_t tag = next_.fetch_add(1);
    if (tag >= static_cast<int64_t>(capacity_)) {
        next_.fetch_sub(1);
        return -1;
    }
    return tag;
}

void CallLedger::Refused(int64_t tag) { marks_[static_cast<std::size_t>(tag)].store(2); }

void CallLedger::Delivered(int64_t tag) {
    callbacks_.fetch_add(1);
    if (tag < 0 || tag >= next_.load()) {
        duplicates_.fetch_add(1);  // a tag never handed out: count it against the library
        return;
    }
    uint8_t open = 0;
    if (!marks_[static_cast<std::size_t>(tag)].compare_exchange_strong(open, 1)) {
        duplicates_.fetch_add(1);
    }
}

int64_t CallLedger::Undelivered() const {
    int64_t open = 0;
    const int64_t calls = next_.load();
    for (int64_t i = 0; i < calls; ++i) {
        if (marks_[static_cast<std::size_t>(i)].load() == 0) ++open;
    }
    return open;
}

int64_t CallLedger::Missing() const {
    const int64_t missing = Undelivered() - withdrawn_.load();
    return missing > 0 ? missing : 0;
}

int64_t CallLedger::Unexpected() const {
    const int64_t unexpected = withdrawn_.load() - Undelivered();
    return unexpected > 0 ? unexpected : 0;
}

}  // namespace quil::soak
