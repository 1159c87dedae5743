#include "ExpiredCacheParser.h"

#include "QuilLogger.h"

void ExpiredCacheParser::parse(ResponseSource* source) {
    QUIL_LOG(QUIL_LOG_INFO, "parse ExpiredCacheParser called");
    // The request still goes to the network; the stale answer stays on the source.
    source->cacheResponse = BuildResponse(*source->rpcCache);
}
