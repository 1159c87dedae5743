// DynamicApiConfigAfterFilter: a hook that holds the place of per-API remote configuration; it only
// logs and applies nothing. Built once and owned by FilterManager; stateless, so any number of
// threads may run it.
#pragma once

#include "AfterFilter.h"

class DynamicApiConfigAfterFilter : public AfterFilter {
public:
    // "a_dynamic_api_config"
    const char* GetName() override;
    // Logs the request's id and lets it pass: result->code is set to 0.
    void HandleResponse(QuilRequest* request, QuilResponse* response,
                        FilterResult* result) override;
};
