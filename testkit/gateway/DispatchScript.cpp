#include "DispatchScript.h"

#include <json/json.h>

namespace quil {

namespace {

bool ReadText(const Json::Value& answer, const char* name, bool* has, std::string* out,
              std::string* error) {
    if (!answer.isMember(name)) return true;
    if (!answer[name].isString()) {
        *error = std::string("\"") + name + "\" must be a string";
        return false;
    }
    *has = true;
    *out = answer[name].asString();
    return true;
}

bool ReadNumber(const Json::Value& answer, const char* name, int* out, std::string* error) {
    if (!answer.isMember(name)) return true;
    if (!answer[name].isInt()) {
        *error = std::string("\"") + name + "\" must be an integer";
        return false;
    }
    *out = answer[name].asInt();
    return true;
}

bool ReadSignMode(const Json::Value& answer, ScriptedDispatchAnswer* out, std::string* error) {
    if (!answer.isMember("sign")) return true;
    const Json::Value& sign = answer["sign"];
    const std::string mode = sign.isString() ? sign.asString() : std::string();
    if (mode == "valid") {
        out->signMode = DispatchSignMode::kValid;
    } else if (mode == "wrong") {
        out->signMode = DispatchSignMode::kWrong;
    } else if (mode == "missing") {
        out->signMode = DispatchSignMode::kMissing;
    } else {
        *error = "\"sign\" must be \"valid\", \"wrong\" or \"missing\"";
        return false;
    }
    out->hasSignMode = true;
    return true;
}

bool ReadEntries(const Json::Value& answer, ScriptedDispatchAnswer* out, std::string* error) {
    if (!answer.isMember("dns")) return true;
    const Json::Value& dns = answer["dns"];
    if (!dns.isArray()) {
        *error = "\"dns\" must be an array";
        return false;
    }
    for (const Json::Value& item : dns) {
        if (!item.isObject() || !item["host"].isString()) {
            *error = "a \"dns\" entry needs a \"host\" string";
            return false;
        }
        DispatchEntry entry;
        entry.host = item["host"].asString();
        const Json::Value& ips = item["ips"];
        if (!ips.isNull() && !ips.isArray()) {
            *error = "\"ips\" must be an array of strings";
            return false;
        }
        for (const Json::Value& ip : ips) {
            if (!ip.isString()) {
                *error = "\"ips\" must be an array of strings";
                return false;
            }
            entry.ips.push_back(ip.asString());
        }
        out->entries.push_back(entry);
    }
    out->hasEntries = true;
    return true;
}

bool ReadOne(const Json::Value& value, ScriptedDispatchAnswer* answer, std::string* error) {
    if (!value.isObject()) {
        *error = "a dispatch answer must be an object";
        return false;
    }
    if (!ReadNumber(value, "delayMs", &answer->delayMs, error) ||
        !ReadNumber(value, "status", &answer->status, error) ||
        !ReadNumber(value, "times", &answer->times, error) ||
        !ReadText(value, "code", &answer->hasCode, &answer->code, error) ||
        !ReadText(value, "text", &answer->hasText, &answer->text, error) ||
        !ReadSignMode(value, answer, error) || !ReadEntries(value, answer, error)) {
        return false;
    }
    if (answer->delayMs < 0 || answer->times == 0 || answer->times < -1 || answer->status < 100 ||
        answer->status > 999) {
        *error = "\"delayMs\", \"times\" or \"status\" out of range";
        return false;
    }
    return true;
}

}  // namespace

bool ReadDispatchScript(const Json::Value& value, std::vector<ScriptedDispatchAnswer>* script,
                        std::string* error) {
    if (!value.isArray()) {
        *error = "\"dispatchScript\" must be an array";
        return false;
    }
    for (const Json::Value& item : value) {
        ScriptedDispatchAnswer answer;
        if (!ReadOne(item, &answer, error)) {
            *error = "dispatchScript: " + *error;
            return false;
        }
        script->push_back(answer);
    }
    return true;
}

}  // namespace quil
