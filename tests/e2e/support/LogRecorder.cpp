#include "LogRecorder.h"

namespace quil {
namespace test {

void LogRecorder::Log(QUIL_LOG_LEVEL level, const char* /*file*/, const char* function,
                      int /*line*/, const char* message) {
    RecordedLine recorded;
    recorded.level = level;
    recorded.function = function != nullptr ? function : "";
    recorded.message = message != nullptr ? message : "";
    std::lock_guard<std::mutex> lock(mutex_);
    lines_.push_back(recorded);
}

std::vector<RecordedLine> LogRecorder::Containing(const std::string& text) const {
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<RecordedLine> found;
    for (const RecordedLine& line : lines_) {
        if (line.message.find(text) != std::string::npos) {
            found.push_back(line);
        }
    }
    return found;
}

}  // namespace test
}  // namespace quil
