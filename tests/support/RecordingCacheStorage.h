// A host cache storage for tests: answers Get with a copy of the record stored under the
// asked key and block (or of a record the test prepared), records every Get and Put, keeps
// what Put hands over, and can be told to throw from Get. Thread-safe. ScopedCacheOpen opens
// the library's cache over a storage for one test and closes it again.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "ICacheStorage.h"

namespace quil {
namespace test {

struct CacheCall {
    std::string key;
    std::string block;
};

class RecordingCacheStorage : public ICacheStorage {
public:
    RpcCache* Get(std::string key, std::string block) override;
    bool Put(std::string key, std::string block, RpcCache* record) override;

    // Stores a copy of record under key and block, as if a Put had stored it.
    void Store(const std::string& key, const std::string& block, const RpcCache& record);
    // What Put answers from now on (true at first).
    void SetPutAnswer(bool answer);
    // From now on Get throws a std::runtime_error.
    void ThrowOnGet();

    std::vector<CacheCall> Gets() const;
    std::vector<CacheCall> Puts() const;
    // A copy of the record of the n-th Put (0-based).
    RpcCache PutRecord(std::size_t n) const;

private:
    mutable std::mutex mutex_;  // guards every field below
    std::map<std::pair<std::string, std::string>, RpcCache> stored_;
    std::vector<CacheCall> gets_;
    std::vector<CacheCall> puts_;
    std::vector<std::unique_ptr<RpcCache>> putRecords_;
    bool putAnswer_ = true;
    bool throwOnGet_ = false;
};

// Opens the cache over storage (not owned) for its lifetime.
class ScopedCacheOpen {
public:
    explicit ScopedCacheOpen(ICacheStorage* storage);
    ~ScopedCacheOpen();
    ScopedCacheOpen(const ScopedCacheOpen&) = delete;
    ScopedCacheOpen& operator=(const ScopedCacheOpen&) = delete;
};

}  // namespace test
}  // namespace quil
