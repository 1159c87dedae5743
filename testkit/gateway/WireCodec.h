// The encodings of the gateway's wire: URL encoding as clients write it (a blank as "+",
// upper-case escapes), its reverse, and Base64 for dispatch answers. Pure functions; any thread.
#pragma once

#include <map>
#include <string>

namespace quil {

// Letters, digits and "-_.~" stay, a blank becomes "+", every other byte "%XX" (upper case).
std::string UrlEncode(const std::string& text);

// "+" becomes a blank and "%XX" (either case) its byte; a "%" without two hex digits stays.
std::string UrlDecode(const std::string& text);

// Standard Base64 with "=" padding.
std::string Base64Encode(const std::string& bytes);

// The raw value of the first parameter named name in a "k=v&k=v" text, not decoded. False
// when there is none.
bool FindFormField(const std::string& form, const std::string& name, std::string* value);

// Every "k=v" pair of a form, keys and values decoded; a later key replaces an earlier one.
std::map<std::string, std::string> DecodeForm(const std::string& form);

}  // namespace quil
