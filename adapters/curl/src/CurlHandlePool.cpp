#include "CurlHandlePool.h"

#include <new>

namespace quil {

CurlSlist MakeCurlSlist(const std::vector<std::string>& texts) {
    CurlSlist list;
    for (const std::string& text : texts) {
        curl_slist* grown = curl_slist_append(list.get(), text.c_str());
        if (grown == nullptr) throw std::bad_alloc();
        // curl_slist_append returns the head, which is the same list once it exists.
        list.release();
        list.reset(grown);
    }
    return list;
}

bool EnsureCurlGlobalInit() {
    // A function-local static is initialised exactly once even when threads race here, and
    // curl_easy_init would otherwise make the (older, non-thread-safe) global init itself.
    // There is no matching curl_global_cleanup: other parts of the host may use libcurl too,
    // and its global state is reclaimed with the process.
    static const bool initialised = curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK;
    return initialised;
}

CurlHandlePool::CurlHandlePool(std::size_t maxIdle) : maxIdle_(maxIdle) { idle_.reserve(maxIdle_); }

CurlHandlePool::~CurlHandlePool() {
    for (CURL* handle : idle_) curl_easy_cleanup(handle);
}

CURL* CurlHandlePool::Acquire() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (!idle_.empty()) {
            CURL* handle = idle_.back();
            idle_.pop_back();
            return handle;
        }
    }
    if (!EnsureCurlGlobalInit()) return nullptr;
    return curl_easy_init();
}

void CurlHandlePool::Release(CURL* handle) {
    // Reset outside the lock; it keeps the handle's open connections and DNS cache, and drops
    // the pointers into the finished exchange's buffers.
    curl_easy_reset(handle);
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (idle_.size() < maxIdle_) {
            idle_.push_back(handle);
            return;
        }
    }
    curl_easy_cleanup(handle);
}

}  // namespace quil
