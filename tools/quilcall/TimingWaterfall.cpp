#include "TimingWaterfall.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#if !defined(_WIN32)
#include <sys/ioctl.h>
#endif

namespace quil {

namespace {

struct PhaseMarks {
    const char* name;
    const char* start;
    const char* end;
};

// Call order on both roads: filters, then signing, composition, the exchange, assembly and
// the after filters.
const PhaseMarks kPhases[] = {
    {"before filters", "beforeFilterStartTime", "beforeFilterEndTime"},
    {"sign", "signStartTime", "signEndTime"},
    {"compose", "composeRequestStartTime", "composeRequestEndTime"},
    {"network", "networkSendStartTime", "networkSendEndTime"},
    {"parse", "parseResponseStartTime", "parseResponseEndTime"},
    {"after filters", "afterFilterStartTime", "afterFilterEndTime"},
    {"total", "processStartTime", "processEndTime"},
};

constexpr int kLabelWidth = 15;
constexpr int kMinimumWidth = 40;

std::string FormatMs(double ms) {
    char text[32];
    std::snprintf(text, sizeof(text), "%.0f ms", ms);
    return text;
}

}  // namespace

std::vector<TimingPhase> TimingPhases(const PerformanceReport& report) {
    const double origin = report.Measure("processStartTime");
    std::vector<TimingPhase> phases;
    for (const PhaseMarks& marks : kPhases) {
        TimingPhase phase;
        phase.name = marks.name;
        const double start = report.Measure(marks.start);
        const double end = report.Measure(marks.end);
        phase.reached = origin >= 0.0 && start >= 0.0 && end >= start;
        if (phase.reached) {
            phase.startMs = start - origin;
            phase.durationMs = end - start;
        }
        phases.push_back(phase);
    }
    return phases;
}

std::string DrawWaterfall(const PerformanceReport& report, int width) {
    width = std::max(width, kMinimumWidth);
    const std::vector<TimingPhase> phases = TimingPhases(report);
    double span = 0.0;
    for (const TimingPhase& phase : phases) {
        if (phase.reached) {
            span = std::max(span, phase.startMs + phase.durationMs);
        }
    }
    // Label, "|", bar, "|", a blank and the milliseconds right-aligned in 9 columns.
    const int barWidth = width - kLabelWidth - 2 - 10;
    char scale[64];
    std::snprintf(scale, sizeof(scale), "%.2f ms", span / barWidth);
    std::string out = "timing: " + FormatMs(span) + ", " + scale + " a column\n";
    for (const TimingPhase& phase : phases) {
        std::string line = phase.name;
        line.resize(kLabelWidth, ' ');
        line += '|';
        std::string bar(barWidth, ' ');
        std::string figure;
        if (!phase.reached) {
            const std::string note = "not reached";
            bar.replace(0, note.size(), note);
            figure = "-";
        } else {
            int first = 0;
            int last = 0;
            if (span > 0.0) {
                first = static_cast<int>(std::floor(phase.startMs / span * barWidth));
                last = static_cast<int>(
                    std::ceil((phase.startMs + phase.durationMs) / span * barWidth));
            }
            first = std::min(std::max(first, 0), barWidth - 1);
            last = std::min(std::max(last, first + 1), barWidth);
            bar.replace(first, last - first, std::string(last - first, '#'));
            figure = FormatMs(phase.durationMs);
        }
        line += bar;
        line += '|';
        std::string right(10, ' ');
        if (figure.size() < right.size()) {
            right.replace(right.size() - figure.size(), figure.size(), figure);
        } else {
            right = " " + figure;
        }
        line += right;
        out += line + "\n";
    }
    return out;
}

int TerminalWidth(int fd) {
    if (const char* columns = std::getenv("COLUMNS")) {
        char* end = nullptr;
        const long value = std::strtol(columns, &end, 10);
        if (end != columns && *end == '\0' && value > 0 && value < 10000) {
            return static_cast<int>(value);
        }
    }
#if !defined(_WIN32)
    struct winsize size {};
    if (ioctl(fd, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
        return size.ws_col;
    }
#else
    (void)fd;
#endif
    return 80;
}

}  // namespace quil
