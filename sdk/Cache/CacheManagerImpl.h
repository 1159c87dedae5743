// CacheManagerImpl: the one CacheManager. Holds the host's storage (not owned, may be null)
// and no other state; one is built for each request that the cache filters let through.
// Every operation logs its entry line at level 1, open cache or not.
#pragma once

#include <map>
#include <string>

#include "CacheManager.h"
#include "ICacheStorage.h"

class CacheManagerImpl : public CacheManager {
public:
    // storage is not owned and may be null: then nothing is read or stored.
    explicit CacheManagerImpl(ICacheStorage* storage = nullptr) : cacheImpl(storage) {}

    // False while the cache is closed, for a null request or one that is not a GET, and for a
    // request whose own "cache-control" is exactly "no-cache".
    bool isNeedReadCache(QuilRequest* request) override;
    // False while the cache is closed, for a request that is not a GET, and when headers is
    // empty. Otherwise decided by the request's own headers, never by headers: true when its
    // "cache-control" is empty or exactly "no-cache" and its "QUIL-XETag" is not empty.
    bool isNeedWriteCache(QuilRequest* request,
                          std::map<std::string, std::string> headers) override;
    // Null without a storage; otherwise what the storage gives, judged by
    // handleCacheValidation.
    RpcCache* getCache(std::string key, std::string block) override;
    // False without a storage or response; otherwise the storage's answer for a record built
    // from response.
    bool putCache(std::string key, std::string block, QuilResponse* response) override;
    // "" for every request: all entries of a block share one key.
    std::string getCacheKey(QuilRequest* request) override;
    // The block of requestKey in ApiCacheTable; "" when it has none or requestKey is empty.
    std::string getBlockName(std::string requestKey) override;

    // Fills lastModified, maxAge, offline and etag of record (may be null) from its headers,
    // and returns record.
    RpcCache* handleResponseCacheFlag(RpcCache* record);
    // Sets cacheStatus of record (may be null) and returns record.
    RpcCache* handleCacheValidation(RpcCache* record);
    // The version of the record stored under key in block; "" when key is empty or nothing is
    // stored.
    std::string queryExistRpcCacheVersion(std::string block, std::string key);

private:
    ICacheStorage* cacheImpl;
};
