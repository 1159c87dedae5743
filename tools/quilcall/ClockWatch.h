// quil::ClockWatch: quilcall's log sink. It counts the SDK's lines that say the gateway
// rejected the call's time and the clock was corrected, so that the summary can say the call
// was retried for it, and hands every line at or above the level the user asked for on to the
// printing sink (none without --log-level). Safe for concurrent calls; main owns it and keeps
// it alive for the process.
#pragma once

#include <atomic>
#include <string>

#include "IQuilCustomLog.h"
#include "PerformanceCapture.h"

namespace quil {

class ClockWatch : public IQuilCustomLog {
public:
    // The level at which the SDK must write for the watch to see a correction.
    static constexpr int kWatchLevel = QUIL_LOG_WARN;

    // printer may be null (nothing is printed); it is not owned. Lines below printLevel are
    // not passed on.
    ClockWatch(IQuilCustomLog* printer, int printLevel)
        : printer_(printer), printLevel_(printLevel) {}

    void Log(QUIL_LOG_LEVEL level, const char* file, const char* function, int line,
             const char* message) override;

    // How many times the gateway corrected the clock since the last BeginCall.
    int Corrections() const { return corrections_.load(); }
    // Starts counting for the next call (quilcall's --repeat makes several).
    void BeginCall() { corrections_.store(0); }

private:
    IQuilCustomLog* const printer_;
    const int printLevel_;
    std::atomic<int> corrections_{0};
};

// The summary lines of a call during which the gateway corrected the clock corrections times:
// that the call was retried after it, and with a report how many passes the call took. Empty
// when there was no correction.
std::string ClockSummary(int corrections, const PerformanceReport* report);

}  // namespace quil
