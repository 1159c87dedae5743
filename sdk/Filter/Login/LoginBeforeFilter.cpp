#include "LoginBeforeFilter.h"

#include <string>

#include "LoginContext.h"
#include "LoginParking.h"
#include "QuilConfig.h"
#include "QuilLogger.h"
#include "RemoteLogin.h"

const char* LoginBeforeFilter::GetName() { return "b_login"; }

void LoginBeforeFilter::HandleRequest(QuilRequest* request, FilterResult* result) {
    const int id = request->GetId();
    QUIL_LOG(QUIL_LOG_VERBOSE, "handle login before filter, id: %d", id);
    std::string userInfo = request->GetUserInfo();
    if (!request->GetNeedLogin()) {
        QUIL_LOG(QUIL_LOG_VERBOSE, "request not need login, id: %d", id);
        result->code = 0;
        return;
    }
    if (!RemoteLogin::isSessionValid(userInfo)) {
        QUIL_LOG(QUIL_LOG_ERROR, "request need login, but session invalid, id: %d", id);
        HoldBack(request, result, id);
        return;
    }
    QuilConfig* config = QuilConfig::GetInstance();
    if (!config->GetSid(userInfo).empty()) {
        result->code = 0;
        return;
    }
    QUIL_LOG(QUIL_LOG_WARN, "request need login, but sid is null, id: %d", id);
    LoginContext* context = RemoteLogin::getLoginContext(userInfo);
    if (context == nullptr) {
        // A valid session without a context does not stop the call: it goes on without one.
        QUIL_LOG(QUIL_LOG_WARN, "request need login, userInfo: %s, but logContext in null, id: %d",
                 userInfo.c_str(), id);
        result->code = 0;
        return;
    }
    if (!context->sid.empty()) {
        // The text names three strings; the sid fills the last two.
        QUIL_LOG(QUIL_LOG_INFO, "request need login, userInfo: %s, loginContext :%s %s %s, id: %d",
                 userInfo.c_str(), context->uid.c_str(), context->sid.c_str(), context->sid.c_str(),
                 id);
        config->RegisterMultiAccountSession(userInfo, context->sid, context->uid);
        result->code = 0;
        return;
    }
    QUIL_LOG(QUIL_LOG_ERROR, "request need login, userInfo: %s, but sid is null, id: %d",
             userInfo.c_str(), id);
    HoldBack(request, result, id);
}

void LoginBeforeFilter::HoldBack(QuilRequest* request, FilterResult* result, int id) {
    if (LoginParking::IsAsync(request)) {
        // Only the result is written after the parking; the request may be gone already.
        LoginParking::Park(request);
        result->waiting = true;
        result->code = 1;
        return;
    }
    QUIL_LOG_AS("HandleRequest", QUIL_LOG_WARN,
                "sync request should not be auto login, will get fail, id: %d", id);
    result->response = LoginParking::SessionExpiredResponse(request);
    result->code = 1;
}
