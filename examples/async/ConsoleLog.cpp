#include "ConsoleLog.h"

#include <cstdio>

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

// The texts are the SDK's, valid only during the call; null is printed as empty.
const char* Text(const char* text) { return text != nullptr ? text : ""; }

}  // namespace

void ConsoleLog::Log(QUIL_LOG_LEVEL level, const char* file, const char* function, int line,
                     const char* message) {
    std::fprintf(stderr, "quilsdk %s %s:%d %s: %s\n", LevelName(level), Text(file), line,
                 Text(function), Text(message));
}
