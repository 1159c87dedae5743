#include "GatewayEndpoint.h"

#include <json/json.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <memory>

#include "GatewaySignInput.h"
#include "WireCodec.h"

namespace quil {

namespace {

constexpr char kJsonType[] = "application/json;charset=UTF-8";

std::string CompactJson(const Json::Value& value) {
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "";
    return Json::writeString(writer, value);
}

// The "data" member of an answer: the request's data when it is a JSON object, otherwise an
// object that carries the data text under "echo".
Json::Value EchoOf(const std::string& data) {
    Json::Value parsed;
    Json::CharReaderBuilder builder;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    if (reader->parse(data.data(), data.data() + data.size(), &parsed, nullptr) &&
        parsed.isObject()) {
        return parsed;
    }
    Json::Value echo(Json::objectValue);
    echo["echo"] = data;
    return echo;
}

EmulatorAnswer GatewayAnswer(const GatewayCall& call, const std::string& code,
                             const std::string& message, const Json::Value& data) {
    EmulatorAnswer answer;
    answer.status = 200;
    answer.code = code;
    answer.headers.emplace_back("Content-Type", kJsonType);
    if (code != "SUCCESS") {
        answer.headers.emplace_back("x-retcode", code);
    }
    Json::Value body(Json::objectValue);
    body["api"] = call.api;
    body["v"] = call.version;
    body["ret"].append(code + "::" + message);
    body["data"] = data;
    answer.body = CompactJson(body);
    return answer;
}

bool ParseSeconds(const std::string& text, long long* value) {
    if (text.empty()) {
        return false;
    }
    errno = 0;
    char* end = nullptr;
    *value = std::strtoll(text.c_str(), &end, 10);
    return errno == 0 && end != nullptr && *end == '\0';
}

}  // namespace

EmulatorAnswer GatewayEndpoint::Answer(ReceivedRequest& request) const {
    const auto started = std::chrono::steady_clock::now();
    GatewayCall call;
    if (!ReadGatewayCall(request, &call)) {
        EmulatorAnswer notFound;
        notFound.status = 404;
        notFound.code = "NOT_FOUND";
        return notFound;
    }
    const Json::Value empty(Json::objectValue);
    EmulatorAnswer answer;
    bool decided = false;
    int delayMs = 0;
    if (settings_.VerifySignatures()) {
        const SignVerdict verdict = VerifyGatewaySignature(request, call, settings_.AppKey());
        request.signInput = verdict.signInput;
        if (!verdict.valid) {
            answer = GatewayAnswer(call, "FAIL_SYS_ILEGEL_SIGN", "illegal sign", empty);
            decided = true;
        }
    }
    ScriptedAnswer scripted;
    if (!decided && settings_.TakeScripted(call.api, &scripted)) {
        if (scripted.status != 0 || scripted.closeWithoutAnswer) {
            answer.status = scripted.status;
            answer.headers = scripted.headers;
            answer.body = scripted.body;
            answer.closeWithoutAnswer = scripted.closeWithoutAnswer;
            answer.code = scripted.closeWithoutAnswer ? "scripted close" : "scripted";
            decided = true;
        }
        delayMs = scripted.delayMs;
    }
    if (!decided) {
        long long timestamp = 0;
        const int64_t now = settings_.Now();
        const bool readable = ParseSeconds(UrlDecode(request.Header("x-t")), &timestamp);
        if (!readable || timestamp > now + settings_.Skew() || timestamp < now - settings_.Skew()) {
            answer = GatewayAnswer(call, "FAIL_SYS_REQUEST_EXPIRED", "request expired", empty);
            answer.headers.emplace_back("x-systime", std::to_string(now));
            decided = true;
        }
    }
    if (!decided && settings_.NeedsSession(call.api)) {
        std::string sid;
        if (!request.FindHeader("x-sid", &sid) || !settings_.IsSession(UrlDecode(sid))) {
            answer = GatewayAnswer(call, "FAIL_SYS_SESSION_EXPIRED", "session expired", empty);
            decided = true;
        }
    }
    if (!decided) {
        answer = GatewayAnswer(call, "SUCCESS", "call succeeded", EchoOf(call.data));
    }
    answer.delayMs = delayMs;
    if (!answer.closeWithoutAnswer) {
        const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(
            std::chrono::steady_clock::now() - started);
        answer.headers.emplace_back("s-rt", std::to_string(elapsed.count()));
        std::string ombrel;
        if (settings_.EchoOmbrel() && request.FindHeader("a-ombrel-q", &ombrel)) {
            answer.headers.emplace_back("a-ombrel-p", ombrel);
        }
    }
    return answer;
}

}  // namespace quil
