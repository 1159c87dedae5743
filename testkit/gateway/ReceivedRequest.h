// One HTTP request as the gateway emulator received it, kept for tests to inspect: the
// request line, the header lines in received order with their original case, the body, and
// the TCP connection it came on. A plain value; copies are independent.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace quil {

struct ReceivedRequest {
    uint64_t sequence = 0;                 // 1 for the first request the emulator received
    uint64_t connection = 0;               // 1 for the first TCP connection it accepted
    uint64_t indexOnConnection = 0;        // 1 for the first request on its connection
    std::string method;                    // "GET", "POST", ...
    std::string target;                    // the request target as received, query included
    std::string path;                      // target before "?"
    std::string query;                     // target after the first "?", not decoded
    std::string httpVersion;               // "HTTP/1.1"
    std::vector<std::string> headerLines;  // each line as received, without its CR LF
    std::string body;                      // the body bytes (de-chunked)

    // What the emulator made of it: the sign input it rebuilt (empty when it rebuilt none)
    // and the code it answered ("SUCCESS", "FAIL_SYS_ILEGEL_SIGN", "scripted", ...).
    std::string signInput;
    std::string answerCode;

    // The value of the first header line with this name, compared without regard to case,
    // with the blanks around it removed. False when no such line came.
    bool FindHeader(const std::string& name, std::string* value) const;
    // Same, with "" for a missing header.
    std::string Header(const std::string& name) const;
    bool HasHeader(const std::string& name) const;
};

// Fills method, target, path, query, httpVersion and headerLines from the raw request head
// (request line and header lines, each ended by CR LF, up to the empty line). False when the
// request line is malformed.
bool ParseRequestHead(const std::string& head, ReceivedRequest* request);

// Lower-case ASCII copy.
std::string AsciiLower(const std::string& text);

}  // namespace quil
