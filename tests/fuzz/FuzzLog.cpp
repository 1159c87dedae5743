#include "FuzzLog.h"

#include <cstddef>
#include <cstring>
#include <mutex>

#include "IQuilCustomLog.h"
#include "QuilConfig.h"

namespace quil::fuzz {
namespace {

// Reads every byte it is handed, so that a message built past its end shows up under ASan.
class DiscardingLog : public IQuilCustomLog {
public:
    void Log(QUIL_LOG_LEVEL, const char* file, const char* function, int,
             const char* message) override {
        bytes += std::strlen(file) + std::strlen(function) + std::strlen(message);
    }

private:
    volatile std::size_t bytes = 0;
};

}  // namespace

void InstallFuzzLog() {
    static std::once_flag once;
    std::call_once(once, [] {
        static DiscardingLog log;
        QuilConfig::GetInstance()->RegisterQuilLog(&log);
        QuilConfig::GetInstance()->SetQuilLogLevel(QUIL_LOG_VERBOSE);
    });
}

}  // namespace quil::fuzz
