// A filter of the before chain, between the public call and signing. FilterManager builds each
// one once and owns it; HandleRequest runs on many threads at once, so filters keep no
// per-call state of their own.
#pragma once

#include "FilterResult.h"
#include "QuilRequest.h"

class BeforeFilter {
public:
    // The filter's constant name in the chain ("b_..."); lives as long as the filter.
    virtual const char* GetName() = 0;
    // Acts on request; sets result->code to 1 to stop the chain. Neither argument is owned.
    virtual void HandleRequest(QuilRequest* request, FilterResult* result) = 0;
    virtual ~BeforeFilter() = default;
};
