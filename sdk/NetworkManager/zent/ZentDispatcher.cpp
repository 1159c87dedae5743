#include "ZentDispatcher.h"

#include <exception>
#include <utility>

#include "Base64DecodeBody.h"
#include "HttpResponse.h"
#include "NetworkManager.h"
#include "Platform.h"
#include "QuilConfig.h"
#include "QuilLogger.h"
#include "QuilSignImpl.h"
#include "SignBridgeStart.h"
#include "ThreadPool.h"
#include "ZentAnswerCheck.h"
#include "ZentBodyParser.h"
#include "ZentRequestForm.h"

namespace {

std::atomic<bool> signScripted{false};
std::atomic<IQuilSign*> signForTesting{nullptr};

// Clears the running flag on every way out of a request, exceptions included, so that a
// failed request never blocks the ones the limit still allows.
class RunningGuard {
public:
    explicit RunningGuard(std::atomic<bool>& flag) : flag_(flag) {}
    ~RunningGuard() { flag_.store(false); }
    RunningGuard(const RunningGuard&) = delete;
    RunningGuard& operator=(const RunningGuard&) = delete;

private:
    std::atomic<bool>& flag_;
};

ZentRequestForm::Client ReadClient() {
    const QuilConfig* config = QuilConfig::GetInstance();
    ZentRequestForm::Client client;
    client.appKey = config->appKey;
    client.appName = config->appName;
    client.appVersion = config->appVersion;
    client.utdid = config->utdid;
    client.lat = config->lat;
    client.lng = config->lng;
    client.environment = config->environment;
    return client;
}

}  // namespace

ZentDispatcher* ZentDispatcher::GetInstance() {
    // Never destroyed: a request may still run on the pool when the process ends.
    static ZentDispatcher* instance = new ZentDispatcher();
    return instance;
}

ZentDispatcher::ZentDispatcher() : threadPool(new ThreadPool(1, 1)) {}

void ZentDispatcher::SetSignProviderForTesting(IQuilSign* sign) {
    signForTesting.store(sign);
    signScripted.store(true);
}

IQuilSign* ZentDispatcher::SignImpl() {
    if (signScripted.load()) return signForTesting.load();
    return QuilSignImpl::GetInstance();
}

std::string ZentDispatcher::DomainDispatch(const std::string& domain) {
    std::lock_guard<std::mutex> lock(mutex);
    if (domain.empty()) {
        QUIL_LOG(QUIL_LOG_WARN, "ZENT dispatch domain null");
        return std::string();
    }
    auto found = strategies.find(domain);
    if (found != strategies.end()) {
        // An entry without a strategy (a failure reported before any answer) reads as spent.
        const std::shared_ptr<ZentInfo>& info = found->second;
        std::string ip;
        if (info && info->valid && !info->ips.empty()) ip = info->ips.back();
        QUIL_LOG(QUIL_LOG_INFO, "ZENT find ip strategy for domain: %s, ip: %s", domain.c_str(),
                 ip.c_str());
        return ip;
    }
    if (!requestRunning.load() && requestCount.load() < kMaxRequests) {
        requestRunning.store(true);
        ++requestCount;
        try {
            threadPool->AddTask([this, domain] { ZentRequest(domain); }, "zent");
        } catch (const std::exception& error) {
            // No worker could be started: withdraw the task so that nothing stays queued
            // behind a flag nobody clears. The attempt still counts against the limit.
            threadPool->CancelTask("zent");
            requestRunning.store(false);
            QUIL_LOG(QUIL_LOG_ERROR, "ZENT request not started: %s", error.what());
            return std::string();
        }
        QUIL_LOG(QUIL_LOG_INFO, "ZENT request for domain: %s", domain.c_str());
        return std::string();
    }
    QUIL_LOG(QUIL_LOG_WARN, "ZENT is running or trigger flow limit");
    return std::string();
}

void ZentDispatcher::UpdateStrategy(const std::string& host) {
    std::lock_guard<std::mutex> lock(mutex);
    QUIL_LOG(QUIL_LOG_INFO, "ZENT update strategy");
    std::shared_ptr<ZentInfo>& info = strategies[host];
    if (!info || info->ips.empty()) return;
    info->ips.pop_back();
    if (info->ips.empty()) {
        QUIL_LOG(QUIL_LOG_WARN, "ZENT strategy lost efficacy, host: %s", host.c_str());
        info->valid = false;
    }
}

