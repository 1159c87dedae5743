#include "DispatchE2eHost.h"

#include <memory>
#include <vector>

#include "TestSync.h"

namespace quil {
namespace test {

const char* const DispatchE2eHost::kAppKey = "e2e-app-key";
const char* const DispatchE2eHost::kDispatchHost = QUIL_E2E_DISPATCH_HOST;

namespace {

GatewayEmulatorOptions Options() {
    GatewayEmulatorOptions options;
    options.appKey = DispatchE2eHost::kAppKey;
    return options;
}

// The lines that end one dispatch attempt on the client's side, success or failure.
bool IsOutcome(const std::string& message) {
    return message == "ZENT json parse success" || message == "ZENT json parse failed" ||
           message.rfind("ZENT request failed", 0) == 0 ||
           message.rfind("ZENT check ret sign failed", 0) == 0;
}

}  // namespace

DispatchE2eHost::DispatchE2eHost() : gateway_(Options()) {}

DispatchE2eHost::~DispatchE2eHost() {
    QuilConfig::GetInstance()->RegisterQuilLog(nullptr);
    gateway_.Stop();
}

bool DispatchE2eHost::Start() {
    if (!standIn_.Loaded()) return false;
    standIn_.Reset();
    if (!gateway_.Start(0)) return false;
    CurlHttpClientOptions options;
    options.connectTimeoutMs = 5000;
    options.totalTimeoutMs = 20000;
    options.connectTo = {std::string(kDispatchHost) +
                         ":80:127.0.0.1:" + std::to_string(gateway_.Port())};
    curl_ = std::make_unique<CurlHttpClient>(options);
    QuilConfig* config = QuilConfig::GetInstance();
    config->RegisterQuilLog(&log_);
    config->SetQuilLogLevel(QUIL_LOG_VERBOSE);
    config->environment = 0;
    config->onlineHost = "127.0.0.1:" + std::to_string(gateway_.Port());
    config->appKey = kAppKey;
    config->appName = "Quil Demo";
    config->appVersion = "1.0";
    config->utdid = "e2e-utdid";
    config->lat = "30.1";
    config->lng = "120.2";
    config->RegisterHttpClient(curl_.get());
    return true;
}

bool DispatchE2eHost::CallGateway() {
    QuilRequest* request = QuilRequest::Create("e2e.echo", "1.0");
    std::unique_ptr<QuilResponse> response(QuilService::GetInstance()->SendSyncRequest(request));
    return response != nullptr && response->GetRetInfo() != nullptr &&
           response->GetRetInfo()->errorType == 0;
}

std::string DispatchE2eHost::Lookup(const std::string& domain) {
    std::string ip = "unset";
    zentDomainDispatch(domain, ip);
    return ip;
}

std::string DispatchE2eHost::LookupStored(const std::string& domain) {
    const std::string answered = "ZENT find ip strategy for domain: " + domain + ", ip: ";
    auto answers = [this, &answered] {
        std::size_t count = 0;
        for (const std::string& message : log_.Messages()) {
            if (message.rfind(answered, 0) == 0) ++count;
        }
        return count;
    };
    const std::size_t before = answers();
    std::string ip;
    WaitUntil([&] {
        ip = Lookup(domain);
        return answers() > before;
    });
    return ip;
}

bool DispatchE2eHost::WaitForOutcomes(std::size_t count) {
    return WaitUntil([this, count] {
        std::size_t seen = 0;
        for (const std::string& message : log_.Messages()) {
            if (IsOutcome(message)) ++seen;
        }
        return seen >= count;
    });
}

}  // namespace test
}  // namespace quil
