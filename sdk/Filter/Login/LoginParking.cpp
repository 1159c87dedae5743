#include "LoginParking.h"

#include <string>

#include "QuilLogger.h"
#include "QuilRequestImpl.h"
#include "QuilResponseImpl.h"
#include "RemoteLogin.h"
#include "RequestPool.h"

bool LoginParking::IsAsync(QuilRequest* request) {
    QuilRequestImpl* impl = dynamic_cast<QuilRequestImpl*>(request);
    return impl != nullptr && impl->isAsync == 1;
}

void LoginParking::Park(QuilRequest* request) {
    // Everything the login needs is read before the parking: from then on another thread may
    // already have sent the request again, or failed it and let the host free it.
    const int id = request->GetId();
    std::string userInfo = request->GetUserInfo();
    QUIL_LOG_AS("Park", QUIL_LOG_INFO, "async request addToRequestPool, id: %d", id);
    RequestPool::addToRequestPool(request);
    RemoteLogin::login(userInfo);
}

QuilResponse* LoginParking::SessionExpiredResponse(QuilRequest* request) {
    QuilResponseImpl* response = new QuilResponseImpl();
    response->retInfo.reset(new RetInfo());
    response->retInfo->retCode = "FAIL_SYS_SESSION_EXPIRED";
    response->retInfo->retMsg = "session expired";
    response->retInfo->errorType = 1;
    response->request.reset(request);
    return response;
}
