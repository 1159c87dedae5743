#include "StderrLog.h"

#include <cstdio>

namespace quil {

namespace {

const char* LevelName(QUIL_LOG_LEVEL level) {
    switch (level) {
        case QUIL_LOG_VERBOSE:
            return "VERBOSE";
        case QUIL_LOG_INFO:
            return "INFO";
        case QUIL_LOG_WARN:
            return "WARN";
        case QUIL_LOG_ERROR:
            return "ERROR";
        case QUIL_LOG_FATAL:
            return "FATAL";
    }
    return "?";
}

const char* OrEmpty(const char* text) { return text == nullptr ? "" : text; }

}  // namespace

void StderrLog::Log(QUIL_LOG_LEVEL level, const char* file, const char* function, int line,
                    const char* message) {
    std::lock_guard<std::mutex> lock(mutex_);
    std::fprintf(stderr, "quilsdk %s %s:%d %s: %s\n", LevelName(level), OrEmpty(file), line,
                 OrEmpty(function), OrEmpty(message));
    std::fflush(stderr);
}

}  // namespace quil
