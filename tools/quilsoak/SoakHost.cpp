#include "SoakHost.h"

#include <cstdint>

#include "QuilCancelRelease.h"
#include "QuilConfig.h"
#include "QuilRequest.h"
#include "QuilResponse.h"
#include "QuilService.h"
#include "RemoteLogin.h"
#include "StandInControl.h"

namespace quil::soak {

namespace {

// The callback has no context but userData: the one host of the process is reached here.
SoakHost* gHost = nullptr;

const char* const kAccounts[] = {"", "alice", "bob", "carol"};
const char* const kApis[] = {"soak.echo", "soak.profile", "soak.order.list", "soak.flow"};

CurlHttpClientOptions TransportOptions(const SoakSettings& settings) {
    CurlHttpClientOptions options;
    options.connectTimeoutMs = settings.timeoutMs;
    options.totalTimeoutMs = settings.timeoutMs;
    return options;
}

}  // namespace

SoakHost::SoakHost(const SoakSettings& settings, std::size_t ledgerCapacity)
    : ledger_(ledgerCapacity), transport_(TransportOptions(settings)), login_(settings.seed) {
    gHost = this;
    // The stand-in keeps a record of every signature and cookie ask for the tests; over a soak
    // those records would be the growth of the heap, which is meant to measure the SDK.
    quil::StandInControl().SetInt("records.off", 1);
    QuilConfig* config = QuilConfig::GetInstance();
    config->environment = 0;
    config->onlineHost = "127.0.0.1:" + std::to_string(settings.port);
    config->appKey = SoakAppKey();
    config->utdid = "soak-utdid";
    config->ttid = "soak-ttid";
    config->devId = "soak-devid";
    config->RegisterHttpClient(&transport_);
    RemoteLogin::setLoginImpl(&login_);
}

QuilRequest* SoakHost::MakeRequest(std::mt19937_64& random) {
    QuilRequest* request = QuilRequest::Create(kApis[random() % 4], "1.0");
    request->SetUserInfo(kAccounts[random() % 4]);
    request->SetMethod(static_cast<int>(random() % 2));
    // A quarter of the calls need a login: they wait for the login flow when the account has
    // no valid session, and fail with it when it fails or is cancelled.
    request->SetNeedLogin(random() % 4 == 0);
    request->AddData("n", static_cast<int>(random() % 100000));
    if (random() % 4 == 0) request->AddData("text", std::string(random() % 2000, 'q'));
    return request;
}

bool SoakHost::SyncCall(std::mt19937_64& random) {
    syncCalls_.fetch_add(1);
    QuilResponse* response = QuilService::GetInstance()->SendSyncRequest(MakeRequest(random));
    const bool answered = response != nullptr;
    delete response;
    return answered;
}

bool SoakHost::AsyncCall(std::mt19937_64& random) {
    const int64_t tag = ledger_.NewTag();
    if (tag < 0) return false;
    QuilRequest* request = MakeRequest(random);
    request->SetCallback(&SoakHost::OnResponse);
    request->SetUserData(reinterpret_cast<void*>(static_cast<intptr_t>(tag)));
    outstanding_.fetch_add(1);
    if (QuilService::GetInstance()->SendAsyncRequest(request) != 0) {
        ledger_.Refused(tag);
        outstanding_.fetch_sub(1);
    }
    return true;
}

bool SoakHost::CancelSome(std::mt19937_64& random) {
    const int id = transport_.AnyOnNetwork(random);
    if (id == -1 || !CancelCallAndRelease(id)) return false;
    ledger_.Withdrawn();
    outstanding_.fetch_sub(1);
    return true;
}

void SoakHost::TouchSession(std::mt19937_64& random) {
    const std::string account = kAccounts[random() % 4];
    if (random() % 2 == 0) {
        QuilConfig::GetInstance()->RegisterMultiAccountSession(
            account, "sid-" + std::to_string(random() % 1000), "uid-" + account);
    } else {
        QuilConfig::GetInstance()->LogoutMultiAccountSession(account);
    }
}

void SoakHost::OnResponse(QuilResponse* response, void* userData) {
    gHost->ledger_.Delivered(static_cast<int64_t>(reinterpret_cast<intptr_t>(userData)));
    gHost->outstanding_.fetch_sub(1);
    delete response;
}

}  // namespace quil::soak
