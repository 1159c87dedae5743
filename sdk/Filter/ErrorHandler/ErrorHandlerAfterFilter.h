// ErrorHandlerAfterFilter: the sixth after filter. Every response that is not a success is
// classified by ErrorHandlerManager; on a redo the request goes through the pipeline again on
// its own road. Built once and owned by FilterManager; stateless, so any number of threads may
// run it.
#pragma once

#include "AfterFilter.h"

class ErrorHandlerAfterFilter : public AfterFilter {
public:
    // "a_error_handle"
    const char* GetName() override;
    // Sets result->code to 0, or to 1 after a redo has re-entered the pipeline. No argument is
    // owned.
    void HandleResponse(QuilRequest* request, QuilResponse* response,
                        FilterResult* result) override;
};
