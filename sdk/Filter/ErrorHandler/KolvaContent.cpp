#include "KolvaContent.h"

#include <json/json.h>

#include <climits>
#include <cstdlib>
#include <exception>

std::string KolvaContent::Build(const std::map<std::string, std::string>& headers, int statusCode) {
    Json::Value header(Json::objectValue);
    for (const auto& entry : headers) {
        header[entry.first] = entry.second;
    }
    header["native_login"] = "true";
    Json::Value content(Json::objectValue);
    content["header"] = header;
    content["httpCode"] = statusCode;
    Json::FastWriter writer;
    return writer.write(content);
}

KolvaContent::BanLength KolvaContent::ReadBanSeconds(const std::string& actionParam, int* seconds) {
    // The word is looked for before the text is parsed: a parameter that never names it asks
    // for no ban, while one that names it in a text that is not JSON asks for the default.
    if (actionParam.find("kv-sleep") == std::string::npos) {
        return BanLength::kNone;
    }
    Json::Value param;
    Json::Reader reader;
    if (!reader.parse(actionParam, param)) {
        return BanLength::kDefault;
    }
    std::string text;
    try {
        // A verdict that is not an object, or whose member is an array or object, makes the
        // JSON library throw; this runs on a network worker, so it counts as unreadable.
        text = param["kv-sleep"].asString();
    } catch (const std::exception&) {
        return BanLength::kDefault;
    }
    // 64-bit on every platform (a Windows long has 32 bits); the result is held within int,
    // the unit in which bans are recorded.
    const long long milliseconds = std::strtoll(text.c_str(), nullptr, 10);
    long long whole = milliseconds / 1000;
    if (whole > INT_MAX) whole = INT_MAX;
    if (whole < INT_MIN) whole = INT_MIN;
    *seconds = static_cast<int>(whole);
    return BanLength::kRead;
}
