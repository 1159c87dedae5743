#include "RecordingLog.h"

// Through the public configuration only, so that end-to-end hosts can share this fake.
#include "QuilConfig.h"

namespace quil {
namespace test {

void RecordingLog::Log(QUIL_LOG_LEVEL level, const char* file, const char* function, int line,
                       const char* message) {
    LogLine entry;
    entry.level = level;
    entry.file = file ? file : "";
    entry.function = function ? function : "";
    entry.line = line;
    entry.message = message ? message : "";
    std::lock_guard<std::mutex> lock(mutex_);
    lines_.push_back(std::move(entry));
}

std::vector<LogLine> RecordingLog::Lines() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return lines_;
}

std::size_t RecordingLog::Count() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return lines_.size();
}

void RecordingLog::Clear() {
    std::lock_guard<std::mutex> lock(mutex_);
    lines_.clear();
}

bool RecordingLog::Has(const std::string& message, int level) const {
    std::lock_guard<std::mutex> lock(mutex_);
    for (const LogLine& line : lines_) {
        if (line.message == message && (level < 0 || line.level == level)) return true;
    }
    return false;
}

std::size_t RecordingLog::CountOf(const std::string& message) const {
    std::lock_guard<std::mutex> lock(mutex_);
    std::size_t count = 0;
    for (const LogLine& line : lines_) {
        if (line.message == message) ++count;
    }
    return count;
}

LogLine RecordingLog::Find(const std::string& message) const {
    std::lock_guard<std::mutex> lock(mutex_);
    for (const LogLine& line : lines_) {
        if (line.message == message) return line;
    }
    return LogLine();
}

LogLine RecordingLog::FindPrefix(const std::string& prefix) const {
    std::lock_guard<std::mutex> lock(mutex_);
    for (const LogLine& line : lines_) {
        if (line.message.compare(0, prefix.size(), prefix) == 0) return line;
    }
    return LogLine();
}

std::vector<std::string> RecordingLog::Messages() const {
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<std::string> messages;
    for (const LogLine& line : lines_) messages.push_back(line.message);
    return messages;
}

ScopedRecordingLog::ScopedRecordingLog() {
    QuilConfig::GetInstance()->SetQuilLogLevel(QUIL_LOG_VERBOSE);
    QuilConfig::GetInstance()->RegisterQuilLog(&log_);
}

ScopedRecordingLog::~ScopedRecordingLog() { QuilConfig::GetInstance()->RegisterQuilLog(nullptr); }

}  // namespace test
}  // namespace quil
