// Call data of a given size for the benchmarks: JSON text with the usual mix of letters, digits,
// blanks and punctuation, so that URL encoding escapes a realistic share of it.
#pragma once

#include <cstddef>
#include <string>

namespace quil {
namespace bench {

inline std::string CallDataOfSize(std::size_t size) {
    static const char kItem[] =
        "{\"id\":1234567,\"name\":\"a gateway item, with blanks & marks\",\"price\":19.95,"
        "\"tags\":[\"blue\",\"large\"],\"note\":\"ok/fine?yes=1\"},";
    std::string text = "{\"items\":[";
    while (text.size() + sizeof(kItem) < size) {
        text += kItem;
    }
    text.resize(size > 2 ? size - 2 : 0, ' ');
    text += "]}";
    text.resize(size);
    return text;
}

}  // namespace bench
}  // namespace quil
