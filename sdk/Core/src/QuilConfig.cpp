#include "QuilConfig.h"

#include <mutex>

#include "LazySingleton.h"
#include "NetworkManager.h"
#include "QuilLogger.h"
#include "StatisticsSlot.h"

namespace {

// Guards every access to sidByUser and uidByUser. A
// plain mutex: no operation of the registry calls another while holding it. It is taken
// after any lock of the call pipeline and before none of the system's other locks.
std::mutex configMutex;

// Lives until the process ends: other singletons keep pointers to it.
quil::LazySingleton<QuilConfig> instance;

// An empty account key and the account "Default" are one and the same.
std::string ResolveAccount(std::string userInfo) {
    if (userInfo.empty()) {
        return "Default";
    }
    return userInfo;
}

}  // namespace

QuilConfig* QuilConfig::GetInstance() {
    return instance.Get([] { return new QuilConfig(); });
}

bool QuilConfig::RegisterMultiAccountSession(std::string userInfo, std::string sid,
                                             std::string uid) {
    // A session is ended by logout only, never by registering an empty id.
    if (sid.empty()) {
        return false;
    }
    std::lock_guard<std::mutex> lock(configMutex);
    std::string account = ResolveAccount(std::move(userInfo));
    // Both maps change under one holding, so no reader sees half a registration.
    sidByUser[account] = std::move(sid);
    uidByUser[account] = std::move(uid);
    return true;
}

bool QuilConfig::LogoutMultiAccountSession(std::string userInfo) {
    std::lock_guard<std::mutex> lock(configMutex);
    std::string account = ResolveAccount(std::move(userInfo));
    auto sidEntry = sidByUser.find(account);
    if (sidEntry == sidByUser.end()) {
        return false;
    }
    sidByUser.erase(sidEntry);
    // The session id is gone either way; false tells the host the record was incomplete.
    auto uidEntry = uidByUser.find(account);
    if (uidEntry == uidByUser.end()) {
        return false;
    }
    uidByUser.erase(uidEntry);
    return true;
}

std::string QuilConfig::GetSid(std::string userInfo) {
    std::lock_guard<std::mutex> lock(configMutex);
    auto entry = sidByUser.find(ResolveAccount(std::move(userInfo)));
    return entry == sidByUser.end() ? std::string() : entry->second;
}

std::string QuilConfig::GetUid(std::string userInfo) {
    std::lock_guard<std::mutex> lock(configMutex);
    auto entry = uidByUser.find(ResolveAccount(std::move(userInfo)));
    return entry == uidByUser.end() ? std::string() : entry->second;
}

void QuilConfig::RegisterHttpClient(IHttpClient* client) {
    // A transport cannot be taken away once given; null would leave calls with no way out.
    if (client == nullptr) {
        return;
    }
    NetworkManager::GetInstance()->RegisterHttpClient(client);
}

void QuilConfig::SetQuilLogLevel(QUIL_LOG_LEVEL level) { QuilLogger::SetMinimumLevel(level); }

void QuilConfig::RegisterQuilLog(IQuilCustomLog* log) { QuilLogger::SetSink(log); }

void QuilConfig::RegisterUTStatistics(IQuilStatistics* statistics) {
    // Null is stored too: the host may take its sink away again.
    StatisticsSlot::SetStatistics(statistics);
}

void QuilConfig::RegisterWKWebBrowserProxy(IWKWebBrowserProxy* proxy) {
    if (proxy != nullptr) {
        webBrowserProxy.store(proxy);
    }
}

void QuilConfig::RegisterCookieStorage(IQuilCookieStorage* storage) {
    if (storage != nullptr) {
        cookieStorage.store(storage);
    }
}
