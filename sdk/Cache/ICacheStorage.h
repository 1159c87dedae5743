// ICacheStorage: where the response cache keeps its records. The host implements it; the
// library only calls it and never deletes it. It is called from whichever thread runs the
// filters, so an implementation must accept concurrent calls.
#pragma once

#include <string>

#include "RpcCache.h"

class ICacheStorage {
public:
    // The record stored under key in block, or null. The caller takes ownership of a new
    // record (allocated with new) and deletes it; the storage keeps no pointer to it.
    virtual RpcCache* Get(std::string key, std::string block) = 0;
    // Stores record under key in block; true when it was stored. The storage takes ownership
    // of record (allocated with new) in every case.
    virtual bool Put(std::string key, std::string block, RpcCache* record) = 0;

protected:
    // Not deleted through this type: the storage belongs to the host.
    ~ICacheStorage() = default;
};
