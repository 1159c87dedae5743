// SignAnswerText: the JSON texts of the signing hand-off (the line given to the closed library
// and the answer a signing task posts to its caller), written and read without building a
// JsonCpp tree. Every text written is byte for byte what JsonCpp's FastWriter writes for the
// same members. Stateless; any thread may call it.
#pragma once

#include <string>

class SignAnswerText {
public:
    // value as a JSON string literal, quoted and escaped exactly as FastWriter does.
    static std::string Quote(const std::string& value);

    // {"errorCode":<code>,"sign":<sign>} and a line feed, as FastWriter writes that object.
    static std::string Write(const std::string& code, const std::string& sign);

    // Reads an answer of exactly the form Write gives (the line feed optional, the strings with
    // no \u escape). False, with code and sign untouched, for any other text: the caller then
    // reads it with a JSON parser.
    static bool Read(const std::string& text, std::string* code, std::string* sign);
};
