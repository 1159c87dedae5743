// One answer of the gateway emulator as its endpoints decide it, before the HTTP server writes
// it: status, header lines, body, a delay, or closing the connection without any answer.
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
    std::string code;                 // what the emulator meant, kept in the request record
};

}  // namespace quil
