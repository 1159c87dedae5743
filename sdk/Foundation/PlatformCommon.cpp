// The parts of the platform layer that are the same everywhere (the time mark), and, where the
// system has no such facilities of its own, the portable forms of the path append and of the
// UTF-8 conversion. On Windows those come from the system (PlatformWindows.cpp).
#include <vector>

#include "Platform.h"

namespace quil {
namespace platform {

double TimeMarkMilliseconds() { return static_cast<double>(MonotonicNanoseconds() / 1000000); }

#if !defined(_WIN32)

namespace {

bool IsSeparator(wchar_t c) { return c == L'/' || c == L'\\'; }

constexpr wchar_t kSeparator = L'/';
bool IsAbsolute(const std::wstring& path) { return !path.empty() && IsSeparator(path[0]); }

// Splits on both separators, folds "." and "..", and joins again with the platform separator.
std::wstring Fold(const std::wstring& path) {
    bool absolute = !path.empty() && IsSeparator(path[0]);
    std::vector<std::wstring> parts;
    std::wstring part;
    for (std::size_t i = 0; i <= path.size(); ++i) {
        if (i == path.size() || IsSeparator(path[i])) {
            if (part == L"..") {
                if (!parts.empty() && parts.back() != L"..") {
                    parts.pop_back();
                } else if (!absolute) {
                    parts.push_back(part);
                }
            } else if (!part.empty() && part != L".") {
                parts.push_back(part);
            }
            part.clear();
        } else {
            part.push_back(path[i]);
        }
    }
    std::wstring result;
    if (absolute) result.push_back(kSeparator);
    for (std::size_t i = 0; i < parts.size(); ++i) {
        if (i > 0) result.push_back(kSeparator);
        result += parts[i];
    }
    return result;
}

}  // namespace

bool AppendPath(const std::wstring& base, const std::wstring& more, std::wstring* result) {
    std::wstring joined;
    if (IsAbsolute(more) || base.empty()) {
        joined = more;
    } else {
        joined = base;
        joined.push_back(kSeparator);
        joined += more;
    }
    std::wstring folded = Fold(joined);
    // The buffer holds kMaxPathChars characters including the terminator.
    if (folded.size() + 1 > kMaxPathChars) return false;
    *result = folded;
    return true;
}

std::wstring Utf8ToWide(const std::string& text) {
    std::wstring out;
    out.reserve(text.size());
    const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
    const std::size_t size = text.size();
    std::size_t i = 0;
    while (i < size) {
        unsigned char lead = bytes[i];
        uint32_t code = 0;
        int extra = 0;
        uint32_t minimum = 0;
        if (lead < 0x80) {
            code = lead;
        } else if ((lead & 0xE0) == 0xC0) {
            code = lead & 0x1F;
            extra = 1;
            minimum = 0x80;
        } else if ((lead & 0xF0) == 0xE0) {
            code = lead & 0x0F;
            extra = 2;
            minimum = 0x800;
        } else if ((lead & 0xF8) == 0xF0) {
            code = lead & 0x07;
            extra = 3;
            minimum = 0x10000;
        } else {
            return std::wstring();
        }
        if (static_cast<std::size_t>(extra) > size - i - 1) return std::wstring();
        for (int k = 1; k <= extra; ++k) {
            unsigned char next = bytes[i + k];
            if ((next & 0xC0) != 0x80) return std::wstring();
            code = (code << 6) | (next & 0x3F);
        }
        if (extra > 0 && code < minimum) return std::wstring();
        if (code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return std::wstring();
        i += extra + 1;
        if (sizeof(wchar_t) == 2 && code >= 0x10000) {
            code -= 0x10000;
            out.push_back(static_cast<wchar_t>(0xD800 + (code >> 10)));
            out.push_back(static_cast<wchar_t>(0xDC00 + (code & 0x3FF)));
        } else {
            out.push_back(static_cast<wchar_t>(code));
        }
    }
    return out;
}

std::string WideToUtf8(const std::wstring& text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        uint32_t code = static_cast<uint32_t>(text[i]);
        if (sizeof(wchar_t) == 2) {
            code &= 0xFFFF;
            if (code >= 0xD800 && code <= 0xDBFF && i + 1 < text.size()) {
                uint32_t low = static_cast<uint32_t>(text[i + 1]) & 0xFFFF;
                if (low >= 0xDC00 && low <= 0xDFFF) {
                    code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
                    ++i;
                }
            }
        }
        if (code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) code = 0xFFFD;
        if (code < 0x80) {
            out.push_back(static_cast<char>(code));
        } else if (code < 0x800) {
            out.push_back(static_cast<char>(0xC0 | (code >> 6)));
            out.push_back(static_cast<char>(0x80 | (code & 0x3F)));
        } else if (code < 0x10000) {
            out.push_back(static_cast<char>(0xE0 | (code >> 12)));
            out.push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (code & 0x3F)));
        } else {
            out.push_back(static_cast<char>(0xF0 | (code >> 18)));
            out.push_back(static_cast<char>(0x80 | ((code >> 12) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (code & 0x3F)));
        }
    }
    return out;
}

#endif  // !_WIN32

}  // namespace platform
}  // namespace quil
