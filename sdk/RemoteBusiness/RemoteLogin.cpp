#include "RemoteLogin.h"

#include <atomic>

#include "IMultiAccountRemoteLogin.h"
#include "LoginHandler.h"
#include "QuilLogger.h"

namespace {

// The host's login flow, not owned. Atomic: the host may register it while calls run on other
// threads, and a plain pointer would then be a data race.
std::atomic<IRemoteLogin*> loginImpl{nullptr};

std::string ResolveAccount(std::string userInfo) {
    if (userInfo.empty()) {
        return "Default";
    }
    return userInfo;
}

}  // namespace

void RemoteLogin::setLoginImpl(IRemoteLogin* impl) {
    if (impl == nullptr) {
        return;
    }
    loginImpl.store(impl);
}

IRemoteLogin* RemoteLogin::Impl() { return loginImpl.load(); }

void RemoteLogin::login(std::string userInfo) {
    IRemoteLogin* impl = loginImpl.load();
    std::string account = ResolveAccount(std::move(userInfo));
    if (impl == nullptr) {
        QUIL_LOG(QUIL_LOG_WARN, "RemoteLogin need login, but iRemoteLogin is null");
        return;
    }
    IMultiAccountRemoteLogin* multi = dynamic_cast<IMultiAccountRemoteLogin*>(impl);
    const bool logining = multi != nullptr ? multi->isLogining(account) : impl->isLogining();
    if (logining) {
        // The running login reports to the account's handler, which takes up this account's
        // waiting requests too; a second login would only ask the user twice.
        QUIL_LOG(QUIL_LOG_INFO, "RemoteLogin is logging");
        return;
    }
    // The account's own handler, even for a single-account flow that ignores the account.
    LoginHandler* handler = LoginHandler::GetHandler(account);
    if (multi != nullptr) {
        QUIL_LOG(QUIL_LOG_INFO, "multiAccountRemoteLogin logging...");
        multi->login(account, handler);
    } else {
        QUIL_LOG(QUIL_LOG_INFO, "iRemoteLogin logging...");
        impl->login(handler);
    }
}

bool RemoteLogin::isSessionValid(std::string userInfo) {
    IRemoteLogin* impl = loginImpl.load();
    std::string account = ResolveAccount(std::move(userInfo));
    if (impl == nullptr) {
        // With no way to log in, every session counts as valid: the calls go on with whatever
        // session the registry holds.
        QUIL_LOG(QUIL_LOG_WARN, "RemoteLogin need validate session, but iRemoteLogin is null");
        return true;
    }
    IMultiAccountRemoteLogin* multi = dynamic_cast<IMultiAccountRemoteLogin*>(impl);
    const bool logining = multi != nullptr ? multi->isLogining(account) : impl->isLogining();
    if (logining) {
        QUIL_LOG(QUIL_LOG_INFO, "RemoteLogin is logging");
        return false;
    }
    if (multi != nullptr) {
        QUIL_LOG(QUIL_LOG_INFO, "multiAccountRemoteLogin validating...");
        return multi->isSessionValid(account);
    }
    QUIL_LOG(QUIL_LOG_INFO, "iRemoteLogin validating...");
    return impl->isSessionValid();
}

LoginContext* RemoteLogin::getLoginContext(std::string userInfo) {
    IRemoteLogin* impl = loginImpl.load();
    std::string account = ResolveAccount(std::move(userInfo));
    if (impl == nullptr) {
        QUIL_LOG(QUIL_LOG_WARN, "RemoteLogin get logContext, but iRemoteLogin is null");
        return nullptr;
    }
    IMultiAccountRemoteLogin* multi = dynamic_cast<IMultiAccountRemoteLogin*>(impl);
    if (multi != nullptr) {
        QUIL_LOG(QUIL_LOG_INFO, "multiAccountRemoteLogin get logContext...");
        return multi->getLoginContext(account);
    }
    QUIL_LOG(QUIL_LOG_INFO, "iRemoteLogin get logContext...");
    return impl->getLoginContext();
}
