// A host remote-configuration component for tests: hands out a fixed query text (allocated per
// call), records what it hands out, what comes back, and every response header value it is
// given. Thread-safe; the test owns it.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "IOmbrelHeaderHandler.h"

namespace quil {
namespace test {

class RecordingOmbrelHandler : public IOmbrelHeaderHandler {
public:
    explicit RecordingOmbrelHandler(std::string queryText = "ombrel-query");
    ~RecordingOmbrelHandler();

    const char* GetQueryHeader() override;
    void OnResponseHeader(const char* value) override;
    void ReleaseQueryHeader(const char* value) override;

    std::vector<const char*> HandedOut() const;
    std::vector<const char*> Released() const;
    std::vector<std::string> ResponseValues() const;

private:
    const std::string queryText_;
    mutable std::mutex mutex_;  // guards the records below
    std::vector<const char*> handedOut_;
    std::vector<const char*> released_;
    std::vector<std::string> responseValues_;
};

}  // namespace test
}  // namespace quil
