// A host statistics sink that records every call with its arguments, for tests. Thread-safe: the
// library calls it from any thread. ScopedRecordingStatistics registers one in the statistics
// slot for the lifetime of a test.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "IQuilStatistics.h"

namespace quil {
namespace test {

// One call on the sink. operation is the name of the sink operation ("CommitCount",
// "CommitSuccess", "CommitFail", "RegisterPoint", "CommitPoint"); fields that the operation does
// not carry stay empty. A null text arrives as "" and sets the matching null flag.
struct StatisticsCall {
    std::string operation;
    std::string module;
    std::string point;
    std::string arg;
    double value = 0.0;
    std::string errorCode;
    std::string errorMsg;
    bool anyNullText = false;

    // RegisterPoint: the names as registered. CommitPoint: the names of the values, in order.
    std::vector<std::string> dimensionNames;
    std::vector<std::string> measureNames;
    // CommitPoint: the values in the order given.
    std::vector<std::pair<std::string, std::string>> dimensionValues;
    std::vector<std::pair<std::string, double>> measureValues;
    // CommitPoint: the same values by name.
    std::map<std::string, std::string> dimensions;
    std::map<std::string, double> measures;

    // A CommitPoint's value by name: "" or -2.0 (a value no report carries) when it has none.
    std::string Dimension(const std::string& name) const;
    double Measure(const std::string& name) const;
};

class RecordingStatistics : public IQuilStatistics {
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

    // Every call so far, in order.
    std::vector<StatisticsCall> Calls() const;
    // The calls of one operation, optionally only those of one point ("" for any point).
    std::vector<StatisticsCall> Calls(const std::string& operation,
                                      const std::string& point = "") const;
    std::size_t Count() const;
    std::size_t CountOf(const std::string& operation, const std::string& point = "") const;
    void Clear();

    // The "performance" reports (CommitPoint calls of that point), in order.
    std::vector<StatisticsCall> PerformanceReports() const;
    // The last "performance" report; a default StatisticsCall when there is none.
    StatisticsCall LastPerformanceReport() const;

    // Waits until count calls of operation and point have come, or limit passes.
    bool WaitFor(const std::string& operation, const std::string& point, std::size_t count,
                 std::chrono::milliseconds limit) const;

private:
    void Record(StatisticsCall call);

    mutable std::mutex mutex_;  // guards calls_
    mutable std::condition_variable changed_;
    std::vector<StatisticsCall> calls_;
};

// Registers a RecordingStatistics in the statistics slot for the lifetime of a test, and empties
// the slot again on destruction. For unit tests only (defined beside the static twin's users, in
// ScopedRecordingStatistics.cpp).
class ScopedRecordingStatistics {
public:
    ScopedRecordingStatistics();
    ~ScopedRecordingStatistics();
    ScopedRecordingStatistics(const ScopedRecordingStatistics&) = delete;
    ScopedRecordingStatistics& operator=(const ScopedRecordingStatistics&) = delete;

    RecordingStatistics& statistics() { return statistics_; }
    RecordingStatistics* operator->() { return &statistics_; }

private:
    RecordingStatistics statistics_;
};

}  // namespace test
}  // namespace quil
