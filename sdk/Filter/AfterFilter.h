// A filter of the after chain, between response assembly and the hand-over to the caller.
// FilterManager builds each one once and owns it; HandleResponse runs on many threads at once,
// so filters keep no per-call state of their own.
#pragma once

#include "FilterResult.h"
#include "QuilRequest.h"
#include "QuilResponse.h"

class AfterFilter {
public:
    // The filter's constant name in the chain ("a_..."); lives as long as the filter.
    virtual const char* GetName() = 0;
    // Acts on response; sets result->code to 1 to stop the chain. No argument is owned.
    virtual void HandleResponse(QuilRequest* request, QuilResponse* response,
                                FilterResult* result) = 0;
    virtual ~AfterFilter() = default;
};
