// QuilResponseAssembler: turns the host's HttpResponse into the QuilResponse the caller sees
// (status, parsed headers, body, return information). Stateless; any thread may call it for
// an exchange it owns.
#pragma once

#include "HttpResponse.h"
#include "QuilRequest.h"
#include "QuilResponse.h"

class QuilResponseAssembler {
public:
    // A new response the caller owns, or null when http is null. The response takes request
    // (it deletes it with itself); the caller keeps http and deletes it.
    static QuilResponse* GetQuilResponse(HttpResponse* http, QuilRequest* request);
};
