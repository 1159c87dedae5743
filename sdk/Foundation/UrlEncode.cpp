#include "UrlEncode.h"

#include <array>
#include <cstdint>

namespace {

// For each byte: 0 to escape, otherwise the character to write as it stands.
struct EncodeTable {
    std::array<char, 256> plain{};
    EncodeTable() {
        for (int c = '0'; c <= '9'; ++c) plain[c] = static_cast<char>(c);
        for (int c = 'a'; c <= 'z'; ++c) plain[c] = static_cast<char>(c);
        for (int c = 'A'; c <= 'Z'; ++c) plain[c] = static_cast<char>(c);
        for (char c : {'-', '_', '.', '~'}) plain[static_cast<unsigned char>(c)] = c;
        // Form and query values alike take "+" for a blank.
        plain[' '] = '+';
    }
};

const EncodeTable& Table() {
    static const EncodeTable table;
    return table;
}

}  // namespace

std::string UrlEncode(const std::string& text) {
    static const char kDigits[] = "0123456789ABCDEF";
    const EncodeTable& table = Table();
    std::string encoded;
    encoded.resize(text.size() * 3);
    char* out = &encoded[0];
    const char* start = out;
    for (char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        const char plain = table.plain[byte];
        if (plain != 0) {
            *out++ = plain;
        } else {
            *out++ = '%';
            *out++ = kDigits[byte >> 4];
            *out++ = kDigits[byte & 0x0f];
        }
    }
    encoded.resize(static_cast<std::size_t>(out - start));
    return encoded;
}
