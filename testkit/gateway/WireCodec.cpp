#include "WireCodec.h"

namespace quil {

namespace {

int HexValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

bool Unreserved(unsigned char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-' ||
           c == '_' || c == '.' || c == '~';
}

}  // namespace

std::string UrlEncode(const std::string& text) {
    static const char kDigits[] = "0123456789ABCDEF";
    std::string out;
    out.reserve(text.size() * 3);
    for (char raw : text) {
        const unsigned char c = static_cast<unsigned char>(raw);
        if (Unreserved(c)) {
            out.push_back(raw);
        } else if (c == ' ') {
            out.push_back('+');
        } else {
            out.push_back('%');
            out.push_back(kDigits[c >> 4]);
            out.push_back(kDigits[c & 0xf]);
        }
    }
    return out;
}

std::string UrlDecode(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '+') {
            out.push_back(' ');
        } else if (c == '%' && i + 2 < text.size() && HexValue(text[i + 1]) >= 0 &&
                   HexValue(text[i + 2]) >= 0) {
            out.push_back(static_cast<char>(HexValue(text[i + 1]) * 16 + HexValue(text[i + 2])));
            i += 2;
        } else {
            out.push_back(c);
        }
    }
    return out;
}

std::string Base64Encode(const std::string& bytes) {
    static const char kAlphabet[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    out.reserve((bytes.size() + 2) / 3 * 4);
    std::size_t i = 0;
    for (; i + 2 < bytes.size(); i += 3) {
        const unsigned value = (static_cast<unsigned char>(bytes[i]) << 16) |
                               (static_cast<unsigned char>(bytes[i + 1]) << 8) |
                               static_cast<unsigned char>(bytes[i + 2]);
        out.push_back(kAlphabet[(value >> 18) & 0x3f]);
        out.push_back(kAlphabet[(value >> 12) & 0x3f]);
        out.push_back(kAlphabet[(value >> 6) & 0x3f]);
        out.push_back(kAlphabet[value & 0x3f]);
    }
    const std::size_t rest = bytes.size() - i;
    if (rest == 1) {
        const unsigned value = static_cast<unsigned char>(bytes[i]) << 16;
        out.push_back(kAlphabet[(value >> 18) & 0x3f]);
        out.push_back(kAlphabet[(value >> 12) & 0x3f]);
        out.append("==");
    } else if (rest == 2) {
        const unsigned value = (static_cast<unsigned char>(bytes[i]) << 16) |
                               (static_cast<unsigned char>(bytes[i + 1]) << 8);
        out.push_back(kAlphabet[(value >> 18) & 0x3f]);
        out.push_back(kAlphabet[(value >> 12) & 0x3f]);
        out.push_back(kAlphabet[(value >> 6) & 0x3f]);
        out.push_back('=');
    }
    return out;
}

bool FindFormField(const std::string& form, const std::string& name, std::string* value) {
    std::size_t start = 0;
    while (start <= form.size()) {
        std::size_t end = form.find('&', start);
        if (end == std::string::npos) {
            end = form.size();
        }
        const std::string pair = form.substr(start, end - start);
        const std::size_t equals = pair.find('=');
        const std::string key = equals == std::string::npos ? pair : pair.substr(0, equals);
        if (key == name) {
            *value = equals == std::string::npos ? std::string() : pair.substr(equals + 1);
            return true;
        }
        start = end + 1;
    }
    return false;
}

std::map<std::string, std::string> DecodeForm(const std::string& form) {
    std::map<std::string, std::string> fields;
    std::size_t start = 0;
    while (start < form.size()) {
        std::size_t end = form.find('&', start);
        if (end == std::string::npos) {
            end = form.size();
        }
        const std::string pair = form.substr(start, end - start);
        if (!pair.empty()) {
            const std::size_t equals = pair.find('=');
            if (equals == std::string::npos) {
                fields[UrlDecode(pair)] = std::string();
            } else {
                fields[UrlDecode(pair.substr(0, equals))] = UrlDecode(pair.substr(equals + 1));
            }
        }
        start = end + 1;
    }
    return fields;
}

}  // namespace quil
