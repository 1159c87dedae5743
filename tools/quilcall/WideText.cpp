#include "WideText.h"

#include <cstdint>

namespace quil {

namespace {

// Decodes one code point starting at text[*at]; false for anything but well-formed UTF-8.
bool DecodeOne(const std::string& text, std::size_t* at, uint32_t* codePoint) {
    const unsigned char lead = static_cast<unsigned char>(text[*at]);
    int length = 0;
    uint32_t value = 0;
    uint32_t smallest = 0;
    if (lead < 0x80) {
        *codePoint = lead;
        *at += 1;
        return true;
    } else if ((lead & 0xE0) == 0xC0) {
        length = 2, value = lead & 0x1F, smallest = 0x80;
    } else if ((lead & 0xF0) == 0xE0) {
        length = 3, value = lead & 0x0F, smallest = 0x800;
    } else if ((lead & 0xF8) == 0xF0) {
        length = 4, value = lead & 0x07, smallest = 0x10000;
    } else {
        return false;
    }
    if (*at + length > text.size()) {
        return false;
    }
    for (int i = 1; i < length; ++i) {
        const unsigned char next = static_cast<unsigned char>(text[*at + i]);
        if ((next & 0xC0) != 0x80) {
            return false;
        }
        value = (value << 6) | (next & 0x3F);
    }
    if (value < smallest || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) {
        return false;
    }
    *codePoint = value;
    *at += length;
    return true;
}

}  // namespace

bool Utf8ToWide(const std::string& text, std::wstring* wide) {
    std::wstring result;
    std::size_t at = 0;
    while (at < text.size()) {
        uint32_t codePoint = 0;
        if (!DecodeOne(text, &at, &codePoint)) {
            return false;
        }
        if (sizeof(wchar_t) == 2 && codePoint > 0xFFFF) {
            codePoint -= 0x10000;
            result.push_back(static_cast<wchar_t>(0xD800 + (codePoint >> 10)));
            result.push_back(static_cast<wchar_t>(0xDC00 + (codePoint & 0x3FF)));
        } else {
            result.push_back(static_cast<wchar_t>(codePoint));
        }
    }
    *wide = result;
    return true;
}

}  // namespace quil
