// A host log sink that records every line, for tests. Thread-safe. Public headers only, so
// that the end-to-end tests share it.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "IQuilCustomLog.h"

namespace quil {
namespace test {

struct LogLine {
    int level = 0;
    std::string file;
    std::string function;
    int line = 0;
    std::string message;
};

class RecordingLog : public IQuilCustomLog {
public:
    void Log(QUIL_LOG_LEVEL level, const char* file, const char* function, int line,
             const char* message) override;

    std::vector<LogLine> Lines() const;
    std::size_t Count() const;
    void Clear();

    // True when some line has exactly this message (and this level, when level >= 0).
    bool Has(const std::string& message, int level = -1) const;
    // The number of lines with exactly this message.
    std::size_t CountOf(const std::string& message) const;
    // The first line whose message is exactly this; a default LogLine when there is none.
    LogLine Find(const std::string& message) const;
    // The first line whose message starts with prefix; a default LogLine when there is none.
    LogLine FindPrefix(const std::string& prefix) const;
    // All messages in order, for readable failure output.
    std::vector<std::string> Messages() const;

private:
    mutable std::mutex mutex_;  // guards lines_
    std::vector<LogLine> lines_;
};

// Registers a RecordingLog as the process sink at level 0 for the lifetime of a test, and
// removes it again on destruction.
class ScopedRecordingLog {
public:
    ScopedRecordingLog();
    ~ScopedRecordingLog();
    RecordingLog& log() { return log_; }
    RecordingLog* operator->() { return &log_; }

private:
    RecordingLog log_;
};

}  // namespace test
}  // namespace quil
