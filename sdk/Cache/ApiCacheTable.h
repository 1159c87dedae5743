// ApiCacheTable: the per-API cache configuration, keyed by "api$version". A process-wide
// singleton, built at first use and never destroyed. Nothing in the library fills it, so a
// lookup finds nothing; the project's own tests fill it through Insert. Any thread may call.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "ApiCacheConfig.h"

class ApiCacheTable {
public:
    static ApiCacheTable* GetInstance();

    // How many unknown keys a lookup remembers (as an entry without a config) at most.
    static constexpr std::size_t kMaxUnknownKeys = 1024;

    // A copy of the config of key; null when there is none. An empty key answers null at once;
    // an unknown one is remembered as an entry without a config, up to kMaxUnknownKeys of them.
    std::unique_ptr<ApiCacheConfig> Find(const std::string& key);

    // For the project's own tests: sets the config of key.
    void Insert(const std::string& key, const ApiCacheConfig& config);

    // The number of entries, with or without a config.
    std::size_t Size();

private:
    ApiCacheTable() = default;

    // Guards both maps and unknownKeys. Taken with no other lock of the system held.
    std::mutex mutex;
    // "api$version" to its config; a null config marks a key that was looked up and not found.
    std::map<std::string, std::unique_ptr<ApiCacheConfig>> apiCacheConfigs;
    // Of the same kind, used by nothing; kept for the table's layout.
    std::map<std::string, std::unique_ptr<ApiCacheConfig>> reservedConfigs;
    std::size_t unknownKeys = 0;
};
