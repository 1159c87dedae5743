// The host side of an end-to-end dispatch test: the gateway emulator on 127.0.0.1 (port 0),
// the curl adapter told to reach the dispatch host's port 80 at the emulator (its connect-to
// option), the stand-in security library and a recording log, wired into the library's
// configuration as a real host wires them. One per test process; the test thread owns it.
#pragma once

#include <memory>
#include <string>

#include "GatewayEmulator.h"
#include "QuilSDK.h"
#include "RecordingLog.h"
#include "StandInControl.h"
#include "quil/CurlHttpClient.h"

namespace quil {
namespace test {

class DispatchE2eHost {
public:
    static const char* const kAppKey;
    // The dispatch host a client in environment 0 reaches (the build's test dispatch host).
    static const char* const kDispatchHost;

    DispatchE2eHost();
    ~DispatchE2eHost();
    DispatchE2eHost(const DispatchE2eHost&) = delete;
    DispatchE2eHost& operator=(const DispatchE2eHost&) = delete;

    // Starts the emulator and the transport and fills the configuration (environment 0, the
    // emulator as gateway host, app key, device fields, the log at level 0). False when the
    // stand-in or a port cannot be had.
    bool Start();

    // One gateway call, which starts the library's signing bridge. True when it succeeded.
    bool CallGateway();

    // The address the table gives for domain now ("" for none).
    static std::string Lookup(const std::string& domain);

    // After a successful request: looks domain up until a lookup is answered from the table
    // (the success line is logged just before the answer is stored) and gives that answer.
    std::string LookupStored(const std::string& domain);

    // Waits until the request for the number-th time is over on the client's side: its log
    // line of success or failure has been written (count lines in all).
    bool WaitForOutcomes(std::size_t count);

    GatewayEmulator& Gateway() { return gateway_; }
    RecordingLog& Log() { return log_; }

private:
    StandInControl standIn_;
    GatewayEmulator gateway_;
    std::unique_ptr<CurlHttpClient> curl_;
    RecordingLog log_;
};

}  // namespace test
}  // namespace quil
