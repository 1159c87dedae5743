// The process-wide logger: one host sink (IQuilCustomLog*, not owned) and a minimum level.
// Any thread may write and any thread may change the sink or the level; writes are not
// serialised, so the host's sink is called concurrently.
#pragma once

#include "IQuilCustomLog.h"
#include "Platform.h"

class QuilLogger {
public:
    // Replaces the sink; null removes it. The host keeps ownership of the sink.
    static void SetSink(IQuilCustomLog* sink);
    static IQuilCustomLog* Sink();

    // Writes below this level are dropped. Starts at 0.
    static void SetMinimumLevel(int level);
    static int MinimumLevel();

    // True when a write at level would reach a sink.
    static bool IsEnabled(int level);

    // Formats and hands one line to the sink. Does nothing, and formats nothing, when the level
    // is below the minimum or no sink is set. A text of 4096 bytes or more is cut to its first
    // 4095 bytes followed by "...". file is cut to the part after its last separator.
    static void Write(int level, const char* file, const char* function, int line,
                      const char* format, ...) QUIL_PRINTF_FORMAT(5, 6);

    // The size of the formatting buffer, terminator included.
    static constexpr int kBufferSize = 4096;
};

// One log line from the current function: QUIL_LOG(QUIL_LOG_INFO, "sent %s", url). A line
// nobody receives costs the level check alone: its arguments are not even evaluated, and the
// variadic call is not made (a call passes through here about twenty times).
#define QUIL_LOG(level, ...)                                                       \
    do {                                                                           \
        if (QuilLogger::IsEnabled(level))                                          \
            QuilLogger::Write((level), __FILE__, __func__, __LINE__, __VA_ARGS__); \
    } while (0)

// One log line that names its function explicitly, for lines the gateway team reads by the
// name of the operation rather than the helper that writes them.
#define QUIL_LOG_AS(function, level, ...)                                            \
    do {                                                                             \
        if (QuilLogger::IsEnabled(level))                                            \
            QuilLogger::Write((level), __FILE__, (function), __LINE__, __VA_ARGS__); \
    } while (0)
