// LoginAfterFilter ("a_login"): acts on a response in which the gateway declares the session
// expired, for a request that needs a session. An asynchronous request waits in the
// pending-request pool while a login runs, then goes out again; a synchronous one keeps the
// gateway's response. Either way the after chain stops here. Stateless; many threads at once.
#pragma once

#include "AfterFilter.h"

class LoginAfterFilter : public AfterFilter {
public:
    const char* GetName() override;
    void HandleResponse(QuilRequest* request, QuilResponse* response,
                        FilterResult* result) override;
};
