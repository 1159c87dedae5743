#include "UrlEncode.h"

#include <array>
#include <cstddef>
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
    std::string encoded;
    UrlEncodeAppend(encoded, text);
    return encoded;
}

void UrlEncodeAppend(std::string& out, const std::string& text) {
    static const char kDigits[] = "0123456789ABCDEF";
    if (text.empty()) return;
    const EncodeTable& table = Table();
    const std::size_t start = out.size();
    out.resize(start + text.size() * 3);
    char* write = &out[start];
    const char* const begin = out.data();
    for (char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        const char plain = table.plain[byte];
        if (plain != 0) {
            *write++ = plain;
        } else {
            *write++ = '%';
            *write++ = kDigits[byte >> 4];
            *write++ = kDigits[byte & 0x0f];
        }
    }
    out.resize(static_cast<std::size_t>(write - begin));
}
