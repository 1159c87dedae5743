#include "LoginHandler.h"

#include <map>
#include <mutex>

#include "LoginContext.h"
#include "QuilConfig.h"
#include "QuilLogger.h"
#include "RemoteLogin.h"
#include "RequestPool.h"

namespace {

// Guards every lookup in and insertion into the handler map. Every lookup takes it: a map
// that another thread may be inserting into cannot be walked safely without it. Taken with no
// other lock held, and nothing is called under it but the map's own operations.
std::mutex handlersMutex;

// Account key to its handler. Made once and never freed, like the handlers: a listener given
// to the host must stay valid however late the host calls it, even during the process's exit.
std::map<std::string, LoginHandler*>& Handlers() {
    static std::map<std::string, LoginHandler*>* handlers =
        new std::map<std::string, LoginHandler*>();
    return *handlers;
}

}  // namespace

LoginHandler::LoginHandler(std::string account) : userInfo(std::move(account)) {}

LoginHandler* LoginHandler::GetHandler(std::string userInfo) {
    if (userInfo.empty()) {
        userInfo = "Default";
    }
    std::lock_guard<std::mutex> lock(handlersMutex);
    std::map<std::string, LoginHandler*>& handlers = Handlers();
    auto entry = handlers.find(userInfo);
    if (entry != handlers.end() && entry->second != nullptr) {
        return entry->second;
    }
    LoginHandler* handler = new LoginHandler(userInfo);
    handlers[userInfo] = handler;
    return handler;
}

void LoginHandler::onLoginSuccess() {
    updateSessionInfo();
    QUIL_LOG(QUIL_LOG_INFO, "onLoginSuccess, retryAllRequest: %s", userInfo.c_str());
    RequestPool::retryAllRequest(userInfo);
}

void LoginHandler::onLoginFail() {
    QUIL_LOG(QUIL_LOG_ERROR, "onLoginFail, failAllRequest: %s", userInfo.c_str());
    RequestPool::failAllRequest(userInfo);
}

void LoginHandler::onLoginCancel() {
    QUIL_LOG(QUIL_LOG_WARN, "onLoginCancel, failAllRequest: %s", userInfo.c_str());
    RequestPool::failAllRequest(userInfo);
}

void LoginHandler::updateSessionInfo() {
    // The host's context is foreign code: whatever it throws stops here, so that the waiting
    // requests are still sent again.
    try {
        LoginContext* context = RemoteLogin::getLoginContext(userInfo);
        if (context == nullptr) {
            return;
        }
        QuilConfig* config = QuilConfig::GetInstance();
        std::string registered = config->GetSid(userInfo);
        // The same sid with another uid changes nothing: the registry keeps what it has.
        if (context->sid.empty() || context->sid == registered) {
            return;
        }
        QUIL_LOG(QUIL_LOG_INFO, "updateSessionInfo userInfo: %s, sid: %s, uid: %s",
                 userInfo.c_str(), context->sid.c_str(), context->uid.c_str());
        config->RegisterMultiAccountSession(userInfo, context->sid, context->uid);
    } catch (...) {
        QUIL_LOG(QUIL_LOG_ERROR, "updateSessionInfo error");
    }
}
