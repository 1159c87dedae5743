#include "TrafficWatch.h"

#include <chrono>
#include <cstdlib>
#include <ctime>

namespace quil {

namespace {

bool StartsWith(const std::string& text, const char* prefix) { return text.rfind(prefix, 0) == 0; }

// The number between "(" and ")s" at the end of a ban line; false when it is not there.
bool BanLength(const std::string& message, int64_t* seconds) {
    const std::size_t open = message.rfind('(');
    if (open == std::string::npos || message.size() < open + 3 ||
        message.compare(message.size() - 2, 2, ")s") != 0) {
        return false;
    }
    const std::string number = message.substr(open + 1, message.size() - open - 3);
    if (number.empty()) return false;
    char* end = nullptr;
    const long long value = std::strtoll(number.c_str(), &end, 10);
    if (end == nullptr || *end != '\0') return false;
    *seconds = static_cast<int64_t>(value);
    return true;
}

}  // namespace

TrafficWatch::TrafficWatch(IQuilCustomLog* forward, int forwardLevel)
    : forward_(forward), forwardLevel_(forwardLevel) {}

void TrafficWatch::Log(QUIL_LOG_LEVEL level, const char* file, const char* function, int line,
                       const char* message) {
    if (message != nullptr) {
        const int64_t now = static_cast<int64_t>(std::time(nullptr));
        std::lock_guard<std::mutex> lock(mutex_);
        Observe(message, now, &note_, &lastBanUntil_);
    }
    if (forward_ != nullptr && static_cast<int>(level) >= forwardLevel_) {
        forward_->Log(level, file, function, line, message);
    }
}

void TrafficWatch::BeginCall() {
    std::lock_guard<std::mutex> lock(mutex_);
    note_ = TrafficNote();
}

TrafficNote TrafficWatch::Note() {
    std::lock_guard<std::mutex> lock(mutex_);
    return note_;
}

void TrafficWatch::Observe(const std::string& message, int64_t nowSeconds, TrafficNote* note,
                           std::string* lastBanUntil) {
    if (StartsWith(message, "response flow control need retry, id: ")) {
        ++note->resends;
    } else if (StartsWith(message, "response under flow control")) {
        int64_t seconds = 0;
        if (BanLength(message, &seconds)) {
            note->banStarted = true;
            note->banSeconds = seconds;
            note->banUntil = UtcText(nowSeconds + seconds);
            *lastBanUntil = note->banUntil;
        }
    } else if (StartsWith(message, "request is undering flow control, id: ")) {
        note->refused = true;
        note->banUntil = *lastBanUntil;
    }
}

std::string TrafficWatch::UtcText(int64_t seconds) {
    const std::time_t time = static_cast<std::time_t>(seconds);
    const std::tm* utc = std::gmtime(&time);  // only ever called under the watch's mutex
    if (utc == nullptr) return std::to_string(seconds) + " s after the epoch";
    char text[32];
    if (std::strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%SZ", utc) == 0) {
        return std::to_string(seconds) + " s after the epoch";
    }
    return text;
}

}  // namespace quil
