// CacheBeforeFilter ("b_cache"): asks the local response cache before a request goes to the
// network, and ends the call with the cached response when a fresh record answers it. Built
// once and owned by FilterManager; keeps no per-call state, so any number of threads may run it.
#pragma once

#include "BeforeFilter.h"

class ResponseSource;

class CacheBeforeFilter : public BeforeFilter {
public:
    // "b_cache"
    const char* GetName() override;
    // Passes the request on (code 0) unless the cache holds a fresh answer; then result->code
    // is 1 and result->response the cached response, which owns request from then on. A
    // request whose read was allowed leaves its ResponseSource in result->responseSource,
    // owned by result.
    void HandleRequest(QuilRequest* request, FilterResult* result) override;

private:
    // Fills source's record and its decision from the cache. May throw (storage, memory).
    static void Consult(ResponseSource* source);
};
