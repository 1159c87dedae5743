// Any "cache-control" value a stored answer may carry: the reader must not crash, splits at
// every comma, and sets maxAge exactly as the reading rule says (the last piece that does not
// begin with "max-age=" sets it from its ninth byte on, read as strtol with base 0 held to 32
// bits; offline is never set).
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "CacheControlParser.h"
#include "CacheNumber.h"

namespace {

int32_t ReadingRule(const std::string& text) {
    const std::string upToZero = text.c_str();
    errno = 0;
    const long long value = std::strtoll(upToZero.c_str(), nullptr, 0);
    if (value > INT32_MAX) return INT32_MAX;
    if (value < INT32_MIN) return INT32_MIN;
    return static_cast<int32_t>(value);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    const std::string value(reinterpret_cast<const char*>(data), size);
    const std::vector<std::string> pieces = CacheControlParser::Split(value);
    std::size_t commas = 0;
    for (char c : value) commas += c == ',' ? 1 : 0;
    if (pieces.size() != commas + 1) std::abort();

    int32_t expected = 12345;
    for (const std::string& piece : pieces) {
        if (piece.compare(0, 8, "max-age=") != 0) {
            expected = piece.size() > 8 ? ReadingRule(piece.substr(8)) : 0;
        }
    }
    int32_t maxAge = 12345;
    bool offline = false;
    CacheControlParser::Parse(value, &maxAge, &offline);
    if (maxAge != expected || offline) std::abort();
    if (CacheNumber::Read(value) != ReadingRule(value)) std::abort();
    return 0;
}
