// Any header block a network can deliver: the parser must not crash, and its map must be
// exactly what the plain reading rule gives (lines end at CR LF, a line counts when it holds
// ": ", the first one splits, the last duplicate wins).
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "ResponseHeaderParser.h"

namespace {

std::map<std::string, std::string> ReadingRule(const std::string& text) {
    std::map<std::string, std::string> headers;
    std::size_t start = 0;
    for (std::size_t end = text.find("\r\n"); end != std::string::npos;
         start = end + 2, end = text.find("\r\n", start)) {
        const std::string line = text.substr(start, end - start);
        const std::size_t split = line.find(": ");
        if (split != std::string::npos) headers[line.substr(0, split)] = line.substr(split + 2);
    }
    return headers;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    const std::vector<char> raw(reinterpret_cast<const char*>(data),
                                reinterpret_cast<const char*>(data) + size);
    const std::map<std::string, std::string> parsed = ResponseHeaderParser::Parse(raw);
    if (parsed != ReadingRule(std::string(raw.begin(), raw.end()))) std::abort();
    return 0;
}
