#include "JsonQuote.h"

#include <json/json.h>

#include <cstddef>

namespace {

// Printable ASCII other than the quote and the backslash: the writers copy it as it is. A
// table, because the sign line and its answer pass through here byte by byte on every call.
struct PlainTable {
    bool plain[256];
    constexpr PlainTable() : plain() {
        for (int c = 0x20; c < 0x7F; ++c) plain[c] = c != '"' && c != '\\';
    }
};
constexpr PlainTable kPlain;

bool Plain(unsigned char c) { return kPlain.plain[c]; }

}  // namespace

void JsonQuote::Append(std::string& out, const std::string& value) {
    const std::size_t start = out.size();
    out.reserve(start + value.size() + 2);
    out.push_back('"');
    std::size_t from = 0;
    for (std::size_t i = 0; i < value.size(); ++i) {
        const unsigned char c = static_cast<unsigned char>(value[i]);
        if (Plain(c)) continue;
        if (c != '"' && c != '\\') {
            // Control characters and non-ASCII have several escaped forms; JsonCpp's own
            // quoting decides them.
            Json::FastWriter writer;
            writer.omitEndingLineFeed();
            out.resize(start);
            out.append(writer.write(Json::Value(value)));
            return;
        }
        out.append(value, from, i - from).push_back('\\');
        from = i;
    }
    out.append(value, from, std::string::npos).push_back('"');
}

std::string JsonQuote::Quote(const std::string& value) {
    std::string quoted;
    Append(quoted, value);
    return quoted;
}
