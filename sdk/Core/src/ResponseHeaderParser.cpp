#include "ResponseHeaderParser.h"

#include <string_view>

std::map<std::string, std::string> ResponseHeaderParser::Parse(const std::vector<char>& raw) {
    std::map<std::string, std::string> headers;
    std::string_view rest(raw.data(), raw.size());
    for (;;) {
        const std::size_t end = rest.find("\r\n");
        if (end == std::string_view::npos) break;
        const std::string_view line = rest.substr(0, end);
        rest.remove_prefix(end + 2);
        const std::size_t colon = line.find(": ");
        // Also drops a header written without the blank after its colon.
        if (colon == std::string_view::npos) continue;
        headers[std::string(line.substr(0, colon))] = std::string(line.substr(colon + 2));
    }
    return headers;
}
