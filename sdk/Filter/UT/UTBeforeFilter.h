// UTBeforeFilter: the first before filter, a hook that holds the place of call tracing; it only
// logs. Built once and owned by FilterManager; stateless, so any number of threads may run it.
#pragma once

#include "BeforeFilter.h"

class UTBeforeFilter : public BeforeFilter {
public:
    // "b_ut"
    const char* GetName() override;
    // Logs the request's id and lets it pass: result->code is set to 0.
    void HandleRequest(QuilRequest* request, FilterResult* result) override;
};
