#include "RecordingStatistics.h"

namespace quil {
namespace test {

namespace {

std::string Text(const char* text, bool* anyNull) {
    if (text == nullptr) {
        *anyNull = true;
        return std::string();
    }
    return std::string(text);
}

StatisticsCall Start(const char* operation, const char* module, const char* point) {
    StatisticsCall call;
    call.operation = operation;
    call.module = Text(module, &call.anyNullText);
    call.point = Text(point, &call.anyNullText);
    return call;
}

}  // namespace

void RecordingStatistics::CommitCount(const char* module, const char* point, const char* arg,
                                      double value) {
    StatisticsCall call = Start("CommitCount", module, point);
    call.arg = Text(arg, &call.anyNullText);
    call.value = value;
    Record(std::move(call));
}

void RecordingStatistics::CommitSuccess(const char* module, const char* point, const char* arg) {
    StatisticsCall call = Start("CommitSuccess", module, point);
    call.arg = Text(arg, &call.anyNullText);
    Record(std::move(call));
}

void RecordingStatistics::CommitFail(const char* module, const char* point, const char* arg,
                                     const char* errorCode, const char* errorMsg) {
    StatisticsCall call = Start("CommitFail", module, point);
    call.arg = Text(arg, &call.anyNullText);
    call.errorCode = Text(errorCode, &call.anyNullText);
    call.errorMsg = Text(errorMsg, &call.anyNullText);
    Record(std::move(call));
}

void RecordingStatistics::RegisterPoint(const char* module, const char* point,
                                        const DimensionSet& dimensions,
                                        const MeasureSet& measures) {
    StatisticsCall call = Start("RegisterPoint", module, point);
    for (int i = 0; i < dimensions.Count(); ++i) {
        call.dimensionNames.push_back(Text(dimensions.GetName(i), &call.anyNullText));
    }
    for (int i = 0; i < measures.Count(); ++i) {
        call.measureNames.push_back(Text(measures.GetName(i), &call.anyNullText));
    }
    Record(std::move(call));
}

void RecordingStatistics::CommitPoint(const char* module, const char* point,
                                      const DimensionValueSet& dimensionValues,
                                      const MeasureValueSet& measureValues) {
    StatisticsCall call = Start("CommitPoint", module, point);
    for (int i = 0; i < dimensionValues.Count(); ++i) {
        std::string name = Text(dimensionValues.GetName(i), &call.anyNullText);
        std::string value = Text(dimensionValues.GetValue(i), &call.anyNullText);
        call.dimensionNames.push_back(name);
        call.dimensionValues.emplace_back(name, value);
        call.dimensions[name] = value;
    }
    for (int i = 0; i < measureValues.Count(); ++i) {
        std::string name = Text(measureValues.GetName(i), &call.anyNullText);
        double value = measureValues.GetValue(i);
        call.measureNames.push_back(name);
        call.measureValues.emplace_back(name, value);
        call.measures[name] = value;
    }
    Record(std::move(call));
}

void RecordingStatistics::Record(StatisticsCall call) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        calls_.push_back(std::move(call));
    }
    changed_.notify_all();
}

bool RecordingStatistics::WaitFor(const std::string& operation, const std::string& point,
                                  std::size_t count, std::chrono::milliseconds limit) const {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, limit, [&] {
        std::size_t seen = 0;
        for (const StatisticsCall& call : calls_) {
            if (call.operation == operation && call.point == point) ++seen;
        }
        return seen >= count;
    });
}

std::string StatisticsCall::Dimension(const std::string& name) const {
    auto found = dimensions.find(name);
    return found == dimensions.end() ? std::string() : found->second;
}

double StatisticsCall::Measure(const std::string& name) const {
    auto found = measures.find(name);
    return found == measures.end() ? -2.0 : found->second;
}

std::vector<StatisticsCall> RecordingStatistics::Calls() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return calls_;
}

std::vector<StatisticsCall> RecordingStatistics::Calls(const std::string& operation,
                                                       const std::string& point) const {
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<StatisticsCall> matching;
    for (const StatisticsCall& call : calls_) {
        if (call.operation == operation && (point.empty() || call.point == point)) {
            matching.push_back(call);
        }
    }
    return matching;
}

std::size_t RecordingStatistics::Count() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return calls_.size();
}

std::size_t RecordingStatistics::CountOf(const std::string& operation,
                                         const std::string& point) const {
    return Calls(operation, point).size();
}

void RecordingStatistics::Clear() {
    std::lock_guard<std::mutex> lock(mutex_);
    calls_.clear();
}

std::vector<StatisticsCall> RecordingStatistics::PerformanceReports() const {
    return Calls("CommitPoint", "performance");
}

StatisticsCall RecordingStatistics::LastPerformanceReport() const {
    std::vector<StatisticsCall> reports = PerformanceReports();
    if (reports.empty()) return StatisticsCall();
    return reports.back();
}

}  // namespace test
}  // namespace quil
