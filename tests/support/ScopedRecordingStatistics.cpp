#include "RecordingStatistics.h"
#include "StatisticsSlot.h"

namespace quil {
namespace test {

ScopedRecordingStatistics::ScopedRecordingStatistics() {
    StatisticsSlot::SetStatistics(&statistics_);
}

ScopedRecordingStatistics::~ScopedRecordingStatistics() { StatisticsSlot::SetStatistics(nullptr); }

}  // namespace test
}  // namespace quil
