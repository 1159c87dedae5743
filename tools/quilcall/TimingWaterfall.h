// quil::TimingPhases and quil::DrawWaterfall: the phases of one call's "performance" report
// (filters, sign, compose, network, parse) and their drawing as a text waterfall scaled to a
// terminal width. Pure functions, plus TerminalWidth which asks the environment.
#pragma once

#include <string>
#include <vector>

#include "PerformanceCapture.h"

namespace quil {

struct TimingPhase {
    std::string name;
    bool reached = false;  // both marks were written (a mark never reached reports -1)
    double startMs = 0.0;  // from the call's start ("processStartTime")
    double durationMs = 0.0;
};

// The phases in call order, then "total". Marks are whole milliseconds, so a phase that took
// less than one shows 0.
std::vector<TimingPhase> TimingPhases(const PerformanceReport& report);

// The waterfall, one line per phase, each line at most width characters (at least 40 are
// used whatever width says), ending with a line feed.
std::string DrawWaterfall(const PerformanceReport& report, int width);

// COLUMNS when it is a positive number, else the width of the terminal on descriptor fd (where
// the answer goes), else 80.
int TerminalWidth(int fd);

}  // namespace quil
