#include "ApiCacheTable.h"

#include <atomic>

namespace {

// Guards the construction of the singleton; taken only there.
std::mutex instanceMutex;
// Published once, after construction; read without the lock on the fast path.
std::atomic<ApiCacheTable*> instance{nullptr};

}  // namespace

ApiCacheTable* ApiCacheTable::GetInstance() {
    ApiCacheTable* table = instance.load(std::memory_order_acquire);
    if (table != nullptr) {
        return table;
    }
    std::lock_guard<std::mutex> lock(instanceMutex);
    table = instance.load(std::memory_order_relaxed);
    if (table == nullptr) {
        // Lives until the process ends, like every singleton of the library.
        table = new ApiCacheTable();
        instance.store(table, std::memory_order_release);
    }
    return table;
}

std::unique_ptr<ApiCacheConfig> ApiCacheTable::Find(const std::string& key) {
    if (key.empty()) {
        return nullptr;
    }
    // Lookups and inserts run on the filters' threads at once, so every access is locked.
    std::lock_guard<std::mutex> lock(mutex);
    auto entry = apiCacheConfigs.find(key);
    if (entry == apiCacheConfigs.end()) {
        // An unknown key is remembered as an empty entry, but only so many of them: keys come
        // from the hosts' calls, and the table must not grow with every new API name.
        if (unknownKeys < kMaxUnknownKeys) {
            apiCacheConfigs.emplace(key, nullptr);
            ++unknownKeys;
        }
        return nullptr;
    }
    if (!entry->second) {
        return nullptr;
    }
    return std::unique_ptr<ApiCacheConfig>(new ApiCacheConfig(*entry->second));
}

void ApiCacheTable::Insert(const std::string& key, const ApiCacheConfig& config) {
    std::lock_guard<std::mutex> lock(mutex);
    auto entry = apiCacheConfigs.find(key);
    if (entry == apiCacheConfigs.end()) {
        apiCacheConfigs.emplace(key, std::unique_ptr<ApiCacheConfig>(new ApiCacheConfig(config)));
        return;
    }
    if (!entry->second) {
        // A remembered miss is known now, and no longer counts against the bound.
        --unknownKeys;
    }
    entry->second.reset(new ApiCacheConfig(config));
}

std::size_t ApiCacheTable::Size() {
    std::lock_guard<std::mutex> lock(mutex);
    return apiCacheConfigs.size();
}
