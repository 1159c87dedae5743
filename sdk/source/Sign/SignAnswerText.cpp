#include "SignAnswerText.h"

#include <cstddef>
#include <utility>

#include "JsonQuote.h"

namespace {

// Reads the string literal that opens at `at`, leaving `at` just past it. Knows the escapes
// FastWriter writes for ASCII; a \u escape (FastWriter's form of non-ASCII and of rare control
// characters) is left to the full parser, so false.
bool ReadLiteral(const std::string& text, std::size_t& at, std::string* out) {
    if (at >= text.size() || text[at] != '"') return false;
    std::string value;
    // Room for the literal's bytes up to its closing quote: the unescaped value is no longer.
    std::size_t end = at + 1;
    while (end < text.size() && text[end] != '"') end += text[end] == '\\' ? 2 : 1;
    value.reserve(end - at);
    std::size_t i = at + 1;
    for (;;) {
        // A plain loop: find_first_of looks each byte up in the set with memchr, and a sign
        // answer has a quote to unescape every few bytes.
        std::size_t stop = i;
        while (stop < text.size() && text[stop] != '"' && text[stop] != '\\') ++stop;
        if (stop == text.size()) return false;
        value.append(text, i, stop - i);
        if (text[stop] == '"') {
            at = stop + 1;
            *out = std::move(value);
            return true;
        }
        if (stop + 1 >= text.size()) return false;
        switch (text[stop + 1]) {
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
        i = stop + 2;
    }
}

bool Expect(const std::string& text, std::size_t& at, const char* literal, std::size_t length) {
    if (text.compare(at, length, literal) != 0) return false;
    at += length;
    return true;
}

}  // namespace

std::string SignAnswerText::Quote(const std::string& value) { return JsonQuote::Quote(value); }

std::string SignAnswerText::Write(const std::string& code, const std::string& sign) {
    // FastWriter orders members by name: "errorCode" before "sign".
    std::string text = "{\"errorCode\":";
    text.reserve(code.size() + sign.size() + 40);
    JsonQuote::Append(text, code);
    text.append(",\"sign\":");
    JsonQuote::Append(text, sign);
    text.append("}\n");
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
