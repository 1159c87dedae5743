// ICacheParser: turns a judged record into a decision on a ResponseSource: whether the network
// is still needed, and which response the cache offers. Parsers have no state; any thread may
// use one.
#pragma once

#include <memory>

#include "QuilResponseImpl.h"
#include "ResponseSource.h"
#include "RpcCache.h"

class ICacheParser {
public:
    virtual ~ICacheParser() = default;
    // Acts on source (not null, with a record).
    virtual void parse(ResponseSource* source) = 0;

protected:
    // A response as the cache offers it: status 200, body and headers of record, every other
    // field at its default (no RetInfo, no request). The caller owns it.
    static std::unique_ptr<QuilResponseImpl> BuildResponse(const RpcCache& record);
};
