// CacheAfterFilter ("a_cache"): offers a successful response to the local response cache,
// through the ResponseSource that the result carries. The after chain's result carries none,
// so in the library's own runs it writes nothing. Built once and owned by FilterManager;
// keeps no per-call state, so any number of threads may run it.
#pragma once

#include "AfterFilter.h"

class CacheAfterFilter : public AfterFilter {
public:
    // "a_cache"
    const char* GetName() override;
    // Never stops the chain: result->code is always 0. Writes response to the cache when it
    // is a success, result->responseSource (not owned) has a manager, and the manager allows
    // it.
    void HandleResponse(QuilRequest* request, QuilResponse* response,
                        FilterResult* result) override;
};
