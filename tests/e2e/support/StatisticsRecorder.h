// A host statistics sink for end-to-end tests: records every report the library makes, names and
// values in the order given, and lets a test wait for the performance report of a call.
// Thread-safe: the library reports from whichever thread ends a call. The test owns it and
// registers it with QuilConfig::RegisterUTStatistics; it must outlive every call.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "IQuilStatistics.h"

namespace quil {
namespace test {

// One call on the sink; fields the operation does not carry stay empty.
struct StatisticsEvent {
    std::string operation;  // "CommitCount", "CommitSuccess", "CommitFail", "RegisterPoint", ...
    std::string module;
    std::string point;
    std::string arg;
    double value = 0.0;
    std::string errorCode;
    std::string errorMsg;
    std::vector<std::string> dimensionNames;                      // RegisterPoint
    std::vector<std::string> measureNames;                        // RegisterPoint
    std::vector<std::pair<std::string, std::string>> dimensions;  // CommitPoint, in order
    std::vector<std::pair<std::string, double>> measures;         // CommitPoint, in order

    // The value of a dimension or measure by name; "" or -2.0 when the report has none.
    std::string Dimension(const std::string& name) const;
    double Measure(const std::string& name) const;
};

class StatisticsRecorder : public IQuilStatistics {
public:
    void CommitCount(const char* module, const char* point, const char* arg, double value) override;
    void CommitSuccess(const char* module, const char* point, const char* arg) override;
    void CommitFail(const char* module, const char* point, const char* arg, const char* errorCode,
                    const char* errorMsg) override;
    void RegisterPoint(const char* module, const char* point, const DimensionSet& dimensions,
                       const MeasureSet& measures) override;
    void CommitPoint(const char* module, const char* point,
                     const DimensionValueSet& dimensionValues,
                     const MeasureValueSet& measureValues) override;

    std::vector<StatisticsEvent> Events() const;
    // The events of one operation and point, in order.
    std::vector<StatisticsEvent> Events(const std::string& operation,
                                        const std::string& point) const;
    // Waits until count events of operation and point have come, or limit passes.
    bool WaitFor(const std::string& operation, const std::string& point, std::size_t count,
                 std::chrono::milliseconds limit) const;

private:
    void Record(StatisticsEvent event);
    std::size_t CountLocked(const std::string& operation, const std::string& point) const;

    // Guards events_.
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::vector<StatisticsEvent> events_;
};

}  // namespace test
}  // namespace quil
