// The host side of an end-to-end test: a gateway emulator on 127.0.0.1 (port 0), the curl
// adapter behind a recording client, a statistics recorder and control of the stand-in security
// library, all wired into the library's configuration the way a real host wires them. One per
// test process (the library's configuration is process-wide); the test thread owns it, and its
// destructor stops the emulator. Every call must have ended before it is destroyed.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "GatewayEmulator.h"
#include "QuilSDK.h"
#include "RecordingHttpClient.h"
#include "RecordingStatistics.h"
#include "StandInControl.h"
#include "quil/CurlHttpClient.h"

namespace quil {
namespace test {

// Frees a response, and with it its request, when a test is done with it.
using ResponsePtr = std::unique_ptr<QuilResponse>;

class E2eHost {
public:
    // What the host configures; the emulator verifies with the same app key.
    static const char* const kAppKey;
    static const char* const kUtdid;
    static const char* const kTtid;
    static const char* const kDevId;

    // options.appKey empty means kAppKey; set it to something else for a gateway that knows
    // another key.
    explicit E2eHost(GatewayEmulatorOptions options = GatewayEmulatorOptions());
    ~E2eHost();
    E2eHost(const E2eHost&) = delete;
    E2eHost& operator=(const E2eHost&) = delete;

    // Resets the stand-in, starts the emulator, and fills the configuration: production
    // environment with the emulator as its host, app key, device fields, the recording client
    // and the statistics sink. False when the stand-in or the port cannot be had.
    bool Start();

    GatewayEmulator& Gateway() { return gateway_; }
    RecordingHttpClient& Client() { return recording_; }
    RecordingStatistics& Statistics() { return statistics_; }
    StandInControl& StandIn() { return standIn_; }

    // "127.0.0.1:<port>", the host text of every call.
    std::string HostText() const;

    // A synchronous call; the response (with its request) is freed by the pointer.
    ResponsePtr Call(QuilRequest* request);

private:
    StandInControl standIn_;
    GatewayEmulator gateway_;
    CurlHttpClient curl_;
    RecordingHttpClient recording_;
    RecordingStatistics statistics_;
};

// The last base line of every call, the only one with a blank after its colon.
extern const char kFormContentTypeLine[];

// The header lines as the curl adapter puts the library's lines on the wire: its
// "Accept-Encoding" ahead of them (the library sends none), and "Content-Length" behind them
// when a body goes out (POST).
std::vector<std::string> AsSentByCurl(const std::vector<std::string>& lines, bool post,
                                      const std::string& body);

}  // namespace test
}  // namespace quil
