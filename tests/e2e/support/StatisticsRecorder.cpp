#include "StatisticsRecorder.h"

namespace quil {
namespace test {

namespace {

// The library promises texts, but a sink must survive a null one.
std::string Text(const char* text) { return text != nullptr ? std::string(text) : std::string(); }

}  // namespace

std::string StatisticsEvent::Dimension(const std::string& name) const {
    for (const auto& entry : dimensions) {
        if (entry.first == name) {
            return entry.second;
        }
    }
    return std::string();
}

double StatisticsEvent::Measure(const std::string& name) const {
    for (const auto& entry : measures) {
        if (entry.first == name) {
            return entry.second;
        }
    }
    return -2.0;
}

void StatisticsRecorder::CommitCount(const char* module, const char* point, const char* arg,
                                     double value) {
    StatisticsEvent event;
    event.operation = "CommitCount";
    event.module = Text(module);
    event.point = Text(point);
    event.arg = Text(arg);
    event.value = value;
    Record(std::move(event));
}

void StatisticsRecorder::CommitSuccess(const char* module, const char* point, const char* arg) {
    StatisticsEvent event;
    event.operation = "CommitSuccess";
    event.module = Text(module);
    event.point = Text(point);
    event.arg = Text(arg);
    Record(std::move(event));
}

void StatisticsRecorder::CommitFail(const char* module, const char* point, const char* arg,
                                    const char* errorCode, const char* errorMsg) {
    StatisticsEvent event;
    event.operation = "CommitFail";
    event.module = Text(module);
    event.point = Text(point);
    event.arg = Text(arg);
    event.errorCode = Text(errorCode);
    event.errorMsg = Text(errorMsg);
    Record(std::move(event));
}

void StatisticsRecorder::RegisterPoint(const char* module, const char* point,
                                       const DimensionSet& dimensions, const MeasureSet& measures) {
    StatisticsEvent event;
    event.operation = "RegisterPoint";
    event.module = Text(module);
    event.point = Text(point);
    for (int i = 0; i < dimensions.Count(); ++i) {
        event.dimensionNames.push_back(Text(dimensions.GetName(i)));
    }
    for (int i = 0; i < measures.Count(); ++i) {
        event.measureNames.push_back(Text(measures.GetName(i)));
    }
    Record(std::move(event));
}

void StatisticsRecorder::CommitPoint(const char* module, const char* point,
                                     const DimensionValueSet& dimensionValues,
                                     const MeasureValueSet& measureValues) {
    StatisticsEvent event;
    event.operation = "CommitPoint";
    event.module = Text(module);
    event.point = Text(point);
    for (int i = 0; i < dimensionValues.Count(); ++i) {
        event.dimensions.emplace_back(Text(dimensionValues.GetName(i)),
                                      Text(dimensionValues.GetValue(i)));
    }
    for (int i = 0; i < measureValues.Count(); ++i) {
        event.measures.emplace_back(Text(measureValues.GetName(i)), measureValues.GetValue(i));
    }
    Record(std::move(event));
}

std::vector<StatisticsEvent> StatisticsRecorder::Events() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return events_;
}

std::vector<StatisticsEvent> StatisticsRecorder::Events(const std::string& operation,
                                                        const std::string& point) const {
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<StatisticsEvent> matching;
    for (const StatisticsEvent& event : events_) {
        if (event.operation == operation && event.point == point) {
            matching.push_back(event);
        }
    }
    return matching;
}

bool StatisticsRecorder::WaitFor(const std::string& operation, const std::string& point,
                                 std::size_t count, std::chrono::milliseconds limit) const {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, limit, [&] { return CountLocked(operation, point) >= count; });
}

void StatisticsRecorder::Record(StatisticsEvent event) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        events_.push_back(std::move(event));
    }
    changed_.notify_all();
}

std::size_t StatisticsRecorder::CountLocked(const std::string& operation,
                                            const std::string& point) const {
    std::size_t count = 0;
    for (const StatisticsEvent& event : events_) {
        if (event.operation == operation && event.point == point) {
            ++count;
        }
    }
    return count;
}

}  // namespace test
}  // namespace quil
