// LoginBeforeFilter ("b_login"): holds back a request that needs a session when none is usable.
// An asynchronous request waits in the pending-request pool while a login runs; a synchronous
// one fails at once with "FAIL_SYS_SESSION_EXPIRED". Stateless; runs on many threads at once.
#pragma once

#include "BeforeFilter.h"

class LoginBeforeFilter : public BeforeFilter {
public:
    const char* GetName() override;
    void HandleRequest(QuilRequest* request, FilterResult* result) override;

private:
    // Parks (asynchronous road) or fails (synchronous road) the request, and stops the chain.
    static void HoldBack(QuilRequest* request, FilterResult* result, int id);
};
