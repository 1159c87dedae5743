#include "ScriptedSign.h"

#include <utility>

namespace quil {
namespace test {

ScriptedSignOutcome ScriptedSignOutcome::Null() {
    ScriptedSignOutcome outcome;
    outcome.isNull = true;
    return outcome;
}

ScriptedSignOutcome ScriptedSignOutcome::Empty(const std::string& errorCode) {
    ScriptedSignOutcome outcome;
    outcome.errorCode = errorCode;
    return outcome;
}

ScriptedSignOutcome ScriptedSignOutcome::Headers(std::map<std::string, std::string> signMap) {
    ScriptedSignOutcome outcome;
    outcome.signMap = std::move(signMap);
    outcome.errorCode = "0";
    return outcome;
}

ScriptedSignOutcome ScriptedSignOutcome::Signature(const std::string& sign) {
    ScriptedSignOutcome outcome;
    outcome.sign = sign;
    outcome.errorCode = "0";
    return outcome;
}

ScriptedSign::ScriptedSign()
    : default63_(ScriptedSignOutcome::Headers({{"x-sign", "sign63"}})),
      default62_(ScriptedSignOutcome::Signature("sign62")) {}

bool ScriptedSign::Start() {
    std::lock_guard<std::mutex> lock(mutex_);
    ++startCount_;
    return startCount_ == 1;
}

bool ScriptedSign::Stop() { return true; }

SignResult* ScriptedSign::Sign6_2(int seqId, std::string& data, int method) {
    std::lock_guard<std::mutex> lock(mutex_);
    SignCall call;
    call.version = "6.2";
    call.seqId = seqId;
    call.data = data;
    call.method = method;
    calls_.push_back(call);
    ScriptedSignOutcome outcome = default62_;
    if (!queued62_.empty()) {
        outcome = queued62_.front();
        queued62_.pop_front();
    }
    return Make(outcome);
}

SignResult* ScriptedSign::Sign6_3(int seqId, std::string& data, std::string& api) {
    std::lock_guard<std::mutex> lock(mutex_);
    SignCall call;
    call.version = "6.3";
    call.seqId = seqId;
    call.data = data;
    call.api = api;
    calls_.push_back(call);
    ScriptedSignOutcome outcome = default63_;
    if (!queued63_.empty()) {
        outcome = queued63_.front();
        queued63_.pop_front();
    }
    return Make(outcome);
}

ActionResult* ScriptedSign::ProcessContent(int seqId, std::string& content) {
    std::lock_guard<std::mutex> lock(mutex_);
    contentCalls_.push_back(ContentCall{seqId, content});
    if (nullVerdict_) return nullptr;
    ActionResult verdict = defaultVerdict_;
    if (!queuedVerdicts_.empty()) {
        verdict = queuedVerdicts_.front();
        queuedVerdicts_.pop_front();
    }
    return new ActionResult(verdict);
}

std::string ScriptedSign::GetCookies(std::string& url) {
    std::lock_guard<std::mutex> lock(mutex_);
    cookieUrls_.push_back(url);
    return cookies_;
}

void ScriptedSign::EnqueueVerdict(const ActionResult& verdict) {
    std::lock_guard<std::mutex> lock(mutex_);
    queuedVerdicts_.push_back(verdict);
}

void ScriptedSign::SetDefaultVerdict(const ActionResult& verdict) {
    std::lock_guard<std::mutex> lock(mutex_);
    defaultVerdict_ = verdict;
}

void ScriptedSign::SetNullVerdict(bool isNull) {
    std::lock_guard<std::mutex> lock(mutex_);
    nullVerdict_ = isNull;
}

std::vector<ContentCall> ScriptedSign::ContentCalls() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return contentCalls_;
}

void ScriptedSign::SetCookies(const std::string& cookies) {
    std::lock_guard<std::mutex> lock(mutex_);
    cookies_ = cookies;
}

std::vector<std::string> ScriptedSign::CookieUrls() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return cookieUrls_;
}

std::string ScriptedSign::GetKolvaVersion() { return std::string(); }

void ScriptedSign::Enqueue63(const ScriptedSignOutcome& outcome) {
    std::lock_guard<std::mutex> lock(mutex_);
    queued63_.push_back(outcome);
}

void ScriptedSign::Enqueue62(const ScriptedSignOutcome& outcome) {
    std::lock_guard<std::mutex> lock(mutex_);
    queued62_.push_back(outcome);
}

void ScriptedSign::SetDefault63(const ScriptedSignOutcome& outcome) {
    std::lock_guard<std::mutex> lock(mutex_);
    default63_ = outcome;
}

void ScriptedSign::SetDefault62(const ScriptedSignOutcome& outcome) {
    std::lock_guard<std::mutex> lock(mutex_);
    default62_ = outcome;
}

std::vector<SignCall> ScriptedSign::Calls() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return calls_;
}

std::size_t ScriptedSign::StartCount() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return startCount_;
}

SignResult* ScriptedSign::Make(const ScriptedSignOutcome& outcome) {
    if (outcome.isNull) {
        return nullptr;
    }
    SignResult* result = new SignResult();
    result->sign = outcome.sign;
    result->signMap = outcome.signMap;
    result->errorCode = outcome.errorCode;
    return result;
}

}  // namespace test
}  // namespace quil
