// quil::StderrLog: quilcall's log sink for --log-level. Writes each SDK log line to standard
// error as "quilsdk LEVEL file:line function: message". Safe for concurrent calls (the SDK
// calls sinks from any thread, unserialised); the host owns it and keeps it alive.
#pragma once

#include <mutex>

#include "IQuilCustomLog.h"

namespace quil {

class StderrLog : public IQuilCustomLog {
public:
    void Log(QUIL_LOG_LEVEL level, const char* file, const char* function, int line,
             const char* message) override;

private:
    // Guards standard error, so that lines from several threads never interleave.
    std::mutex mutex_;
};

}  // namespace quil
