// CacheOpenSwitch: the process-wide cacheOpen flag and the storage behind an open cache.
// The cache ships closed: no operation of the library opens it, and this header is neither
// installed nor exported. Only the project's own tests call Open, to prove the logic behind
// the flag. Any thread may call; the flag and the storage are read without a lock.
#pragma once

#include "ICacheStorage.h"

class CacheOpenSwitch {
public:
    // Whether the cache may be read or written; false from the start of the process.
    static bool IsOpen();
    // The storage that an open cache uses; null while the cache is closed. Not owned.
    static ICacheStorage* Storage();

    // For the project's own tests: opens the cache over storage (not owned; it must outlive
    // every call that may still use it).
    static void Open(ICacheStorage* storage);
    // Closes the cache again and forgets the storage.
    static void Close();
};