void ZentDispatcher::ParseBodyJson(const std::string& text, const std::string& domain) {
    std::shared_ptr<ZentInfo> info = std::make_shared<ZentInfo>();
    if (ZentBodyParser::Parse(text, domain, info.get()) != ZentBodyParser::Outcome::kParsed) {
        QUIL_LOG(QUIL_LOG_ERROR, "ZENT json parse failed");
        return;
    }
    QUIL_LOG(QUIL_LOG_INFO, "ZENT json parse success");
    std::lock_guard<std::mutex> lock(mutex);
    strategies[domain] = std::move(info);
}

bool ZentDispatcher::HasEntry(const std::string& domain) {
    std::lock_guard<std::mutex> lock(mutex);
    return strategies.count(domain) != 0;
}

std::shared_ptr<ZentInfo> ZentDispatcher::Strategy(const std::string& domain) {
    std::lock_guard<std::mutex> lock(mutex);
    auto found = strategies.find(domain);
    if (found == strategies.end() || !found->second) return nullptr;
    return std::make_shared<ZentInfo>(*found->second);
}

std::string ZentDispatcher::GetSign(const std::string& input) {
    IQuilSign* sign = SignImpl();
    if (sign == nullptr) {
        QUIL_LOG_AS("GetSign", QUIL_LOG_FATAL, "ZENT sign failed, signImpl is null");
        return std::string();
    }
    std::string data = input;
    std::unique_ptr<SignResult> result(sign->Sign6_2(-1, data, 2));
    // A null result signs nothing, like an empty signature: the request goes out unsigned.
    return result ? result->sign : std::string();
}

void ZentDispatcher::ZentRequest(const std::string& domain) {
    RunningGuard guard(requestRunning);
    try {
        Exchange(domain);
    } catch (const std::exception& error) {
        // Nothing may escape into the pool's worker; the attempt ends like any failure.
        QUIL_LOG(QUIL_LOG_ERROR, "ZENT request failed, exception: %s", error.what());
    }
}

void ZentDispatcher::Exchange(const std::string& domain) {
    const ZentRequestForm::Client client = ReadClient();
    ZentRequestForm::Params params =
        ZentRequestForm::BuildParams(client, domain, quil::platform::WallClockSeconds());
    // Signed before the bridge is made sure to have started (that comes with the answer): a
    // process whose first use of the bridge is this request sends it unsigned.
    const std::string signature = GetSign(ZentRequestForm::GetSignInput(params));
    if (!signature.empty()) params["sign"] = signature;

    std::string url;
    if (!ZentRequestForm::MakeUrl(ZentRequestForm::HostFor(client.environment), params, &url)) {
        QUIL_LOG_AS("ZentRequest", QUIL_LOG_ERROR, "ZENT request failed, url too long");
        return;
    }
    std::unique_ptr<HttpRequest> request =
        ZentRequestForm::MakeHttpRequest(url, ZentRequestForm::EncodeBody(params));

    HttpResponse* raw = NetworkManager::GetInstance()->SendSyncHttpRequest(request.get());
    if (raw == nullptr) {
        QUIL_LOG_AS("ZentRequest", QUIL_LOG_ERROR, "ZENT request failed, response is null");
        return;
    }
    // The response owns the request it answers; a client that answers with a response of its
    // own making leaves ours to us.
    if (raw->request == request.get()) request.release();
    std::shared_ptr<HttpResponse> response(raw);

    if (response->statusCode != 200) {
        QUIL_LOG_AS("ZentRequest", QUIL_LOG_ERROR, "ZENT request failed, responseCode: %d",
                    response->statusCode);
        return;
    }
    const ZentAnswerCheck::Headers headers = ZentAnswerCheck::SplitHeaders(
        std::string(response->header.begin(), response->header.end()));
    std::string serverSign;
    if (!ZentAnswerCheck::CheckHeaders(headers, &serverSign)) return;

    const std::string text = Base64DecodeBody(response);

    SignBridgeStart::Start();
    IQuilSign* sign = SignImpl();
    if (sign == nullptr) {
        QUIL_LOG_AS("ZentRequest", QUIL_LOG_FATAL, "ZENT request failed, signImpl is null");
        return;
    }
    if (!ZentAnswerCheck::CheckSign(sign, text, serverSign)) return;
    ParseBodyJson(text, domain);
}
