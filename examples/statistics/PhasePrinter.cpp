#include "PhasePrinter.h"

#include <cstring>
#include <string>

namespace {

// Each phase of a call by the names of its two time marks in the "performance" report.
struct Phase {
    const char* name;
    const char* start;
    const char* end;
};

const Phase kPhases[] = {
    {"before filters", "beforeFilterStartTime", "beforeFilterEndTime"},
    {"sign", "signStartTime", "signEndTime"},
    {"compose", "composeRequestStartTime", "composeRequestEndTime"},
    {"network", "networkSendStartTime", "networkSendEndTime"},
    {"parse", "parseResponseStartTime", "parseResponseEndTime"},
    {"after filters", "afterFilterStartTime", "afterFilterEndTime"},
    {"total", "processStartTime", "processEndTime"},
};

// The texts and numbers of a report are valid only during the call that hands them over, so
// they are looked up there and then.
bool FindMeasure(const IQuilStatistics::MeasureValueSet& values, const char* name, double* value) {
    for (int i = 0; i < values.Count(); ++i) {
        if (std::strcmp(values.GetName(i), name) == 0) {
            *value = values.GetValue(i);
            return true;
        }
    }
    return false;
}

std::string FindDimension(const IQuilStatistics::DimensionValueSet& values, const char* name) {
    for (int i = 0; i < values.Count(); ++i) {
        if (std::strcmp(values.GetName(i), name) == 0) {
            return values.GetValue(i);
        }
    }
    return std::string();
}

}  // namespace

void PhasePrinter::CommitCount(const char*, const char*, const char*, double) {}

void PhasePrinter::CommitSuccess(const char*, const char*, const char*) {}

void PhasePrinter::CommitFail(const char*, const char*, const char*, const char*, const char*) {}

void PhasePrinter::RegisterPoint(const char*, const char*, const DimensionSet&, const MeasureSet&) {
}

void PhasePrinter::CommitPoint(const char*, const char* point,
                               const DimensionValueSet& dimensionValues,
                               const MeasureValueSet& measureValues) {
    if (point == nullptr || std::strcmp(point, "performance") != 0) {
        return;
    }
    std::string text = "phases of " + FindDimension(dimensionValues, "api") + " " +
                       FindDimension(dimensionValues, "version") + " (HTTP " +
                       FindDimension(dimensionValues, "httpStatusCode") + "):\n";
    for (const Phase& phase : kPhases) {
        double start = 0.0;
        double end = 0.0;
        char line[96];
        // A phase the call never reached (a call stopped by a filter has no network phase)
        // carries no time marks.
        if (FindMeasure(measureValues, phase.start, &start) &&
            FindMeasure(measureValues, phase.end, &end) && start > 0.0 && end >= start) {
            std::snprintf(line, sizeof line, "  %-14s %9.3f ms\n", phase.name, end - start);
        } else {
            std::snprintf(line, sizeof line, "  %-14s not reached\n", phase.name);
        }
        text += line;
    }
    std::lock_guard<std::mutex> lock(mutex_);
    std::fputs(text.c_str(), out_);
    std::fflush(out_);
}
