// The dispatch service's script in the gateway emulator: how it signs, and per call what it
// answers (code, sign, entries or raw text, status, delay). Plain values; reading a script from
// JSON is a pure function.
#pragma once

#include <string>
#include <vector>

namespace Json {
class Value;
}

namespace quil {

// One "dns" entry of a dispatch answer.
struct DispatchEntry {
    std::string host;
    std::vector<std::string> ips;
};

// How the dispatch service signs its answer.
enum class DispatchSignMode {
    kValid,    // "x-zn-sign" is the signature of the decoded answer
    kWrong,    // "x-zn-sign" is a well-formed signature of some other text
    kMissing,  // no "x-zn-sign" line
};

// One scripted answer of the dispatch service, used by one call (or times calls). What it
// leaves unset comes from the settings: entries, code and sign mode. The request's form and
// sign are still checked; a refusal keeps its own code but waits the delay too.
struct ScriptedDispatchAnswer {
    int delayMs = 0;       // wait this long before answering: holds a request in flight
    int status = 200;      // any other status answers with no header and no body
    bool hasCode = false;  // code replaces the settings' "x-zn-code"
    std::string code;
    bool hasSignMode = false;  // signMode replaces the settings' sign mode
    DispatchSignMode signMode = DispatchSignMode::kValid;
    bool hasEntries = false;  // entries replace the settings' "dns" entries
    std::vector<DispatchEntry> entries;
    bool hasText = false;  // text is the decoded answer instead of the "dns" JSON
    std::string text;
    int times = 1;  // how many calls this answer serves; -1 every call from then on
};

// Reads a script from its JSON form, an array of answers:
//   [{"delayMs": 0, "status": 200, "code": "1000", "sign": "valid|wrong|missing",
//     "dns": [{"host": "h", "ips": ["1.2.3.4"]}], "text": "decoded answer", "times": 1}, ...]
// Every member is optional. False with a message in error when the value does not fit.
bool ReadDispatchScript(const Json::Value& value, std::vector<ScriptedDispatchAnswer>* script,
                        std::string* error);

}  // namespace quil
