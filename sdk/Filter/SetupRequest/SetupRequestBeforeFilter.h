// SetupRequestBeforeFilter: the second before filter. When the host forced a session on
// QuilConfig (its process-wide sid), registers it under each request's account, so the login
// check that follows finds it. Built once and owned by FilterManager; stateless, so any number
// of threads may run it.
#pragma once

#include "BeforeFilter.h"

class SetupRequestBeforeFilter : public BeforeFilter {
public:
    // "b_setup_request"; an asynchronous retry resumes the chain here.
    const char* GetName() override;
    // Registers the forced session, if any, for request's account; result->code is set to 0.
    void HandleRequest(QuilRequest* request, FilterResult* result) override;
};
