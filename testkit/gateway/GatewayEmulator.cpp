#include "GatewayEmulator.h"

#include "AnswerCompression.h"
#include "EmulatorHttpServer.h"

namespace quil {

namespace {

constexpr char kDispatchPath[] = "/zent/mobileDispatch";

}  // namespace

GatewayEmulator::GatewayEmulator() : GatewayEmulator(GatewayEmulatorOptions()) {}

GatewayEmulator::GatewayEmulator(const GatewayEmulatorOptions& options)
    : gateway_(settings_), dispatch_(settings_) {
    settings_.SetAppKey(options.appKey);
    settings_.SetClockOffset(options.clockOffsetSeconds);
    settings_.SetSkew(options.skewSeconds);
    settings_.SetVerifySignatures(options.verifySignatures);
    settings_.SetEchoOmbrel(options.echoOmbrel);
    settings_.SetGzipAnswers(options.gzipAnswers);
    for (const std::string& sid : options.sessions) {
        settings_.AddSession(sid);
    }
    for (const std::string& api : options.sessionApis) {
        settings_.RequireSession(api, true);
    }
    settings_.SetDispatchEntries(options.dispatchEntries);
    journal_.SetLimit(options.journalLimit);
}

GatewayEmulator::~GatewayEmulator() { Stop(); }

bool GatewayEmulator::Start(int port) {
    if (server_ != nullptr || port < 0) {
        return false;
    }
    auto server = std::make_unique<EmulatorHttpServer>(
        [this](ReceivedRequest& request) { return Route(request); }, journal_);
    const int bound = server->Start(port);
    if (bound <= 0) {
        return false;
    }
    server_ = std::move(server);
    port_ = bound;
    return true;
}

void GatewayEmulator::Stop() {
    if (server_ == nullptr) {
        return;
    }
    server_->Shutdown();
    acceptedBefore_ += server_->AcceptedConnections();
    server_.reset();
    port_ = 0;
}

std::string GatewayEmulator::Address() const { return "http://127.0.0.1:" + std::to_string(port_); }

void GatewayEmulator::Script(const std::string& api, const std::vector<ScriptedAnswer>& answers) {
    settings_.AddScript(api, answers);
}

bool GatewayEmulator::LoadScenarioFile(const std::string& path, std::string* error) {
    GatewayScenario scenario;
    if (!LoadGatewayScenarioFile(path, &scenario, error)) {
        return false;
    }
    settings_.Apply(scenario);
    return true;
}

bool GatewayEmulator::LoadScenarioText(const std::string& json, std::string* error) {
    GatewayScenario scenario;
    if (!ParseGatewayScenario(json, &scenario, error)) {
        return false;
    }
    settings_.Apply(scenario);
    return true;
}

uint64_t GatewayEmulator::AcceptedConnections() const {
    return acceptedBefore_ + (server_ != nullptr ? server_->AcceptedConnections() : 0);
}

void GatewayEmulator::SetHostile(const HostileOptions& options) {
    if (server_ == nullptr) {
        hostile_ = std::make_unique<HostileMode>(options);
    }
}

EmulatorAnswer GatewayEmulator::Route(ReceivedRequest& request) const {
    if (request.path.compare(0, 4, "/gw/") == 0) {
        EmulatorAnswer answer = gateway_.Answer(request);
        if (settings_.GzipAnswers()) {
            GzipIfOffered(request, answer);
        }
        return hostile_ ? hostile_->AnswerGateway(request, std::move(answer)) : answer;
    }
    if (request.path == kDispatchPath) {
        EmulatorAnswer answer = dispatch_.Answer(request);
        return hostile_ ? hostile_->AnswerDispatch(std::move(answer)) : answer;
    }
    EmulatorAnswer notFound;
    notFound.status = 404;
    notFound.code = "NOT_FOUND";
    return notFound;
}

}  // namespace quil
