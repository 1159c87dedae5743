// quil::PerformanceCapture: quilcall's statistics sink. It keeps the last "performance" report
// (one per call), which --timing draws and --json prints. The host (quilcall's main) owns it
// and never frees it while the SDK may report; reports may arrive on any thread.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "IQuilStatistics.h"

namespace quil {

// One "performance" report, copied out of the sink's call.
struct PerformanceReport {
    std::vector<std::pair<std::string, std::string>> dimensions;
    std::vector<std::pair<std::string, double>> measures;

    // The measure of that name, or -1 (the report's "never reached") when there is none.
    double Measure(const std::string& name) const;
    // The dimension of that name, or "" when there is none.
    std::string Dimension(const std::string& name) const;
};

class PerformanceCapture : public IQuilStatistics {
public:
    // Waits up to limit for a "performance" report; true and a copy in *report when one came.
    bool WaitForReport(std::chrono::milliseconds limit, PerformanceReport* report);
    // Forgets the report kept so far, before the next call of a run.
    void Forget();

    void CommitCount(const char* module, const char* point, const char* arg, double value) override;
    void CommitSuccess(const char* module, const char* point, const char* arg) override;
    void CommitFail(const char* module, const char* point, const char* arg, const char* errorCode,
                    const char* errorMsg) override;
    void RegisterPoint(const char* module, const char* point, const DimensionSet& dimensions,
                       const MeasureSet& measures) override;
    void CommitPoint(const char* module, const char* point,
                     const DimensionValueSet& dimensionValues,
                     const MeasureValueSet& measureValues) override;

private:
    // Guards report_ and hasReport_; reports come from the SDK's threads.
    std::mutex mutex_;
    std::condition_variable arrived_;
    PerformanceReport report_;
    bool hasReport_ = false;
};

}  // namespace quil
