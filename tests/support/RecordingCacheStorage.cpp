#include "RecordingCacheStorage.h"

#include <stdexcept>

#include "CacheOpenSwitch.h"

namespace quil {
namespace test {

RpcCache* RecordingCacheStorage::Get(std::string key, std::string block) {
    std::lock_guard<std::mutex> lock(mutex_);
    gets_.push_back(CacheCall{key, block});
    if (throwOnGet_) {
        throw std::runtime_error("storage unavailable");
    }
    auto entry = stored_.find(std::make_pair(key, block));
    if (entry == stored_.end()) {
        return nullptr;
    }
    return new RpcCache(entry->second);
}

bool RecordingCacheStorage::Put(std::string key, std::string block, RpcCache* record) {
    std::unique_ptr<RpcCache> owned(record);
    std::lock_guard<std::mutex> lock(mutex_);
    puts_.push_back(CacheCall{key, block});
    if (owned) {
        stored_[std::make_pair(key, block)] = *owned;
    }
    putRecords_.push_back(std::move(owned));
    return putAnswer_;
}

void RecordingCacheStorage::Store(const std::string& key, const std::string& block,
                                  const RpcCache& record) {
    std::lock_guard<std::mutex> lock(mutex_);
    stored_[std::make_pair(key, block)] = record;
}

void RecordingCacheStorage::SetPutAnswer(bool answer) {
    std::lock_guard<std::mutex> lock(mutex_);
    putAnswer_ = answer;
}

void RecordingCacheStorage::ThrowOnGet() {
    std::lock_guard<std::mutex> lock(mutex_);
    throwOnGet_ = true;
}

std::vector<CacheCall> RecordingCacheStorage::Gets() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return gets_;
}

std::vector<CacheCall> RecordingCacheStorage::Puts() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return puts_;
}

RpcCache RecordingCacheStorage::PutRecord(std::size_t n) const {
    std::lock_guard<std::mutex> lock(mutex_);
    if (n >= putRecords_.size() || !putRecords_[n]) {
        return RpcCache();
    }
    return *putRecords_[n];
}

ScopedCacheOpen::ScopedCacheOpen(ICacheStorage* storage) { CacheOpenSwitch::Open(storage); }

ScopedCacheOpen::~ScopedCacheOpen() { CacheOpenSwitch::Close(); }

}  // namespace test
}  // namespace quil
