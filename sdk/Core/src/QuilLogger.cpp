#include "QuilLogger.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace {

// The logger's record, built once on first use. Both fields are atomics because the host may
// register a sink or change the level while other threads write.
struct LoggerRecord {
    std::atomic<IQuilCustomLog*> sink{nullptr};
    std::atomic<int> minimumLevel{0};
};

LoggerRecord& Record() {
    static LoggerRecord record;
    return record;
}

// Cut after either separator: a Windows build's paths use backslashes (sometimes mixed with
// slashes), every other platform's use slashes only.
const char* BaseName(const char* path) {
    if (path == nullptr) return "";
    const char* base = path;
    for (const char* p = path; *p != '\0'; ++p) {
        if (*p == '\\' || *p == '/') base = p + 1;
    }
    return base;
}

}  // namespace

void QuilLogger::SetSink(IQuilCustomLog* sink) { Record().sink.store(sink); }

IQuilCustomLog* QuilLogger::Sink() { return Record().sink.load(); }

void QuilLogger::SetMinimumLevel(int level) { Record().minimumLevel.store(level); }

int QuilLogger::MinimumLevel() { return Record().minimumLevel.load(); }

bool QuilLogger::IsEnabled(int level) {
    LoggerRecord& record = Record();
    return level >= record.minimumLevel.load() && record.sink.load() != nullptr;
}

void QuilLogger::Write(int level, const char* file, const char* function, int line,
                       const char* format, ...) {
    LoggerRecord& record = Record();
    if (level < record.minimumLevel.load()) return;
    IQuilCustomLog* sink = record.sink.load();
    if (sink == nullptr || format == nullptr) return;

    // Room for the cut text, "..." and the terminator.
    char buffer[kBufferSize + 3];
    va_list args;
    va_start(args, format);
    int needed = std::vsnprintf(buffer, kBufferSize, format, args);
    va_end(args);
    if (needed < 0) {
        buffer[0] = '\0';
    } else if (needed >= kBufferSize) {
        std::memcpy(buffer + kBufferSize - 1, "...", 4);
    }
    sink->Log(static_cast<QUIL_LOG_LEVEL>(level), BaseName(file), function ? function : "", line,
              buffer);
}
