// Scripted behaviour of the gateway emulator: per API a sequence of answers (status, headers,
// body, delay, or closing without an answer), plus sessions, APIs that need one and dispatch
// entries, set in-process or read from a JSON file. Plain values; parsing is a pure function.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "DispatchScript.h"

namespace quil {

// One scripted answer to a "/gw/" call. A status of 0 means the emulator's own answer, given
// after delayMs: so {delayMs} alone scripts a slow but otherwise normal call.
struct ScriptedAnswer {
    int status = 0;
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;
    int delayMs = 0;
    bool closeWithoutAnswer = false;
    int times = 1;  // how many calls this answer serves; -1 serves every call from then on
};

// What a scenario file holds. Every part is optional; absent parts change nothing.
struct GatewayScenario {
    std::map<std::string, std::vector<ScriptedAnswer>> scripts;  // key: api, lower case
    std::vector<std::string> sessions;                           // valid session ids
    std::vector<std::string> sessionApis;                        // APIs that need a session
    bool hasDispatchEntries = false;
    std::vector<DispatchEntry> dispatchEntries;
    std::vector<ScriptedDispatchAnswer> dispatchScript;  // appended to the dispatch script
    bool hasEchoOmbrel = false;
    bool echoOmbrel = false;
};

// Reads a scenario from JSON text:
//   {"apis": {"<api>": [{"status": 419, "headers": {"x-retcode": "..."}, "body": "...",
//                        "delayMs": 0, "close": false, "times": 1}, ...]},
//    "sessions": ["sid"], "needSession": ["<api>"],
//    "dns": [{"host": "h", "ips": ["1.2.3.4"]}], "echoOmbrel": true,
//    "dispatchScript": [...]}  (the answers of the dispatch service, see DispatchScript.h)
// A "body" that is an object or array is written as compact JSON; "headers" may also be an
// array of [name, value] pairs. False with a message in error when the text does not fit.
bool ParseGatewayScenario(const std::string& json, GatewayScenario* scenario, std::string* error);

// Reads the file at path and parses it as above.
bool LoadGatewayScenarioFile(const std::string& path, GatewayScenario* scenario,
                             std::string* error);

}  // namespace quil
