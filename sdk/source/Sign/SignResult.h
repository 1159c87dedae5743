// The answer of one signing: made by QuilSignImpl's Sign6_3 / Sign6_2 and owned (deleted) by
// the caller. A plain record; not shared between threads.
#pragma once

#include <map>
#include <string>

struct SignResult {
    // The wide road's signature; stays empty on the JSON road.
    std::string sign;
    // The JSON road's sign headers; stays empty on the wide road.
    std::map<std::string, std::string> signMap;
    // "0" on success, the closed library's code in decimal, or "-1" on a time-out.
    std::string errorCode;
};
