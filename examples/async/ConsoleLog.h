// ConsoleLog: the example host's log sink, an IQuilCustomLog that writes each line the SDK
// hands it to standard error as "quilsdk LEVEL file:line function: message".
//
// Ownership: the host makes one, registers it with QuilConfig::RegisterQuilLog and keeps it for
// the rest of the process. Threads: the SDK calls Log from any of its threads and the host's,
// concurrently and without serialising the calls; one fprintf per line keeps lines whole.
#pragma once

#include <QuilSDK.h>

class ConsoleLog : public IQuilCustomLog {
public:
    void Log(QUIL_LOG_LEVEL level, const char* file, const char* function, int line,
             const char* message) override;
};
