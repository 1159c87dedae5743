// quil::CallData: the call data as given by --data, --data-file or --raw-data, checked before
// any call is made so that a bad value is a usage error. Plain values; main thread only.
#pragma once

#include <string>
#include <vector>

namespace quil {

struct CallDataMember {
    enum class Kind { kString, kInteger, kReal };
    std::string key;
    Kind kind = Kind::kString;
    std::string text;
    int integer = 0;
    double real = 0.0;
};

struct CallData {
    enum class Kind {
        kNone,     // nothing given: the request sends "{}"
        kMembers,  // a flat JSON object: each member goes through AddData
        kRaw       // a ready text sent as it stands (SetRawData)
    };
    Kind kind = Kind::kNone;
    std::vector<CallDataMember> members;
    std::string raw;
};

// Reads a JSON object for --data or --data-file. A flat object of strings and numbers that
// fit the request's AddData becomes members, so that the request writes them in its own
// layout; any other object (nested values, true/false/null, big integers) is sent as the
// given text. Returns false with a reason in *error when text is not a JSON object.
bool ParseJsonCallData(const std::string& text, CallData* data, std::string* error);

// Reads a whole file; false with the system's reason in *error when it cannot be read.
bool ReadWholeFile(const std::string& path, std::string* contents, std::string* error);

}  // namespace quil
