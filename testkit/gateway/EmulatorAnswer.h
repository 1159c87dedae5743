// One answer of the gateway emulator as its endpoints decide it, before the HTTP server writes
// it: status, header lines, body, a delay, raw bytes, or closing the connection unanswered.
// A plain value.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace quil {

struct EmulatorAnswer {
    int status = 200;
    std::vector<std::pair<std::string, std::string>> headers;  // name, value; in this order
    std::string body;
    int delayMs = 0;                  // wait this long before answering (or closing)
    bool closeWithoutAnswer = false;  // close the connection and write nothing
    // When not empty: these bytes are written as they stand, in place of an HTTP answer, and
    // the connection is closed (malformed answers of the hostile mode).
    std::string raw;
    std::string code;  // what the emulator meant, kept in the request record
};

}  // namespace quil
