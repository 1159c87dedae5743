#include "SwitchStrToMap.h"

#include <json/json.h>

#include <cstddef>
#include <exception>
#include <functional>
#include <utility>

#include "QuilLogger.h"

namespace {

// Receives each member's name and its text (see AsText).
using MemberVisitor = std::function<void(std::string, std::string)>;

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

std::size_t SkipBlanks(const std::string& text, std::size_t at) {
    while (at < text.size() && IsBlank(text[at])) ++at;
    return at;
}

// The position just past the string literal that opens at `at`, or npos.
std::size_t StringEnd(const std::string& text, std::size_t at) {
    for (std::size_t i = at + 1; i < text.size(); ++i) {
        if (text[i] == '\\') {
            ++i;
        } else if (text[i] == '"') {
            return i + 1;
        }
    }
    return std::string::npos;
}

// The position just past the JSON value that starts at `at`, or npos.
std::size_t ValueEnd(const std::string& text, std::size_t at) {
    if (at >= text.size()) return std::string::npos;
    if (text[at] == '"') return StringEnd(text, at);
    if (text[at] == '{' || text[at] == '[') {
        int depth = 0;
        for (std::size_t i = at; i < text.size(); ++i) {
            const char c = text[i];
            if (c == '"') {
                i = StringEnd(text, i);
                if (i == std::string::npos) return i;
                --i;
            } else if (c == '{' || c == '[') {
                ++depth;
            } else if ((c == '}' || c == ']') && --depth == 0) {
                return i + 1;
            }
        }
        return std::string::npos;
    }
    std::size_t i = at;
    while (i < text.size() && text[i] != ',' && text[i] != '}' && text[i] != ']' &&
           !IsBlank(text[i])) {
        ++i;
    }
    return i;
}

// The text comes from the closed library: the parser throws on it where it hits its nesting
// limit, and that counts as text that does not parse.
bool Parse(const std::string& text, Json::Value* value, bool collectComments) {
    try {
        Json::Reader reader;
        return reader.parse(text, *value, collectComments);
    } catch (const std::exception&) {
        return false;
    }
}

bool ParsePiece(const std::string& piece, Json::Value* value) { return Parse(piece, value, false); }

// The text of the string literal over [at, end) when it holds no escape: the parser would give
// exactly the bytes between the quotes, so the parse is skipped. False when it has an escape.
bool PlainString(const std::string& text, std::size_t at, std::size_t end, std::string* out) {
    if (end - at < 2 || text[at] != '"') return false;
    const std::size_t begin = at + 1;
    const std::size_t length = end - 1 - begin;
    if (text.find('\\', begin) < end - 1) return false;
    out->assign(text, begin, length);
    return true;
}

std::string AsText(const Json::Value& value) {
    if (value.isObject() || value.isArray()) {
        Json::FastWriter writer;
        writer.omitEndingLineFeed();
        return writer.write(value);
    }
    return value.asString();
}

// True when a '/' stands outside every string literal: the start of a comment, which the parser
// skips and this file's walks do not understand (a bare value such as "null//" would end at the
// next comma, inside the comment). Plain JSON never has one.
bool HasSlashOutsideStrings(const std::string& text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '"') {
            i = StringEnd(text, i);
            if (i == std::string::npos) return false;
            --i;
        } else if (text[i] == '/') {
            return true;
        }
    }
    return false;
}

// Walks the members of the top-level object in the order of the text, which the parsed value
// cannot give: it keeps only the last of two equal names. False when the text holds anything
// this walk does not expect (such as a comment); the caller then uses the parsed value.
bool ForEachMemberInTextOrder(const std::string& text, const MemberVisitor& visit) {
    if (HasSlashOutsideStrings(text)) return false;
    std::size_t at = SkipBlanks(text, 0);
    if (at >= text.size() || text[at] != '{') return false;
    at = SkipBlanks(text, at + 1);
    if (at < text.size() && text[at] == '}') return true;
    while (at < text.size()) {
        if (text[at] != '"') return false;
        const std::size_t nameEnd = StringEnd(text, at);
        if (nameEnd == std::string::npos) return false;
        std::string name;
        if (!PlainString(text, at, nameEnd, &name)) {
            Json::Value parsedName;
            if (!ParsePiece(text.substr(at, nameEnd - at), &parsedName) || !parsedName.isString()) {
                return false;
            }
            name = parsedName.asString();
        }
        at = SkipBlanks(text, nameEnd);
        if (at >= text.size() || text[at] != ':') return false;
        at = SkipBlanks(text, at + 1);
        const std::size_t valueEnd = ValueEnd(text, at);
        if (valueEnd == std::string::npos) return false;
        std::string valueText;
        if (!PlainString(text, at, valueEnd, &valueText)) {
            Json::Value value;
            if (!ParsePiece(text.substr(at, valueEnd - at), &value)) return false;
            valueText = AsText(value);
        }
        visit(std::move(name), std::move(valueText));
        at = SkipBlanks(text, valueEnd);
        if (at >= text.size()) return false;
        if (text[at] == '}') return true;
        if (text[at] != ',') return false;
        at = SkipBlanks(text, at + 1);
    }
    return false;
}

// The members of a text that is one object of plain strings (no escapes), blanks around the
// tokens and nothing else: such a text always parses, and each member's text is the bytes
// between its quotes, so no parser is needed. False, with out left partly filled, for any other
// text.
bool ReadPlainObject(const std::string& text, std::map<std::string, std::string>* out) {
    std::size_t at = SkipBlanks(text, 0);
    if (at >= text.size() || text[at] != '{') return false;
    at = SkipBlanks(text, at + 1);
    if (at < text.size() && text[at] == '}') return SkipBlanks(text, at + 1) == text.size();
    std::string name;
    std::string value;
    while (at < text.size()) {
        std::size_t end = StringEnd(text, at);
        if (text[at] != '"' || end == std::string::npos || !PlainString(text, at, end, &name)) {
            return false;
        }
        at = SkipBlanks(text, end);
        if (at >= text.size() || text[at] != ':') return false;
        at = SkipBlanks(text, at + 1);
        if (at >= text.size() || text[at] != '"') return false;
        end = StringEnd(text, at);
        if (end == std::string::npos || !PlainString(text, at, end, &value)) return false;
        out->emplace(std::move(name), std::move(value));
        at = SkipBlanks(text, end);
        if (at >= text.size()) return false;
        if (text[at] == '}') return SkipBlanks(text, at + 1) == text.size();
        if (text[at] != ',') return false;
        at = SkipBlanks(text, at + 1);
    }
    return false;
}

}  // namespace

std::map<std::string, std::string> __SwitchStrToMap(std::string json) {
    std::map<std::string, std::string> result;
    if (ReadPlainObject(json, &result)) return result;
    result.clear();
    Json::Value root;
    // A top-level value that is not an object has no members to read: it counts as unreadable.
    if (!Parse(json, &root, true) || !root.isObject()) {
        QUIL_LOG(QUIL_LOG_INFO, "__SwitchToMap json parse failed, data: %s", json.c_str());
        return result;
    }
    const MemberVisitor keepFirst = [&result](std::string name, std::string text) {
        result.emplace(std::move(name), std::move(text));
    };
    if (ForEachMemberInTextOrder(json, keepFirst)) return result;
    result.clear();
    for (const std::string& name : root.getMemberNames()) keepFirst(name, AsText(root[name]));
    return result;
}
