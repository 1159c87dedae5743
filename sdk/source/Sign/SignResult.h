// The outcome of one signing. Allocated by the signing operation; the caller owns and deletes it.
#pragma once

#include <map>
#include <string>

struct SignResult {
    // The older protocol's signature; stays empty for the JSON protocol.
    std::string sign;
    // The JSON protocol's sign headers; stays empty for the older protocol.
    std::map<std::string, std::string> signMap;
    // "0" on success, the closed library's code in decimal, or "-1" on time-out.
    std::string errorCode;
};
