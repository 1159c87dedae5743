// RpcCache: one stored response of the local response cache, as the host's storage keeps it.
// A plain record; whoever holds the pointer owns it (see ICacheStorage). One thread at a time.
#pragma once

#include <cstdint>
#include <map>
#include <string>

struct RpcCache {
    std::string body;                            // response body
    std::map<std::string, std::string> headers;  // response headers, as received
    std::string version;       // carried over from an existing entry of a kept-version API
    std::string lastModified;  // "last-modified", kept only beside a "cache-control"
    int32_t maxAge = 0;        // seconds, from "cache-control"
    bool offline = false;      // the "of=on" directive
    std::string etag;          // validator: "QUIL-XETag", else "etag"
    int32_t reserved = 0;      // kept for the record's layout; read by nothing
    // 0 not judged, 1 fresh, 2 expired, 3 empty.
    int32_t cacheStatus = 0;
};

// The values of cacheStatus.
enum RpcCacheStatus : int32_t {
    kRpcCacheNotJudged = 0,
    kRpcCacheFresh = 1,
    kRpcCacheExpired = 2,
    kRpcCacheEmpty = 3,
};
