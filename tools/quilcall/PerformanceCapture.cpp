#include "PerformanceCapture.h"

#include <cstring>

namespace quil {

namespace {

std::string TextOf(const char* text) { return text == nullptr ? std::string() : text; }

}  // namespace

double PerformanceReport::Measure(const std::string& name) const {
    for (const auto& measure : measures) {
        if (measure.first == name) {
            return measure.second;
        }
    }
    return -1.0;
}

std::string PerformanceReport::Dimension(const std::string& name) const {
    for (const auto& dimension : dimensions) {
        if (dimension.first == name) {
            return dimension.second;
        }
    }
    return std::string();
}

void PerformanceCapture::Forget() {
    std::lock_guard<std::mutex> lock(mutex_);
    report_ = PerformanceReport();
    hasReport_ = false;
}

bool PerformanceCapture::WaitForReport(std::chrono::milliseconds limit, PerformanceReport* report) {
    std::unique_lock<std::mutex> lock(mutex_);
    if (!arrived_.wait_for(lock, limit, [this] { return hasReport_; })) {
        return false;
    }
    *report = report_;
    return true;
}

void PerformanceCapture::CommitCount(const char*, const char*, const char*, double) {}

void PerformanceCapture::CommitSuccess(const char*, const char*, const char*) {}

void PerformanceCapture::CommitFail(const char*, const char*, const char*, const char*,
                                    const char*) {}

void PerformanceCapture::RegisterPoint(const char*, const char*, const DimensionSet&,
                                       const MeasureSet&) {}

void PerformanceCapture::CommitPoint(const char*, const char* point,
                                     const DimensionValueSet& dimensionValues,
                                     const MeasureValueSet& measureValues) {
    if (point == nullptr || std::strcmp(point, "performance") != 0) {
        return;
    }
    // Copy now: the sets live on the reporting thread's stack only for this call.
    PerformanceReport report;
    for (int i = 0; i < dimensionValues.Count(); ++i) {
        report.dimensions.emplace_back(TextOf(dimensionValues.GetName(i)),
                                       TextOf(dimensionValues.GetValue(i)));
    }
    for (int i = 0; i < measureValues.Count(); ++i) {
        report.measures.emplace_back(TextOf(measureValues.GetName(i)), measureValues.GetValue(i));
    }
    {
        std::lock_guard<std::mutex> lock(mutex_);
        report_ = report;
        hasReport_ = true;
    }
    arrived_.notify_all();
}

}  // namespace quil
