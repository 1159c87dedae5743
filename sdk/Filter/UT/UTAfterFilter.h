// UTAfterFilter: the last after filter, a hook that holds the place of call tracing; it only logs
// (the call's metrics are kept elsewhere). Built once and owned by FilterManager; stateless, so any
// number of threads may run it.
#pragma once

#include "AfterFilter.h"

class UTAfterFilter : public AfterFilter {
public:
    // "a_ut"
    const char* GetName() override;
    // Logs the request's id and lets it pass: result->code is set to 0.
    void HandleResponse(QuilRequest* request, QuilResponse* response,
                        FilterResult* result) override;
};
