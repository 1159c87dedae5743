// Reads a verified, decoded dispatch answer: {"dns": [{"host": ..., "ips": [...]}, ...]}.
// A pure function over a text, so that a fuzz target can drive it; any thread.
#pragma once

#include <string>

#include "ZentInfo.h"

class ZentBodyParser {
public:
    enum class Outcome {
        kParsed,   // info holds the addresses of the first element naming domain, or none
        kRefused,  // not JSON, or a shape that cannot be read without guessing; info untouched
    };

    // Walks "dns" from the start up to the first element whose "host" is domain and keeps its
    // "ips". A missing or non-array "dns", or no element naming domain, parses to an empty,
    // invalid info. Elements before the match that are not objects, and a matched "ips" that is
    // not an array of strings, refuse the answer. Never throws.
    static Outcome Parse(const std::string& text, const std::string& domain, ZentInfo* info);
};
