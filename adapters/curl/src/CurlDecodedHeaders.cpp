#include "CurlDecodedHeaders.h"

#include <cstddef>
#include <string>

namespace quil {

namespace {

std::string Lower(std::string text) {
    for (char& c : text) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return text;
}

std::string Trimmed(const std::string& text) {
    const std::size_t first = text.find_first_not_of(" \t");
    if (first == std::string::npos) return std::string();
    const std::size_t last = text.find_last_not_of(" \t");
    return text.substr(first, last - first + 1);
}

// The lower-cased name of a header line, "" for the status line and the empty line.
std::string NameOf(const std::string& line) {
    const std::size_t colon = line.find(':');
    if (colon == std::string::npos) return std::string();
    return Lower(Trimmed(line.substr(0, colon)));
}

// True when a Content-Encoding value names a coding that changes the bytes; "identity" and an
// empty value do not.
bool NamesARealCoding(const std::string& value) {
    std::size_t start = 0;
    while (start <= value.size()) {
        std::size_t comma = value.find(',', start);
        if (comma == std::string::npos) comma = value.size();
        const std::string coding = Lower(Trimmed(value.substr(start, comma - start)));
        if (!coding.empty() && coding != "identity") return true;
        start = comma + 1;
    }
    return false;
}

}  // namespace

void CurlDecodedHeaders::Apply(std::vector<char>& block) {
    const std::string text(block.begin(), block.end());
    std::vector<std::string> lines;
    std::size_t start = 0;
    while (start < text.size()) {
        std::size_t end = text.find("\r\n", start);
        end = end == std::string::npos ? text.size() : end + 2;
        lines.push_back(text.substr(start, end - start));
        start = end;
    }
    bool sawCoding = false;
    bool realCoding = false;
    for (const std::string& line : lines) {
        if (NameOf(line) == "content-encoding") {
            sawCoding = true;
            const std::string body = line.substr(line.find(':') + 1);
            if (NamesARealCoding(body.substr(0, body.find("\r\n")))) realCoding = true;
        }
    }
    if (!sawCoding) return;
    std::vector<char> kept;
    kept.reserve(block.size());
    for (const std::string& line : lines) {
        const std::string name = NameOf(line);
        if (name == "content-encoding" || (realCoding && name == "content-length")) continue;
        kept.insert(kept.end(), line.begin(), line.end());
    }
    block.swap(kept);
}

}  // namespace quil
