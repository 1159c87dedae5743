// A host log sink for end-to-end tests: records every line the library writes, from any
// thread. The test owns it, registers it with QuilConfig::RegisterQuilLog, and removes it
// again before it goes.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "QuilSDK.h"

namespace quil {
namespace test {

struct RecordedLine {
    int level = 0;
    std::string function;
    std::string message;
};

class LogRecorder : public IQuilCustomLog {
public:
    void Log(QUIL_LOG_LEVEL level, const char* file, const char* function, int line,
             const char* message) override;

    // The lines whose message contains text, in the order written.
    std::vector<RecordedLine> Containing(const std::string& text) const;

private:
    mutable std::mutex mutex_;  // guards lines_
    std::vector<RecordedLine> lines_;
};

}  // namespace test
}  // namespace quil
