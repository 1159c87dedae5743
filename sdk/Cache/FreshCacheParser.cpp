#include "FreshCacheParser.h"

#include "QuilLogger.h"

void FreshCacheParser::parse(ResponseSource* source) {
    QUIL_LOG(QUIL_LOG_INFO, "parse FreshCacheParser called");
    // The response first: a source never says "no connection" without one to answer with.
    source->cacheResponse = BuildResponse(*source->rpcCache);
    source->requireConnection = false;
}
