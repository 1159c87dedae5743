// Any answer body: the verdict reader must not crash or throw, always gives a verdict, and
// reads the same verdict whether it parses the body itself or is handed the parse.
#include <json/json.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <memory>
#include <string>

#include "FuzzLog.h"
#include "ResponseBodyParser.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    quil::fuzz::InstallFuzzLog();
    const std::string body(reinterpret_cast<const char*>(data), size);
    const std::unique_ptr<RetInfo> direct = ResponseBodyParser::Parse(body);
    if (!direct) std::abort();

    Json::Value root;
    bool threw = false;
    try {
        Json::Reader reader;
        reader.parse(body.data(), body.data() + body.size(), root);
    } catch (const std::exception&) {
        threw = true;
    }
    const std::unique_ptr<RetInfo> handed = ResponseBodyParser::FromParsed(root, threw);
    if (!handed || handed->retCode != direct->retCode || handed->retMsg != direct->retMsg ||
        handed->errorType != direct->errorType) {
        std::abort();
    }
    return 0;
}
