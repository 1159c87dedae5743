#include "E2eHost.h"

#include <chrono>

#include <utility>

namespace quil {
namespace test {

namespace {

GatewayEmulatorOptions WithAppKey(GatewayEmulatorOptions options) {
    if (options.appKey.empty()) {
        options.appKey = E2eHost::kAppKey;
    }
    return options;
}

CurlHttpClientOptions TransportOptions() {
    CurlHttpClientOptions options;
    // Generous limits: a loopback answer takes milliseconds, a sanitizer build a little more.
    options.connectTimeoutMs = 5000;
    options.totalTimeoutMs = 20000;
    return options;
}

}  // namespace

const char* const E2eHost::kAppKey = "e2e-app-key";
const char* const E2eHost::kUtdid = "e2e-utdid";
const char* const E2eHost::kTtid = "e2e-ttid";
const char* const E2eHost::kDevId = "e2e-devid";

E2eHost::E2eHost(GatewayEmulatorOptions options)
    : gateway_(WithAppKey(std::move(options))), curl_(TransportOptions()), recording_(&curl_) {}

E2eHost::~E2eHost() {
    // A test ends as soon as its callbacks have come; the library's completions may still be
    // running on network workers then, and must end before anything they reach is torn down.
    recording_.WaitForEveryCompletion(std::chrono::seconds(30));
    // The sink dies with the host; the library must not report into it afterwards.
    QuilConfig::GetInstance()->RegisterUTStatistics(nullptr);
    gateway_.Stop();
}

bool E2eHost::Start() {
    if (!standIn_.Loaded()) {
        return false;
    }
    standIn_.Reset();
    if (!gateway_.Start(0)) {
        return false;
    }
    QuilConfig* config = QuilConfig::GetInstance();
    config->environment = 0;
    config->onlineHost = HostText();
    config->appKey = kAppKey;
    config->utdid = kUtdid;
    config->ttid = kTtid;
    config->devId = kDevId;
    config->RegisterHttpClient(&recording_);
    config->RegisterUTStatistics(&statistics_);
    return true;
}

std::string E2eHost::HostText() const { return "127.0.0.1:" + std::to_string(gateway_.Port()); }

ResponsePtr E2eHost::Call(QuilRequest* request) {
    return ResponsePtr(QuilService::GetInstance()->SendSyncRequest(request));
}

const char kFormContentTypeLine[] = "Content-Type: application/x-www-form-urlencoded;charset=utf-8";

std::vector<std::string> AsSentByCurl(const std::vector<std::string>& lines, bool post,
                                      const std::string& body) {
    std::vector<std::string> wire;
    wire.push_back("Accept-Encoding: gzip, deflate");
    wire.insert(wire.end(), lines.begin(), lines.end());
    if (post) {
        wire.push_back("Content-Length: " + std::to_string(body.size()));
    }
    return wire;
}

}  // namespace test
}  // namespace quil
