#include "ClockWatch.h"

#include <cstdlib>
#include <cstring>

namespace quil {

namespace {

// The SDK's line for an answer that rejected the request's time.
const char kCorrectionPrefix[] = "response expired, local time calibrate";

}  // namespace

void ClockWatch::Log(QUIL_LOG_LEVEL level, const char* file, const char* function, int line,
                     const char* message) {
    if (message != nullptr &&
        std::strncmp(message, kCorrectionPrefix, sizeof(kCorrectionPrefix) - 1) == 0) {
        corrections_.fetch_add(1);
    }
    if (printer_ != nullptr && level >= printLevel_) {
        printer_->Log(level, file, function, line, message);
    }
}

std::string ClockSummary(int corrections, const PerformanceReport* report) {
    if (corrections <= 0) {
        return std::string();
    }
    std::string text = "clock: the gateway corrected the clock (" + std::to_string(corrections) +
                       (corrections == 1 ? " time" : " times") +
                       "); the call was retried after it\n";
    if (report != nullptr) {
        const std::string retries = report->Dimension("retryTime");
        if (!retries.empty()) {
            text += "passes: " + std::to_string(std::atoi(retries.c_str()) + 1) + "\n";
        }
    }
    return text;
}

}  // namespace quil
