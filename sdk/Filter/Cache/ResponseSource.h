// ResponseSource: what the cache before filter learned about one request whose cache read was
// allowed: the manager, the record found and the response built from it. It owns the manager,
// the record and (until it is handed on) the cached response; the request is not owned. It
// belongs to the FilterResult of the before chain and is used on that chain's thread only.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "CacheManager.h"
#include "QuilRequest.h"
#include "QuilResponseImpl.h"
#include "RpcCache.h"

class ResponseSource {
public:
    ResponseSource() = default;
    ResponseSource(const ResponseSource&) = delete;
    ResponseSource& operator=(const ResponseSource&) = delete;

    // cacheKey; on first use the manager's key of request is stored there. "" while request
    // or cacheManager is unset.
    std::string GetCacheKey();
    // cacheBlock; on first use the manager's block of the request's key is stored there. ""
    // while request or cacheManager is unset.
    std::string GetCacheBlock();

    QuilRequest* request = nullptr;                   // the request; not owned
    std::unique_ptr<CacheManager> cacheManager;       // the manager that allowed the read
    std::unique_ptr<RpcCache> rpcCache;               // the record found, or null
    std::unique_ptr<QuilResponseImpl> cacheResponse;  // built from rpcCache, or null
    bool requireConnection = true;                    // false when the cache answers alone
    int32_t seqNo = 0;                                // the request's id
    std::string cacheKey;
    std::string cacheBlock;
};
