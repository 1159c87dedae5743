#include "ResponseRenderer.h"

#include <json/json.h>

#include <memory>
#include <sstream>
#include <vector>

#include "TimingWaterfall.h"

namespace quil {

namespace {

// The body as JSON when it is an object or an array, so that it can be shown structured.
bool ParseBody(const std::string& body, Json::Value* value) {
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    std::string ignored;
    return reader->parse(body.data(), body.data() + body.size(), value, &ignored) &&
           (value->isObject() || value->isArray());
}

std::string Write(const Json::Value& value, const char* indentation) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = indentation;
    builder["emitUTF8"] = true;
    return Json::writeString(builder, value);
}

// A compact scalar, as the one-line writer prints it.
std::string Scalar(const Json::Value& value) { return Write(value, ""); }

// Two blanks per level, a key and its value on one line, empty containers as {} and [].
void Pretty(const Json::Value& value, int depth, std::string* out) {
    const std::string inner(static_cast<std::size_t>(depth + 1) * 2, ' ');
    const std::string outer(static_cast<std::size_t>(depth) * 2, ' ');
    if (value.isObject() && !value.empty()) {
        *out += "{\n";
        const std::vector<std::string> keys = value.getMemberNames();
        for (std::size_t i = 0; i < keys.size(); ++i) {
            *out += inner + Scalar(Json::Value(keys[i])) + ": ";
            Pretty(value[keys[i]], depth + 1, out);
            *out += i + 1 < keys.size() ? ",\n" : "\n";
        }
        *out += outer + "}";
    } else if (value.isArray() && !value.empty()) {
        *out += "[\n";
        for (Json::ArrayIndex i = 0; i < value.size(); ++i) {
            *out += inner;
            Pretty(value[i], depth + 1, out);
            *out += i + 1 < value.size() ? ",\n" : "\n";
        }
        *out += outer + "]";
    } else if (value.isObject()) {
        *out += "{}";
    } else if (value.isArray()) {
        *out += "[]";
    } else {
        *out += Scalar(value);
    }
}

Json::Value TimingJson(const PerformanceReport& report) {
    Json::Value timing(Json::arrayValue);
    for (const TimingPhase& phase : TimingPhases(report)) {
        Json::Value entry(Json::objectValue);
        entry["phase"] = phase.name;
        entry["reached"] = phase.reached;
        if (phase.reached) {
            entry["startMs"] = phase.startMs;
            entry["ms"] = phase.durationMs;
        }
        timing.append(entry);
    }
    return timing;
}

Json::Value PerformanceJson(const PerformanceReport& report) {
    Json::Value performance(Json::objectValue);
    for (const auto& dimension : report.dimensions) {
        performance[dimension.first] = dimension.second;
    }
    for (const auto& measure : report.measures) {
        performance[measure.first] = measure.second;
    }
    return performance;
}

// The lines that say what the traffic protection did, each starting "traffic: ".
std::string TrafficLines(const TrafficNote& note) {
    std::string lines;
    if (note.resends > 0) {
        lines += "traffic: resent " + std::to_string(note.resends) +
                 (note.resends == 1 ? " time" : " times") + " on the security library's verdict\n";
    }
    if (note.banStarted) {
        lines += "traffic: this answer started a flow-control ban of " +
                 std::to_string(note.banSeconds) + " s, until " + note.banUntil + "\n";
    }
    if (note.refused) {
        lines += "traffic: refused locally by a flow-control ban" +
                 (note.banUntil.empty() ? std::string() : " until " + note.banUntil) +
                 "; no request went out\n";
    }
    return lines;
}

Json::Value TrafficJson(const TrafficNote& note) {
    Json::Value traffic(Json::objectValue);
    traffic["resends"] = note.resends;
    traffic["refusedLocally"] = note.refused;
    traffic["banStarted"] = note.banStarted;
    if (note.banStarted) traffic["banSeconds"] = static_cast<Json::Int64>(note.banSeconds);
    if (!note.banUntil.empty()) traffic["banUntil"] = note.banUntil;
    return traffic;
}

}  // namespace

std::string RenderText(const CallOutcome& outcome) {
    if (!outcome.answered) {
        return "no response: " + outcome.failure + "\n" + TrafficLines(outcome.traffic);
    }
    std::ostringstream out;
    out << TrafficLines(outcome.traffic);
    out << "status: " << outcome.status << "\n";
    out << "retCode: " << outcome.retCode << "\n";
    out << "retMsg: " << outcome.retMsg << "\n";
    out << "errorType: " << outcome.errorType << "\n";
    out << "headers:" << (outcome.headers.empty() ? " none" : "") << "\n";
    for (const auto& header : outcome.headers) {
        out << "  " << header.first << ": " << header.second << "\n";
    }
    Json::Value body;
    if (outcome.body.empty()) {
        out << "body: empty\n";
    } else if (ParseBody(outcome.body, &body)) {
        std::string pretty;
        Pretty(body, 0, &pretty);
        out << "body:\n" << pretty << "\n";
    } else {
        out << "body:\n" << outcome.body;
        if (outcome.body.back() != '\n') {
            out << "\n";
        }
    }
    return out.str();
}

std::string RenderJson(const CallOutcome& outcome, const PerformanceReport* report) {
    Json::Value root(Json::objectValue);
    root["answered"] = outcome.answered;
    if (!outcome.answered) {
        root["failure"] = outcome.failure;
    } else {
        root["success"] = outcome.success;
        root["status"] = outcome.status;
        root["retCode"] = outcome.retCode;
        root["retMsg"] = outcome.retMsg;
        root["errorType"] = outcome.errorType;
        root["requestId"] = outcome.requestId;
        Json::Value headers(Json::objectValue);
        for (const auto& header : outcome.headers) {
            headers[header.first] = header.second;
        }
        root["headers"] = headers;
        Json::Value body;
        root["body"] = ParseBody(outcome.body, &body) ? body : Json::Value(outcome.body);
    }
    if (outcome.traffic.Any()) {
        root["traffic"] = TrafficJson(outcome.traffic);
    }
    root["exitCode"] = ExitCodeFor(outcome);
    if (report != nullptr) {
        root["timing"] = TimingJson(*report);
        root["performance"] = PerformanceJson(*report);
    }
    return Write(root, "") + "\n";
}

}  // namespace quil
