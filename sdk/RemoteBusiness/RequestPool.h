// RequestPool: the asynchronous requests that wait for a login, oldest first. The pool does
// not own them; the pipeline does, and a request leaves the pool only when a login of its
// account ends. Any thread may call every operation; the pool's mutex guards the list alone.
#pragma once

#include <cstddef>
#include <string>

#include "QuilRequest.h"

class RequestPool {
public:
    // Parks request (not owned; null is ignored) at the end of the list. From this call on the
    // caller must not touch the request again: another thread may already be sending it.
    static void addToRequestPool(QuilRequest* request);

    // Takes every waiting request of the account out of the pool, in order of arrival, and
    // sends each again through QuilService::RetryRequest. Requests of other accounts stay.
    static void retryAllRequest(std::string userInfo);

    // The same, but each request is first marked finished, so that RetryRequest ends it with
    // "FAIL_SYS_RETRY_LIMIT" through its callback.
    static void failAllRequest(std::string userInfo);

    // The number of waiting requests, of all accounts.
    static std::size_t Size();
};
