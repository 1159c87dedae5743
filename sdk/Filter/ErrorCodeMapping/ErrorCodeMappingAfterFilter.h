// ErrorCodeMappingAfterFilter: a hook that holds the place of error code mapping; it only logs and
// maps nothing, so every code passes unchanged. Built once and owned by FilterManager; stateless,
// so any number of threads may run it.
#pragma once

#include "AfterFilter.h"

class ErrorCodeMappingAfterFilter : public AfterFilter {
public:
    // "a_errorcode_mapping"
    const char* GetName() override;
    // Logs the request's id and lets it pass: result->code is set to 0.
    void HandleResponse(QuilRequest* request, QuilResponse* response,
                        FilterResult* result) override;
};
