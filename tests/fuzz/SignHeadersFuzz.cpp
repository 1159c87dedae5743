// Any text the closed library may give as its sign headers: the reader must not crash or
// throw, and a text it cannot read as an object gives an empty map.
#include <json/json.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <map>
#include <string>

#include "FuzzLog.h"
#include "SwitchStrToMap.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    quil::fuzz::InstallFuzzLog();
    const std::string text(reinterpret_cast<const char*>(data), size);
    const std::map<std::string, std::string> headers = __SwitchStrToMap(text);

    // Every entry is a member of the object a JSON reader finds in the same text.
    Json::Value root;
    try {
        Json::Reader reader;
        if (!reader.parse(text, root, false) || !root.isObject()) {
            if (!headers.empty()) std::abort();
            return 0;
        }
    } catch (const std::exception&) {
        return 0;
    }
    for (const auto& entry : headers) {
        if (!root.isMember(entry.first)) std::abort();
    }
    return 0;
}
