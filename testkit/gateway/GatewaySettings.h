// What the gateway emulator knows and how it behaves: its app key, its clock and the skew it
// allows, valid sessions and the APIs that need one, scripted answers, and the dispatch
// service's entries, code and sign mode. Every operation is thread-safe: tests change settings
// while connection threads read them.
#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "GatewayScenario.h"

namespace quil {

class GatewaySettings {
public:
    GatewaySettings() = default;
    GatewaySettings(const GatewaySettings&) = delete;
    GatewaySettings& operator=(const GatewaySettings&) = delete;

    // The key the emulator signs and verifies with; empty trusts each request's "x-appkey".
    void SetAppKey(const std::string& appKey);
    std::string AppKey() const;

    // The emulator's clock: the wall clock in seconds plus the offset (negative: behind).
    void SetClockOffset(int64_t seconds) { clockOffset_ = seconds; }
    int64_t ClockOffset() const { return clockOffset_; }
    int64_t Now() const;

    // How far "x-t" may be from the emulator's clock before the call counts as expired.
    void SetSkew(int64_t seconds) { skew_ = seconds; }
    int64_t Skew() const { return skew_; }

    // Whether "/gw/" calls have their signature checked (on by default).
    void SetVerifySignatures(bool on) { verifySignatures_ = on; }
    bool VerifySignatures() const { return verifySignatures_; }

    // Whether "a-ombrel-q" comes back as "a-ombrel-p" (off by default).
    void SetEchoOmbrel(bool on) { echoOmbrel_ = on; }
    bool EchoOmbrel() const { return echoOmbrel_; }

    // Whether answers go out gzip-encoded to a request that offers gzip, as behind a front
    // server with gzip on (off by default).
    void SetGzipAnswers(bool on) { gzipAnswers_ = on; }
    bool GzipAnswers() const { return gzipAnswers_; }

    void AddSession(const std::string& sid);
    void RemoveSession(const std::string& sid);
    bool IsSession(const std::string& sid) const;

    // api is compared in lower case.
    void RequireSession(const std::string& api, bool required);
    bool NeedsSession(const std::string& api) const;

    // Appends answers to the script of api (lower case).
    void AddScript(const std::string& api, const std::vector<ScriptedAnswer>& answers);
    void ClearScripts();
    // Takes the next scripted answer of api, if any, using up one of its times.
    bool TakeScripted(const std::string& api, ScriptedAnswer* answer);

    void SetDispatchEntries(const std::vector<DispatchEntry>& entries);
    std::vector<DispatchEntry> DispatchEntries() const;
    void SetDispatchCode(const std::string& code);
    std::string DispatchCode() const;
    void SetDispatchSignMode(DispatchSignMode mode) { dispatchSignMode_ = mode; }
    DispatchSignMode GetDispatchSignMode() const { return dispatchSignMode_; }
    // Appends answers to the dispatch script; each call takes the next one.
    void AddDispatchScript(const std::vector<ScriptedDispatchAnswer>& answers);
    // Takes the next scripted dispatch answer, if any, using up one of its times.
    bool TakeDispatchScripted(ScriptedDispatchAnswer* answer);

    // Adds what the scenario holds: its scripts are appended, sessions and APIs added, dns
    // entries and the ombrel switch replaced when present.
    void Apply(const GatewayScenario& scenario);

private:
    std::atomic<int64_t> clockOffset_{0};
    std::atomic<int64_t> skew_{300};
    std::atomic<bool> gzipAnswers_{false};
    std::atomic<bool> verifySignatures_{true};
    std::atomic<bool> echoOmbrel_{false};
    std::atomic<DispatchSignMode> dispatchSignMode_{DispatchSignMode::kValid};

    // Guards every field below. Held only to copy or change them, never while answering.
    mutable std::mutex mutex_;
    std::string appKey_;
    std::set<std::string> sessions_;
    std::set<std::string> sessionApis_;
    std::map<std::string, std::deque<ScriptedAnswer>> scripts_;
    std::vector<DispatchEntry> dispatchEntries_;
    std::string dispatchCode_ = "1000";
    std::deque<ScriptedDispatchAnswer> dispatchScript_;
};

}  // namespace quil
