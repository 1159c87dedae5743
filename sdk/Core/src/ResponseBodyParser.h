// ResponseBodyParser: reads the gateway's verdict from an answer body: the first element of
// its "ret" array, "code::message". Stateless; any thread may call it.
#pragma once

#include <memory>
#include <string>

#include "RetInfo.h"

namespace Json {
class Value;
}

class ResponseBodyParser {
public:
    // Never null. A body without a usable "ret" (not JSON, not an object, no "ret", an empty
    // or scalar "ret", or one whose first element is not text-like) gives
    // "FAIL_SYS_CUSTOM_ERROR" / "server return error" / 3. Never throws.
    static std::unique_ptr<RetInfo> Parse(const std::string& body);
    // The same verdict from a body the caller has already parsed with a default Json::Reader:
    // root is what the parser left, parserThrew whether it threw. Spares a second parse.
    static std::unique_ptr<RetInfo> FromParsed(const Json::Value& root, bool parserThrew);
};
