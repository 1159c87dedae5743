#include "FreshCacheParser.h"

#include "QuilLogger.h"

void FreshCacheParser::parse(ResponseSource* source) {
    QUIL_LOG(QUIL_LOG_INFO, "parse FreshCacheParser called");
    source->requireConnection = false;
    source->cacheResponse = BuildResponse(*source->rpcCache);
}
