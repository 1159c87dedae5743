// The host's HTTP transport. The host owns it and registers it with
// QuilConfig::RegisterHttpClient (or NetworkManager::RegisterHttpClient); the library never
// deletes it. SendHttpRequest is called from several threads at once: the caller's thread for
// a synchronous call and the five network workers for asynchronous ones.
#pragma once

#include "HttpRequest.h"
#include "HttpResponse.h"

class IHttpClient {
public:
    virtual ~IHttpClient() = default;

    // Blocks until the exchange is over. Returns a new HttpResponse whose request is the very
    // request given (the response then owns it), or null when nothing can be answered (the
    // caller then keeps the request). Must not throw.
    virtual HttpResponse* SendHttpRequest(HttpRequest* request) = 0;
};
