#include "SignAnswerText.h"

#include <json/json.h>

#include <cstddef>

namespace {

// Printable ASCII other than the quote and the backslash: FastWriter copies it as it is.
bool NeedsNoEscape(unsigned char c) { return c >= 0x20 && c < 0x7F && c != '"' && c != '\\'; }

// Reads the string literal that opens at `at`, leaving `at` just past it. Knows the escapes
// FastWriter writes for ASCII; a \u escape (FastWriter's form of non-ASCII and of rare control
// characters) is left to the full parser, so false.
bool ReadLiteral(const std::string& text, std::size_t& at, std::string* out) {
    if (at >= text.size() || text[at] != '"') return false;
    std::string value;
    for (std::size_t i = at + 1; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '"') {
            at = i + 1;
            *out = std::move(value);
            return true;
        }
        if (c != '\\') {
            value.push_back(c);
            continue;
        }
        if (++i >= text.size()) return false;
        switch (text[i]) {
            case '"':
                value.push_back('"');
                break;
            case '\\':
                value.push_back('\\');
                break;
            case '/':
                value.push_back('/');
                break;
            case 'b':
                value.push_back('\b');
                break;
            case 'f':
                value.push_back('\f');
                break;
            case 'n':
                value.push_back('\n');
                break;
            case 'r':
                value.push_back('\r');
                break;
            case 't':
                value.push_back('\t');
                break;
            default:
                return false;
        }
    }
    return false;
}

bool Expect(const std::string& text, std::size_t& at, const char* literal, std::size_t length) {
    if (text.compare(at, length, literal) != 0) return false;
    at += length;
    return true;
}

}  // namespace

std::string SignAnswerText::Quote(const std::string& value) {
    std::string quoted;
    quoted.reserve(value.size() + 8);
    quoted.push_back('"');
    for (char c : value) {
        const unsigned char byte = static_cast<unsigned char>(c);
        if (NeedsNoEscape(byte)) {
            quoted.push_back(c);
        } else if (c == '"' || c == '\\') {
            quoted.push_back('\\');
            quoted.push_back(c);
        } else {
            // Control characters and non-ASCII have several escaped forms; FastWriter's own
            // quoting decides them.
            Json::FastWriter writer;
            writer.omitEndingLineFeed();
            return writer.write(Json::Value(value));
        }
    }
    quoted.push_back('"');
    return quoted;
}

std::string SignAnswerText::Write(const std::string& code, const std::string& sign) {
    // FastWriter orders members by name: "errorCode" before "sign".
    std::string text = "{\"errorCode\":";
    text.append(Quote(code)).append(",\"sign\":").append(Quote(sign)).append("}\n");
    return text;
}

bool SignAnswerText::Read(const std::string& text, std::string* code, std::string* sign) {
    static const char kOpen[] = "{\"errorCode\":";
    static const char kMiddle[] = ",\"sign\":";
    std::size_t at = 0;
    std::string readCode;
    std::string readSign;
    if (!Expect(text, at, kOpen, sizeof(kOpen) - 1) || !ReadLiteral(text, at, &readCode) ||
        !Expect(text, at, kMiddle, sizeof(kMiddle) - 1) || !ReadLiteral(text, at, &readSign) ||
        !Expect(text, at, "}", 1)) {
        return false;
    }
    if (at < text.size() && text[at] == '\n') ++at;
    if (at != text.size()) return false;
    *code = std::move(readCode);
    *sign = std::move(readSign);
    return true;
}
