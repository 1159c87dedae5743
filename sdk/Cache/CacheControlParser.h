// CacheControlParser: reads a "cache-control" value into the maxAge and offline fields of a
// stored record. A pure function on a text, callable on any input (a fuzz target drives it);
// any thread may call.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

class CacheControlParser {
public:
    // Splits value at each ",", keeping empty pieces and blanks. For each piece, in order:
    //   - a piece that does not begin with "max-age=" (so also one without it) sets maxAge to
    //     the number from its ninth byte on (CacheNumber::Read); a piece of eight bytes or
    //     fewer has no text there and sets 0;
    //   - a piece that begins with "max-age=" sets offline when it equals "of=on", which it
    //     never does. So "max-age=60" leaves maxAge as it was.
    // Neither pointer may be null.
    static void Parse(const std::string& value, int32_t* maxAge, bool* offline);

    // The pieces of value between its commas, empty ones included ("a,,b," gives four).
    static std::vector<std::string> Split(const std::string& value);
};
