#include "DispatchEndpoint.h"

#include <json/json.h>

#include <map>

#include "StandInSignature.h"
#include "WireCodec.h"

namespace quil {

namespace {

// The form keys whose values, in this order and joined by "&", the client signs.
const char* const kSignedKeys[] = {
    "appkey", "domain", "appName", "appVersion", "bssid",   "channel",  "deviceId",
    "lat",    "lng",    "machine", "netType",    "other",   "platform", "platformVersion",
    "preIp",  "sid",    "t",       "v",          "signType"};

EmulatorAnswer Refusal(const std::string& code) {
    EmulatorAnswer answer;
    answer.status = 200;
    answer.code = code;
    answer.headers.emplace_back("x-zn-code", code);
    return answer;
}

}  // namespace

std::string DispatchEndpoint::AnswerText(const std::vector<DispatchEntry>& entries) {
    Json::Value root(Json::objectValue);
    root["dns"] = Json::Value(Json::arrayValue);
    for (const DispatchEntry& entry : entries) {
        Json::Value item(Json::objectValue);
        item["host"] = entry.host;
        item["ips"] = Json::Value(Json::arrayValue);
        for (const std::string& ip : entry.ips) {
            item["ips"].append(ip);
        }
        root["dns"].append(item);
    }
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "";
    return Json::writeString(writer, root);
}

EmulatorAnswer DispatchEndpoint::Answer(ReceivedRequest& request) const {
    // Every call takes its scripted answer, refused or not, so that a script counts calls.
    ScriptedDispatchAnswer scripted;
    const bool isScripted = settings_.TakeDispatchScripted(&scripted);
    EmulatorAnswer answer = Decide(request, isScripted ? &scripted : nullptr);
    if (isScripted) {
        answer.delayMs = scripted.delayMs;
    }
    return answer;
}

EmulatorAnswer DispatchEndpoint::Decide(ReceivedRequest& request,
                                        const ScriptedDispatchAnswer* scripted) const {
    if (request.method != "POST") {
        return Refusal(kDispatchBadForm);
    }
    const std::map<std::string, std::string> form = DecodeForm(request.body);
    std::string signInput;
    bool first = true;
    for (const char* key : kSignedKeys) {
        auto found = form.find(key);
        if (found == form.end()) {
            return Refusal(kDispatchBadForm);
        }
        if (!first) {
            signInput += "&";
        }
        signInput += found->second;
        first = false;
    }
    request.signInput = signInput;
    const std::string configuredKey = settings_.AppKey();
    const std::string appKey = configuredKey.empty() ? form.at("appkey") : configuredKey;
    auto sign = form.find("sign");
    if (sign == form.end() ||
        sign->second != standin::Signature(appKey, standin::kLabelUrlMethod2, signInput)) {
        return Refusal(kDispatchBadSign);
    }
    EmulatorAnswer answer;
    if (scripted != nullptr && scripted->status != 200) {
        answer.status = scripted->status;
        answer.code = std::to_string(scripted->status);
        return answer;
    }
    std::string text;
    if (scripted != nullptr && scripted->hasText) {
        text = scripted->text;
    } else {
        text =
            AnswerText(scripted != nullptr && scripted->hasEntries ? scripted->entries
                                                                   : settings_.DispatchEntries());
    }
    answer.status = 200;
    answer.code =
        scripted != nullptr && scripted->hasCode ? scripted->code : settings_.DispatchCode();
    answer.headers.emplace_back("Content-Type", "text/plain;charset=UTF-8");
    answer.headers.emplace_back("x-zn-code", answer.code);
    const DispatchSignMode signMode = scripted != nullptr && scripted->hasSignMode
                                          ? scripted->signMode
                                          : settings_.GetDispatchSignMode();
    switch (signMode) {
        case DispatchSignMode::kValid:
            answer.headers.emplace_back(
                "x-zn-sign", standin::Signature(appKey, standin::kLabelUrlMethod2, text));
            break;
        case DispatchSignMode::kWrong:
            answer.headers.emplace_back(
                "x-zn-sign",
                standin::Signature(appKey, standin::kLabelUrlMethod2, text + " (not this)"));
            break;
        case DispatchSignMode::kMissing:
            break;
    }
    answer.body = Base64Encode(text);
    return answer;
}

}  // namespace quil
