#include "GatewayScenario.h"

#include <json/json.h>

#include <fstream>
#include <memory>
#include <sstream>

#include "ReceivedRequest.h"

namespace quil {

namespace {

std::string CompactJson(const Json::Value& value) {
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "";
    return Json::writeString(writer, value);
}

bool ReadStringList(const Json::Value& value, const char* name, std::vector<std::string>* out,
                    std::string* error) {
    if (!value.isArray()) {
        *error = std::string("\"") + name + "\" must be an array of strings";
        return false;
    }
    for (const Json::Value& item : value) {
        if (!item.isString()) {
            *error = std::string("\"") + name + "\" must be an array of strings";
            return false;
        }
        out->push_back(item.asString());
    }
    return true;
}

bool ReadInt(const Json::Value& answer, const char* name, int* out, std::string* error) {
    if (!answer.isMember(name)) {
        return true;
    }
    if (!answer[name].isInt()) {
        *error = std::string("\"") + name + "\" must be an integer";
        return false;
    }
    *out = answer[name].asInt();
    return true;
}

bool ReadHeaders(const Json::Value& headers, ScriptedAnswer* answer, std::string* error) {
    if (headers.isObject()) {
        for (const std::string& name : headers.getMemberNames()) {
            if (!headers[name].isString()) {
                *error = "header values must be strings";
                return false;
            }
            answer->headers.emplace_back(name, headers[name].asString());
        }
        return true;
    }
    if (headers.isArray()) {
        for (const Json::Value& pair : headers) {
            if (!pair.isArray() || pair.size() != 2 || !pair[0].isString() || !pair[1].isString()) {
                *error = "a header pair must be [name, value]";
                return false;
            }
            answer->headers.emplace_back(pair[0].asString(), pair[1].asString());
        }
        return true;
    }
    *error = "\"headers\" must be an object or an array of pairs";
    return false;
}

bool ReadAnswer(const Json::Value& value, ScriptedAnswer* answer, std::string* error) {
    if (!value.isObject()) {
        *error = "an answer must be an object";
        return false;
    }
    if (!ReadInt(value, "status", &answer->status, error) ||
        !ReadInt(value, "delayMs", &answer->delayMs, error) ||
        !ReadInt(value, "times", &answer->times, error)) {
        return false;
    }
    if (value.isMember("headers") && !ReadHeaders(value["headers"], answer, error)) {
        return false;
    }
    if (value.isMember("body")) {
        const Json::Value& body = value["body"];
        answer->body = body.isString() ? body.asString() : CompactJson(body);
    }
    if (value.isMember("close")) {
        if (!value["close"].isBool()) {
            *error = "\"close\" must be true or false";
            return false;
        }
        answer->closeWithoutAnswer = value["close"].asBool();
    }
    if (answer->delayMs < 0 || answer->times == 0 || answer->times < -1 || answer->status < 0 ||
        answer->status > 999) {
        *error = "\"delayMs\", \"times\" or \"status\" out of range";
        return false;
    }
    return true;
}

bool ReadDns(const Json::Value& dns, GatewayScenario* scenario, std::string* error) {
    if (!dns.isArray()) {
        *error = "\"dns\" must be an array";
        return false;
    }
    scenario->hasDispatchEntries = true;
    for (const Json::Value& item : dns) {
        if (!item.isObject() || !item["host"].isString()) {
            *error = "a \"dns\" entry needs a \"host\" string";
            return false;
        }
        DispatchEntry entry;
        entry.host = item["host"].asString();
        if (item.isMember("ips") && !ReadStringList(item["ips"], "ips", &entry.ips, error)) {
            return false;
        }
        scenario->dispatchEntries.push_back(entry);
    }
    return true;
}

}  // namespace

bool ParseGatewayScenario(const std::string& json, GatewayScenario* scenario, std::string* error) {
    Json::Value root;
    Json::CharReaderBuilder builder;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    std::string parseError;
    if (!reader->parse(json.data(), json.data() + json.size(), &root, &parseError)) {
        *error = "not JSON: " + parseError;
        return false;
    }
    if (!root.isObject()) {
        *error = "a scenario must be a JSON object";
        return false;
    }
    GatewayScenario result;
    if (root.isMember("apis")) {
        const Json::Value& apis = root["apis"];
        if (!apis.isObject()) {
            *error = "\"apis\" must be an object";
            return false;
        }
        for (const std::string& api : apis.getMemberNames()) {
            if (!apis[api].isArray()) {
                *error = "the answers of \"" + api + "\" must be an array";
                return false;
            }
            std::vector<ScriptedAnswer>& answers = result.scripts[AsciiLower(api)];
            for (const Json::Value& value : apis[api]) {
                ScriptedAnswer answer;
                if (!ReadAnswer(value, &answer, error)) {
                    *error = api + ": " + *error;
                    return false;
                }
                answers.push_back(answer);
            }
        }
    }
    if (root.isMember("sessions") &&
        !ReadStringList(root["sessions"], "sessions", &result.sessions, error)) {
        return false;
    }
    if (root.isMember("needSession") &&
        !ReadStringList(root["needSession"], "needSession", &result.sessionApis, error)) {
        return false;
    }
    if (root.isMember("dns") && !ReadDns(root["dns"], &result, error)) {
        return false;
    }
    if (root.isMember("dispatchScript") &&
        !ReadDispatchScript(root["dispatchScript"], &result.dispatchScript, error)) {
        return false;
    }
    if (root.isMember("echoOmbrel")) {
        if (!root["echoOmbrel"].isBool()) {
            *error = "\"echoOmbrel\" must be true or false";
            return false;
        }
        result.hasEchoOmbrel = true;
        result.echoOmbrel = root["echoOmbrel"].asBool();
    }
    *scenario = std::move(result);
    return true;
}

bool LoadGatewayScenarioFile(const std::string& path, GatewayScenario* scenario,
                             std::string* error) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        *error = "cannot read " + path;
        return false;
    }
    std::ostringstream text;
    text << file.rdbuf();
    return ParseGatewayScenario(text.str(), scenario, error);
}

}  // namespace quil
