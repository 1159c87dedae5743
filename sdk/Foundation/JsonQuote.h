// JsonQuote: JSON string literals written without building a JsonCpp value, byte for byte as
// JsonCpp's writers quote them (no \u escapes for ASCII, no escaped slash). Stateless; any
// thread may call it.
#pragma once

#include <string>

class JsonQuote {
public:
    // Appends value to out as a JSON string literal, quoted and escaped as FastWriter and
    // StyledWriter do.
    static void Append(std::string& out, const std::string& value);

    // value as a JSON string literal.
    static std::string Quote(const std::string& value);
};
