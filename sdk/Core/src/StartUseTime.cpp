#include "StartUseTime.h"

#include <string>
#include <utility>
#include <vector>

#include "Platform.h"
#include "QuilStatisticsSetRefs.h"
#include "StatisticsSlot.h"

namespace {

const char* const kStartUseTimePoint = "startUseTime";

quil::platform::OnceFlag g_startOnce;

}  // namespace

void StartUseTime::RunOnce(const std::function<void()>& start) {
    quil::platform::CallOnce(g_startOnce, [&start] {
        double begin = quil::platform::TimeMarkMilliseconds();
        if (start) start();
        double end = quil::platform::TimeMarkMilliseconds();
        Report(end - begin);
    });
}

void StartUseTime::Report(double timeUsed) {
    IQuilStatistics* sink = StatisticsSlot::GetStatistics();
    if (sink == nullptr) return;
    const std::vector<std::string> dimensionNames;
    const std::vector<std::string> measureNames{"timeUsed"};
    QuilDimensionSetRef dimensions(&dimensionNames);
    QuilMeasureSetRef measures(&measureNames);
    sink->RegisterPoint(StatisticsSlot::kModule, kStartUseTimePoint, dimensions, measures);

    // Each commit tests the slot on its own, as every other report does.
    sink = StatisticsSlot::GetStatistics();
    if (sink == nullptr) return;
    const QuilDimensionValueSetRef::Values dimensionValues;
    const QuilMeasureValueSetRef::Values measureValues{{"timeUsed", timeUsed}};
    QuilDimensionValueSetRef noDimensions(&dimensionValues);
    QuilMeasureValueSetRef timeUsedValue(&measureValues);
    sink->CommitPoint(StatisticsSlot::kModule, kStartUseTimePoint, noDimensions, timeUsedValue);
}
