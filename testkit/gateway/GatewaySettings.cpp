#include "GatewaySettings.h"

#include <ctime>

#include "ReceivedRequest.h"

namespace quil {

void GatewaySettings::SetAppKey(const std::string& appKey) {
    std::lock_guard<std::mutex> lock(mutex_);
    appKey_ = appKey;
}

std::string GatewaySettings::AppKey() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return appKey_;
}

int64_t GatewaySettings::Now() const {
    return static_cast<int64_t>(std::time(nullptr)) + clockOffset_.load();
}

void GatewaySettings::AddSession(const std::string& sid) {
    std::lock_guard<std::mutex> lock(mutex_);
    sessions_.insert(sid);
}

void GatewaySettings::RemoveSession(const std::string& sid) {
    std::lock_guard<std::mutex> lock(mutex_);
    sessions_.erase(sid);
}

bool GatewaySettings::IsSession(const std::string& sid) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return sessions_.count(sid) != 0;
}

void GatewaySettings::RequireSession(const std::string& api, bool required) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (required) {
        sessionApis_.insert(AsciiLower(api));
    } else {
        sessionApis_.erase(AsciiLower(api));
    }
}

bool GatewaySettings::NeedsSession(const std::string& api) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return sessionApis_.count(AsciiLower(api)) != 0;
}

void GatewaySettings::AddScript(const std::string& api,
                                const std::vector<ScriptedAnswer>& answers) {
    std::lock_guard<std::mutex> lock(mutex_);
    std::deque<ScriptedAnswer>& script = scripts_[AsciiLower(api)];
    script.insert(script.end(), answers.begin(), answers.end());
}

void GatewaySettings::ClearScripts() {
    std::lock_guard<std::mutex> lock(mutex_);
    scripts_.clear();
}

bool GatewaySettings::TakeScripted(const std::string& api, ScriptedAnswer* answer) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (scripts_.empty()) {
        return false;
    }
    auto found = scripts_.find(AsciiLower(api));
    if (found == scripts_.end() || found->second.empty()) {
        return false;
    }
    ScriptedAnswer& next = found->second.front();
    *answer = next;
    if (next.times > 0 && --next.times == 0) {
        found->second.pop_front();
    }
    return true;
}

void GatewaySettings::SetDispatchEntries(const std::vector<DispatchEntry>& entries) {
    std::lock_guard<std::mutex> lock(mutex_);
    dispatchEntries_ = entries;
}

std::vector<DispatchEntry> GatewaySettings::DispatchEntries() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return dispatchEntries_;
}

void GatewaySettings::SetDispatchCode(const std::string& code) {
    std::lock_guard<std::mutex> lock(mutex_);
    dispatchCode_ = code;
}

std::string GatewaySettings::DispatchCode() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return dispatchCode_;
}

void GatewaySettings::AddDispatchScript(const std::vector<ScriptedDispatchAnswer>& answers) {
    std::lock_guard<std::mutex> lock(mutex_);
    dispatchScript_.insert(dispatchScript_.end(), answers.begin(), answers.end());
}

bool GatewaySettings::TakeDispatchScripted(ScriptedDispatchAnswer* answer) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (dispatchScript_.empty()) {
        return false;
    }
    ScriptedDispatchAnswer& next = dispatchScript_.front();
    *answer = next;
    if (next.times > 0 && --next.times == 0) {
        dispatchScript_.pop_front();
    }
    return true;
}

void GatewaySettings::Apply(const GatewayScenario& scenario) {
    for (const auto& script : scenario.scripts) {
        AddScript(script.first, script.second);
    }
    for (const std::string& sid : scenario.sessions) {
        AddSession(sid);
    }
    for (const std::string& api : scenario.sessionApis) {
        RequireSession(api, true);
    }
    if (scenario.hasDispatchEntries) {
        SetDispatchEntries(scenario.dispatchEntries);
    }
    if (!scenario.dispatchScript.empty()) {
        AddDispatchScript(scenario.dispatchScript);
    }
    if (scenario.hasEchoOmbrel) {
        SetEchoOmbrel(scenario.echoOmbrel);
    }
}

}  // namespace quil
