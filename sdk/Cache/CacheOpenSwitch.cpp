#include "CacheOpenSwitch.h"

#include <atomic>

namespace {

// Atomics, so that a test that opens the cache while filters run elsewhere is no data race.
std::atomic<bool> cacheOpen{false};
std::atomic<ICacheStorage*> cacheStorage{nullptr};

}  // namespace

bool CacheOpenSwitch::IsOpen() { return cacheOpen.load(std::memory_order_acquire); }

ICacheStorage* CacheOpenSwitch::Storage() {
    return cacheOpen.load(std::memory_order_acquire) ? cacheStorage.load(std::memory_order_acquire)
                                                     : nullptr;
}

void CacheOpenSwitch::Open(ICacheStorage* storage) {
    cacheStorage.store(storage, std::memory_order_release);
    cacheOpen.store(true, std::memory_order_release);
}

void CacheOpenSwitch::Close() {
    cacheOpen.store(false, std::memory_order_release);
    cacheStorage.store(nullptr, std::memory_order_release);
}
