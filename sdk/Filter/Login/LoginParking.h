// LoginParking: what both login filters do with a request that needs a session it does not
// have. On the asynchronous road the request waits in the pending-request pool while a login
// runs; on the synchronous road it fails at once. Stateless; runs on the thread of the chain.
#pragma once

#include "QuilRequest.h"
#include "QuilResponse.h"

class LoginParking {
public:
    // True when request travels the asynchronous road (isAsync 1); every other value, and a
    // request of a foreign class, counts as synchronous.
    static bool IsAsync(QuilRequest* request);

    // Parks request in the pool, then starts a login of its account, in this order, so that a
    // login that ends at once still finds it. The request is not touched after it is parked.
    static void Park(QuilRequest* request);

    // A new response that owns request: "FAIL_SYS_SESSION_EXPIRED", "session expired",
    // errorType 1. The caller owns it.
    static QuilResponse* SessionExpiredResponse(QuilRequest* request);
};
