#include "SetupRequestBeforeFilter.h"

#include <string>

#include "QuilConfig.h"
#include "QuilLogger.h"

const char* SetupRequestBeforeFilter::GetName() { return "b_setup_request"; }

void SetupRequestBeforeFilter::HandleRequest(QuilRequest* request, FilterResult* result) {
    QUIL_LOG(QUIL_LOG_VERBOSE, "handle setup request before filter, id: %d", request->GetId());
    QuilConfig* config = QuilConfig::GetInstance();
    // Only the session id decides: a forced session with an empty user id is registered too.
    if (!config->sid.empty()) {
        std::string userInfo = request->GetUserInfo();
        QUIL_LOG(QUIL_LOG_WARN, "request force register session, userInfo: %s sid: %s, uid: %s",
                 userInfo.c_str(), config->sid.c_str(), config->uid.c_str());
        // Registered again on every request, retries included; the result tells nothing new.
        config->RegisterMultiAccountSession(userInfo, config->sid, config->uid);
    }
    result->code = 0;
}
