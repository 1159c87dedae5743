#include "Base64DecodeBody.h"

#include <array>
#include <cstring>

namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// For each byte: its value in the alphabet, or -1 for a character that is skipped.
struct DecodeTable {
    std::array<signed char, 256> value{};
    DecodeTable() {
        value.fill(-1);
        for (int i = 0; i < 64; ++i)
            value[static_cast<unsigned char>(kAlphabet[i])] = static_cast<signed char>(i);
    }
};

// Appends the three bytes of a group as a zero-terminated piece: a zero byte ends it.
void AppendGroup(const int group[4], std::string& output) {
    const char bytes[3] = {
        static_cast<char>((group[0] << 2) | (group[1] >> 4)),
        static_cast<char>(((group[1] & 0x0f) << 4) | (group[2] >> 2)),
        static_cast<char>(((group[2] & 0x03) << 6) | group[3]),
    };
    for (char byte : bytes) {
        if (byte == '\0') break;
        output.push_back(byte);
    }
}

}  // namespace

std::string Base64DecodeBody(const std::shared_ptr<HttpResponse>& response) {
    if (!response) return std::string();
    static const DecodeTable table;
    // The text ends at the body's first zero byte.
    const std::vector<char>& body = response->body;
    const void* zero = body.empty() ? nullptr : std::memchr(body.data(), '\0', body.size());
    const std::size_t length =
        zero ? static_cast<std::size_t>(static_cast<const char*>(zero) - body.data()) : body.size();

    // The output grows as needed: a decoded text of any length fits (see docs/decisions.md).
    std::string output;
    output.reserve(length / 4 * 3 + 3);
    int group[4] = {0, 0, 0, 0};
    int position = 0;
    for (std::size_t i = 0; i < length; ++i) {
        const char c = body[i];
        if (c == '=') {
            AppendGroup(group, output);
            break;
        }
        const int value = table.value[static_cast<unsigned char>(c)];
        if (value < 0) continue;
        group[position++] = value;
        if (position == 4) {
            AppendGroup(group, output);
            group[0] = group[1] = group[2] = group[3] = 0;
            position = 0;
        }
    }
    return output;
}
