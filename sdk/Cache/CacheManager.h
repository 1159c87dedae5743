// CacheManager: decides whether an API answer may be read from or written to the local
// response cache, and moves records between a response and the host's storage. A manager is
// built for one request and used on the thread that runs that request's filters.
#pragma once

#include <map>
#include <string>

#include "QuilRequest.h"
#include "QuilResponse.h"
#include "RpcCache.h"

class CacheManager {
public:
    virtual ~CacheManager() = default;

    // Whether request (may be null) may be answered from the cache.
    virtual bool isNeedReadCache(QuilRequest* request) = 0;
    // Whether the answer to request, with the given response headers, may be stored.
    virtual bool isNeedWriteCache(QuilRequest* request,
                                  std::map<std::string, std::string> headers) = 0;
    // The judged record stored under key in block, or null; the caller owns it.
    virtual RpcCache* getCache(std::string key, std::string block) = 0;
    // Stores response (not owned, not null) under key in block; true when stored.
    virtual bool putCache(std::string key, std::string block, QuilResponse* response) = 0;
    // The storage key of request (not null).
    virtual std::string getCacheKey(QuilRequest* request) = 0;
    // The storage block of a request key ("api$version").
    virtual std::string getBlockName(std::string requestKey) = 0;
};
