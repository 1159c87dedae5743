#include "StatisticsSlot.h"

#include <atomic>

namespace {

// Constant-initialised, so it exists before any static constructor runs and is never destroyed
// while a detached worker might still read it. An atomic because the slot is read without a lock
// while the host may set it from another thread.
std::atomic<IQuilStatistics*> g_statistics{nullptr};

}  // namespace

void StatisticsSlot::SetStatistics(IQuilStatistics* sink) { g_statistics.store(sink); }

IQuilStatistics* StatisticsSlot::GetStatistics() { return g_statistics.load(); }

void StatisticsSlot::CommitCount(const std::string& point, const std::string& arg, double value) {
    IQuilStatistics* sink = GetStatistics();
    if (sink == nullptr) return;
    sink->CommitCount(kModule, point.c_str(), arg.c_str(), value);
}

void StatisticsSlot::CommitSuccess(const std::string& point, const std::string& arg) {
    IQuilStatistics* sink = GetStatistics();
    if (sink == nullptr) return;
    sink->CommitSuccess(kModule, point.c_str(), arg.c_str());
}

void StatisticsSlot::CommitFail(const std::string& point, const std::string& arg,
                                const std::string& errorCode, const std::string& errorMsg) {
    IQuilStatistics* sink = GetStatistics();
    if (sink == nullptr) return;
    sink->CommitFail(kModule, point.c_str(), arg.c_str(), errorCode.c_str(), errorMsg.c_str());
}
