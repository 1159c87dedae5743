#include "ResponseBodyParser.h"

#include <json/json.h>

#include <exception>

#include "SpareJsonReader.h"

namespace {

std::unique_ptr<RetInfo> Make(std::string code, std::string message, int32_t errorType) {
    auto info = std::make_unique<RetInfo>();
    info->retCode = std::move(code);
    info->retMsg = std::move(message);
    info->errorType = errorType;
    return info;
}

std::unique_ptr<RetInfo> NoUsableRet() {
    return Make("FAIL_SYS_CUSTOM_ERROR", "server return error", 3);
}

}  // namespace

std::unique_ptr<RetInfo> ResponseBodyParser::Parse(const std::string& body) {
    // The body comes from the network and may be anything. JsonCpp throws where a value is
    // read as a type it does not have (a member of a non-object, an element of an object, the
    // text of an array) and where the parser's nesting limit is hit; each of these is a body
    // without a usable "ret", never an exception out of the call.
    Json::Value root;
    bool threw = false;
    try {
        // The result is ignored: a body that is not JSON leaves root as far as the parser got.
        SpareJsonReader::Parse(body.data(), body.data() + body.size(), root);
    } catch (const std::exception&) {
        threw = true;
    }
    return FromParsed(root, threw);
}

std::unique_ptr<RetInfo> ResponseBodyParser::FromParsed(const Json::Value& root, bool parserThrew) {
    if (parserThrew || !root.isObject()) return NoUsableRet();
    const Json::Value* ret = root.find("ret", "ret" + 3);
    if (ret == nullptr) return NoUsableRet();
    if (!(ret->isArray() || ret->isObject()) || ret->size() == 0) return NoUsableRet();
    // An object "ret" has no element 0 to read.
    if (!ret->isArray()) return NoUsableRet();
    const Json::Value& first = (*ret)[0];
    if (first.isArray() || first.isObject()) return NoUsableRet();

    std::string element;
    try {
        // Text as JsonCpp gives it: null is "", numbers and booleans their printed form.
        element = first.asString();
    } catch (const std::exception&) {
        return NoUsableRet();
    }
    const std::size_t separator = element.find("::");
    // Kept on purpose: a verdict without a separator counts as no error, with empty texts.
    if (separator == std::string::npos) return Make(std::string(), std::string(), 0);
    std::string code = element.substr(0, separator);
    std::string message = element.substr(separator + 2);
    const int32_t errorType = code == "SUCCESS" ? 0 : 3;
    return Make(std::move(code), std::move(message), errorType);
}
