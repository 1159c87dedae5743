// A signing bridge for tests: the results of Sign6_3 and Sign6_2 are scripted (null, a result
// with an empty map, a map of sign headers, a signature, an error code), and every call is
// recorded with its inputs. Thread-safe: the pipeline signs on many threads at once. The test
// owns it and keeps it alive while calls may still run.
#pragma once

#include <cstddef>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "IQuilSign.h"

namespace quil {
namespace test {

// A traffic verdict to script: the actions and the action's parameter.
inline ActionResult Verdict(int mainAction, int subAction, const std::string& param = "") {
    ActionResult verdict;
    verdict.mainAction = mainAction;
    verdict.subAction = subAction;
    verdict.actionParam = param;
    return verdict;
}

// One scripted outcome of a sign call.
struct ScriptedSignOutcome {
    bool isNull = false;  // the call returns null
    std::string sign;
    std::map<std::string, std::string> signMap;
    std::string errorCode;

    static ScriptedSignOutcome Null();
    // A result with nothing in it but the error code.
    static ScriptedSignOutcome Empty(const std::string& errorCode = "");
    static ScriptedSignOutcome Headers(std::map<std::string, std::string> signMap);
    static ScriptedSignOutcome Signature(const std::string& sign);
};

// What one ProcessContent call received.
struct ContentCall {
    int seqId = 0;
    std::string content;
};

// What one sign call received. version is "6.3" or "6.2"; api is set for 6.3, method for 6.2.
struct SignCall {
    std::string version;
    int seqId = 0;
    std::string data;
    std::string api;
    int method = 0;
};

class ScriptedSign : public IQuilSign {
public:
    // By default 6.3 answers with the sign headers {"x-sign": "sign63"} and 6.2 with the
    // signature "sign62"; queued outcomes are used first, in order.
    ScriptedSign();

    bool Start() override;
    bool Stop() override;
    SignResult* Sign6_2(int seqId, std::string& data, int method) override;
    SignResult* Sign6_3(int seqId, std::string& data, std::string& api) override;
    ActionResult* ProcessContent(int seqId, std::string& content) override;
    std::string GetCookies(std::string& url) override;
    std::string GetKolvaVersion() override;

    // Queue an outcome for the next call of that version.
    void Enqueue63(const ScriptedSignOutcome& outcome);
    void Enqueue62(const ScriptedSignOutcome& outcome);
    // The outcome used when that version's queue is empty.
    void SetDefault63(const ScriptedSignOutcome& outcome);
    void SetDefault62(const ScriptedSignOutcome& outcome);

    std::vector<SignCall> Calls() const;
    std::size_t StartCount() const;

    // Traffic judgement: queued verdicts are used first, then the default (zeros, no text).
    void EnqueueVerdict(const ActionResult& verdict);
    void SetDefaultVerdict(const ActionResult& verdict);
    // ProcessContent returns null instead of a verdict (a guard the library never needs).
    void SetNullVerdict(bool isNull);
    std::vector<ContentCall> ContentCalls() const;
    // The text GetCookies answers for every URL (empty by default), and the URLs asked.
    void SetCookies(const std::string& cookies);
    std::vector<std::string> CookieUrls() const;

private:
    static SignResult* Make(const ScriptedSignOutcome& outcome);

    // Guards every field below.
    mutable std::mutex mutex_;
    std::deque<ScriptedSignOutcome> queued63_;
    std::deque<ScriptedSignOutcome> queued62_;
    ScriptedSignOutcome default63_;
    ScriptedSignOutcome default62_;
    std::vector<SignCall> calls_;
    std::size_t startCount_ = 0;
    std::deque<ActionResult> queuedVerdicts_;
    ActionResult defaultVerdict_;
    bool nullVerdict_ = false;
    std::vector<ContentCall> contentCalls_;
    std::string cookies_;
    std::vector<std::string> cookieUrls_;
};

}  // namespace test
}  // namespace quil
