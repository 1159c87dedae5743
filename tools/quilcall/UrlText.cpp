#include "UrlText.h"

#include <cstdio>

namespace quil {

namespace {

bool IsUnreserved(unsigned char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '.' || c == '_' || c == '~';
}

bool IsControl(unsigned char c) { return c < 0x20 || c == 0x7f; }

}  // namespace

std::string EncodeQueryComponent(const std::string& text) {
    static const char kHex[] = "0123456789ABCDEF";
    std::string encoded;
    encoded.reserve(text.size());
    for (char ch : text) {
        const auto c = static_cast<unsigned char>(ch);
        if (IsUnreserved(c)) {
            encoded.push_back(ch);
        } else {
            encoded.push_back('%');
            encoded.push_back(kHex[c >> 4]);
            encoded.push_back(kHex[c & 0x0f]);
        }
    }
    return encoded;
}

std::map<std::string, std::string> EncodeQueryParameters(
    const std::map<std::string, std::string>& params) {
    std::map<std::string, std::string> encoded;
    for (const auto& entry : params) {
        encoded[EncodeQueryComponent(entry.first)] = EncodeQueryComponent(entry.second);
    }
    return encoded;
}

std::string PathSegmentRefusal(const std::string& text) {
    if (text.empty()) {
        return "is empty";
    }
    for (char ch : text) {
        const auto c = static_cast<unsigned char>(ch);
        if (IsControl(c)) {
            // The text itself is not shown: it would carry the control character to the
            // terminal.
            char hex[8];
            std::snprintf(hex, sizeof hex, "0x%02X", static_cast<unsigned>(c));
            return std::string("has a control character (") + hex +
                   "), which cannot stand in the gateway path";
        }
    }
    const std::string shown = " \"" + text + "\"";
    if (text.find(' ') != std::string::npos) {
        return "has a blank, which cannot stand in the gateway path:" + shown;
    }
    for (const char* forbidden : {"/", "?", "#"}) {
        if (text.find(forbidden) != std::string::npos) {
            return std::string("has \"") + forbidden +
                   "\", which cannot stand in the gateway path:" + shown;
        }
    }
    return std::string();
}

}  // namespace quil
