#include "LoginAfterFilter.h"

#include "LoginParking.h"
#include "QuilLogger.h"

const char* LoginAfterFilter::GetName() { return "a_login"; }

void LoginAfterFilter::HandleResponse(QuilRequest* request, QuilResponse* response,
                                      FilterResult* result) {
    const int id = request->GetId();
    QUIL_LOG(QUIL_LOG_VERBOSE, "handle login after filter, id: %d", id);
    if (!request->GetNeedLogin()) {
        QUIL_LOG(QUIL_LOG_VERBOSE, "request not need login, id: %d", id);
        result->code = 0;
        return;
    }
    if (!response->IsSessionExpired()) {
        result->code = 0;
        return;
    }
    QUIL_LOG(QUIL_LOG_ERROR, "response need login, but session invalid, id: %d", id);
    if (LoginParking::IsAsync(request)) {
        // waiting stays false: after the after chain, code 1 alone tells the completion that
        // the request has been handed on.
        LoginParking::Park(request);
        result->code = 1;
        return;
    }
    // The caller keeps the gateway's own response, which carries the same code; a failure
    // response of our own would be read by nobody, so none is built.
    QUIL_LOG(QUIL_LOG_WARN, "sync request should not be auto login, will get fail, id: %d", id);
    result->code = 1;
}
