// ResponseHeaderParser: turns a raw HTTP header block into a map of header name to value, the
// way the gateway's answers have always been read. Stateless; any thread may call it.
#pragma once

#include <map>
#include <string>
#include <vector>

class ResponseHeaderParser {
public:
    // Lines end with CR LF; text behind the last CR LF is dropped. A line counts only when it
    // holds ": "; the first one splits name from value, neither is trimmed nor changes case.
    // A name seen twice keeps its last value. The status line drops out on its own.
    static std::map<std::string, std::string> Parse(const std::vector<char>& raw);
};
