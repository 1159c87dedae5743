#include "RecordingOmbrelHandler.h"

#include <cstring>
#include <utility>

namespace quil {
namespace test {

RecordingOmbrelHandler::RecordingOmbrelHandler(std::string queryText)
    : queryText_(std::move(queryText)) {}

RecordingOmbrelHandler::~RecordingOmbrelHandler() {
    // Texts the library never handed back are freed here, so a leak shows as a failed check,
    // not a sanitizer report.
    std::lock_guard<std::mutex> lock(mutex_);
    for (const char* text : handedOut_) {
        bool released = false;
        for (const char* back : released_) released = released || back == text;
        if (!released) delete[] text;
    }
}

const char* RecordingOmbrelHandler::GetQueryHeader() {
    char* text = new char[queryText_.size() + 1];
    std::memcpy(text, queryText_.c_str(), queryText_.size() + 1);
    std::lock_guard<std::mutex> lock(mutex_);
    handedOut_.push_back(text);
    return text;
}

void RecordingOmbrelHandler::OnResponseHeader(const char* value) {
    std::lock_guard<std::mutex> lock(mutex_);
    responseValues_.emplace_back(value == nullptr ? "" : value);
}

void RecordingOmbrelHandler::ReleaseQueryHeader(const char* value) {
    std::lock_guard<std::mutex> lock(mutex_);
    released_.push_back(value);
    delete[] value;
}

std::vector<const char*> RecordingOmbrelHandler::HandedOut() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return handedOut_;
}

std::vector<const char*> RecordingOmbrelHandler::Released() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return released_;
}

std::vector<std::string> RecordingOmbrelHandler::ResponseValues() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return responseValues_;
}

}  // namespace test
}  // namespace quil
