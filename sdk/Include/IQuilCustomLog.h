// The host's log sink. The host owns the sink and registers it with QuilConfig::RegisterQuilLog;
// the library never deletes it. Log may be called from any thread, concurrently.
#pragma once

enum QUIL_LOG_LEVEL {
    QUIL_LOG_VERBOSE = 0,  // content dumps and filter entry
    QUIL_LOG_INFO = 1,     // normal flow
    QUIL_LOG_WARN = 2,     // recoverable turns
    QUIL_LOG_ERROR = 3,    // failures
    QUIL_LOG_FATAL = 4     // a missing signing object
};

class IQuilCustomLog {
public:
    // file is the bare file name (no folders), function the plain function name, message the
    // formatted text (at most 4095 bytes, then "..." when it was cut). All pointers are valid
    // only for the duration of the call.
    virtual void Log(QUIL_LOG_LEVEL level, const char* file, const char* function, int line,
                     const char* message) = 0;

    virtual ~IQuilCustomLog() = default;
};
