// SpareJsonReader: the parse of a default Json::Reader without making one per call. Making a
// Json::Reader builds two deques (six allocations); every call parses the gateway's body, so
// one reader is kept spare and reused. Any thread may call; a caller that finds the spare taken
// makes its own, and only one reader is ever kept.
#pragma once

namespace Json {
class Value;
}

class SpareJsonReader {
public:
    // Exactly Json::Reader().parse(begin, end, root) with comments collected: the same result,
    // the same tree, and the same exception where the parser's nesting limit throws. A
    // Json::Reader sets every piece of its state at the start of each parse, which is what
    // makes the reuse the same parse.
    static bool Parse(const char* begin, const char* end, Json::Value& root);
};
