// Idle libcurl easy handles kept between exchanges, so that a later call to the same host
// finds its connection still open. Thread-safe; handles are used by one thread at a time.
#pragma once

#include <curl/curl.h>

#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace quil {

// Frees a libcurl string list.
struct CurlSlistDeleter {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
using CurlSlist = std::unique_ptr<curl_slist, CurlSlistDeleter>;

// A libcurl string list of the given texts, in order; null for none. Throws std::bad_alloc.
CurlSlist MakeCurlSlist(const std::vector<std::string>& texts);

// Calls curl_global_init once per process, thread-safely; true when it succeeded.
bool EnsureCurlGlobalInit();

class CurlHandlePool {
public:
    // Keeps at most maxIdle handles; throws std::bad_alloc.
    explicit CurlHandlePool(std::size_t maxIdle);
    // Cleans up the idle handles. Precondition: none is checked out.
    ~CurlHandlePool();

    CurlHandlePool(const CurlHandlePool&) = delete;
    CurlHandlePool& operator=(const CurlHandlePool&) = delete;

    // A handle with default options, the most recently returned one first (its connections
    // are the warmest); null when libcurl cannot make one. The caller gives it back.
    CURL* Acquire();
    // Takes a handle back: its options are reset, its open connections kept.
    void Release(CURL* handle);

private:
    const std::size_t maxIdle_;
    // Guards idle_.
    std::mutex mutex_;
    // Capacity reserved up front, so giving a handle back never allocates.
    std::vector<CURL*> idle_;
};

// Checks a handle out of a pool for one scope.
class CurlHandleLease {
public:
    explicit CurlHandleLease(CurlHandlePool& pool) : pool_(pool), handle_(pool.Acquire()) {}
    ~CurlHandleLease() {
        if (handle_ != nullptr) pool_.Release(handle_);
    }
    CurlHandleLease(const CurlHandleLease&) = delete;
    CurlHandleLease& operator=(const CurlHandleLease&) = delete;

    CURL* Get() const { return handle_; }

private:
    CurlHandlePool& pool_;
    CURL* handle_;
};

}  // namespace quil
