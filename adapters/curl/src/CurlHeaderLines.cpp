#include "CurlHeaderLines.h"

#include <cstddef>

namespace quil {

namespace {

bool SameNameIgnoringCase(const std::string& line, std::size_t nameLength, const char* name) {
    std::size_t i = 0;
    for (; i < nameLength && name[i] != '\0'; ++i) {
        char c = line[i];
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
        if (c != name[i]) return false;
    }
    return i == nameLength && name[i] == '\0';
}

bool OnlyBlanksAfter(const std::string& line, std::size_t from) {
    for (std::size_t i = from; i < line.size(); ++i) {
        if (line[i] != ' ' && line[i] != '\t') return false;
    }
    return true;
}

}  // namespace

bool CurlHeaderLines::Translate(const std::vector<std::string>& lines, bool offerEncoding,
                                std::vector<std::string>& entries, std::string& error) {
    entries.clear();
    // libcurl reads the first entry of a name to decide whether to add its own line; an
    // entry "Name:" with nothing behind it makes libcurl add nothing and is not sent itself.
    // These go first, so they win over any later line of the same name, which then goes out
    // as given. "Expect" stops the 100-continue round on large bodies, "Accept" the default
    // "*/*", "Content-Type" the form type libcurl would put on a POST.
    entries.push_back("Expect:");
    entries.push_back("Accept:");
    entries.push_back("Content-Type:");
    if (!offerEncoding) entries.push_back("Accept-Encoding:");
    bool hasHost = false;

    for (const std::string& line : lines) {
        if (line.find_first_of(std::string("\r\n\0", 3)) != std::string::npos) {
            // It would split into lines the SDK never wrote, or be cut short at the NUL.
            error = "header line contains CR, LF or NUL";
            entries.clear();
            return false;
        }
        const std::size_t colon = line.find(':');
        if (colon == std::string::npos || colon == 0) {
            error = "header line without a name and colon: " + line;
            entries.clear();
            return false;
        }
        if (SameNameIgnoringCase(line, colon, "host")) hasHost = true;
        if (OnlyBlanksAfter(line, colon + 1)) {
            // libcurl drops "name:" with no value; "name;" is its way to send an empty value.
            entries.push_back(line.substr(0, colon) + ";");
        } else {
            entries.push_back(line);
        }
    }
    if (hasHost) {
        // libcurl would rewrite a host line as "Host:" and move it up front. Disabling its
        // own Host lets the SDK's line go out as written and where it stands.
        entries.insert(entries.begin(), "Host:");
    }
    return true;
}

}  // namespace quil
