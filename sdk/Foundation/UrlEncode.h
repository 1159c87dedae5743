// URL encoding of query and form values: unreserved bytes are kept, a blank becomes "+", every
// other byte "%XX" with uppercase hexadecimal digits. Pure function; any thread may call it.
#pragma once

#include <string>

// Returns the encoded copy of text; an empty text gives an empty string.
std::string UrlEncode(const std::string& text);

// Appends the encoding of text to out, so that a caller building a larger text (a form body)
// needs no second buffer of the encoded size. out keeps room for three bytes per byte of text.
void UrlEncodeAppend(std::string& out, const std::string& text);
