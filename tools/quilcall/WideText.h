// quil::Utf8ToWide: the strict UTF-8 decoding quilcall needs for the configuration's wide
// security path (UTF-32 where wchar_t has 32 bits, UTF-16 where it has 16). Pure function.
#pragma once

#include <string>

namespace quil {

// False, with *wide untouched, for any malformed, overlong or surrogate sequence.
bool Utf8ToWide(const std::string& text, std::wstring* wide);

}  // namespace quil
