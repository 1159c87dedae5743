#include "TableUrlEncode.h"

#include <array>

namespace quil {
namespace bench {

namespace {

// 0: escape; otherwise the byte to write.
std::array<char, 256> MakeTable() {
    std::array<char, 256> table{};
    for (int c = 0; c < 256; ++c) {
        const bool unreserved = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') ||
                                (c >= 'A' && c <= 'Z') || c == '-' || c == '_' || c == '.' ||
                                c == '~';
        table[c] = unreserved ? static_cast<char>(c) : 0;
    }
    table[' '] = '+';
    return table;
}

}  // namespace

std::string TableUrlEncode(const std::string& text) {
    static const std::array<char, 256> table = MakeTable();
    static const char digits[] = "0123456789ABCDEF";
    std::string out(text.size() * 3, '\0');
    char* write = &out[0];
    for (unsigned char byte : text) {
        const char plain = table[byte];
        if (plain != 0) {
            *write++ = plain;
        } else {
            write[0] = '%';
            write[1] = digits[byte >> 4];
            write[2] = digits[byte & 15];
            write += 3;
        }
    }
    out.resize(static_cast<std::size_t>(write - out.data()));
    return out;
}

}  // namespace bench
}  // namespace quil
