// An emulator of the API gateway and its dispatch service: a real HTTP server on 127.0.0.1
// that checks what a client sends (signature, timestamp, session) the way the gateway does,
// answers like it, can be scripted per API, and records every request it receives. A test
// owns one, starts it on port 0 and reads the port; Start and Stop belong to the owning
// thread, everything else may be called from any thread while it serves.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "DispatchEndpoint.h"
#include "GatewayEndpoint.h"
#include "GatewayScenario.h"
#include "GatewaySettings.h"
#include "HostileMode.h"
#include "ReceivedRequest.h"
#include "RequestJournal.h"

namespace quil {

class EmulatorHttpServer;

// Settings an emulator starts with; each can be changed later through Settings().
struct GatewayEmulatorOptions {
    std::string appKey;              // empty: trust each request's "x-appkey"
    int64_t clockOffsetSeconds = 0;  // the emulator's clock against the wall clock
    int64_t skewSeconds = 300;       // how far "x-t" may be from the emulator's clock
    bool verifySignatures = true;
    bool echoOmbrel = false;
    bool gzipAnswers = false;              // answers gzip-encoded when the request offers gzip
    std::vector<std::string> sessions;     // valid session ids
    std::vector<std::string> sessionApis;  // APIs that need a session
    std::vector<DispatchEntry> dispatchEntries;
    std::size_t journalLimit = 100000;  // requests kept for inspection
};

class GatewayEmulator {
public:
    GatewayEmulator();
    explicit GatewayEmulator(const GatewayEmulatorOptions& options);
    ~GatewayEmulator();  // stops
    GatewayEmulator(const GatewayEmulator&) = delete;
    GatewayEmulator& operator=(const GatewayEmulator&) = delete;

    // Listens on 127.0.0.1:port; 0 lets the system pick a free port. False when the port
    // cannot be had or the emulator runs already.
    bool Start(int port = 0);
    // Stops promptly: delayed answers are cut short, open connections closed, threads joined.
    // Records stay readable. The emulator may be started again.
    void Stop();
    bool IsRunning() const { return port_ > 0; }

    // The port it listens on, 0 when stopped.
    int Port() const { return port_; }
    // "http://127.0.0.1:<port>".
    std::string Address() const;

    // Everything the emulator knows and does; changes take effect at the next request.
    GatewaySettings& Settings() { return settings_; }

    // Appends answers to the script of api.
    void Script(const std::string& api, const std::vector<ScriptedAnswer>& answers);
    // Appends answers to the dispatch service's script (one per call, in order).
    void ScriptDispatch(const std::vector<ScriptedDispatchAnswer>& answers) {
        settings_.AddDispatchScript(answers);
    }
    // Applies a scenario file (format in GatewayScenario.h). False with a message on error.
    bool LoadScenarioFile(const std::string& path, std::string* error);
    bool LoadScenarioText(const std::string& json, std::string* error);

    // Turns the hostile mode on (see HostileMode.h): from the next request on, answers are
    // chosen from options.seed. Call before Start; it stays on for the emulator's life.
    void SetHostile(const HostileOptions& options);
    bool IsHostile() const { return hostile_ != nullptr; }

    // Every request received, in order of arrival (the last journalLimit of them).
    std::vector<ReceivedRequest> Requests() const { return journal_.All(); }
    std::size_t RequestCount() const { return journal_.Count(); }
    // Waits until count requests have been received, or limit passes.
    bool WaitForRequests(std::size_t count, std::chrono::milliseconds limit) const {
        return journal_.WaitForCount(count, limit);
    }
    void ClearRequests() { journal_.Clear(); }

    // TCP connections accepted since construction, over every start.
    uint64_t AcceptedConnections() const;

private:
    EmulatorAnswer Route(ReceivedRequest& request) const;

    GatewaySettings settings_;
    RequestJournal journal_;
    GatewayEndpoint gateway_;
    DispatchEndpoint dispatch_;
    std::unique_ptr<HostileMode> hostile_;  // null unless SetHostile was called
    std::unique_ptr<EmulatorHttpServer> server_;
    uint64_t acceptedBefore_ = 0;  // connections of servers already stopped
    int port_ = 0;
};

}  // namespace quil
