#include "CacheStatusHandler.h"

#include <memory>

#include "EmptyCacheParser.h"
#include "ExpiredCacheParser.h"
#include "FreshCacheParser.h"
#include "QuilLogger.h"

namespace {

std::unique_ptr<ICacheParser> ParserFor(int32_t cacheStatus) {
    switch (cacheStatus) {
        case kRpcCacheFresh:
            return std::unique_ptr<ICacheParser>(new FreshCacheParser());
        case kRpcCacheExpired:
            return std::unique_ptr<ICacheParser>(new ExpiredCacheParser());
        default:
            return std::unique_ptr<ICacheParser>(new EmptyCacheParser());
    }
}

}  // namespace

void CacheStatusHandler::handleCacheStatus(ResponseSource* source) {
    if (source == nullptr) {
        QUIL_LOG(QUIL_LOG_INFO, "handlerCacheStatus responseSource is null");
        return;
    }
    if (!source->rpcCache) {
        QUIL_LOG(QUIL_LOG_INFO, "handlerCacheStatus didn't hig local cache");
        return;
    }
    QUIL_LOG(QUIL_LOG_INFO, "handlerCacheStatus create CacheParser");
    // A parser per call, freed with the call: parsers have no state to keep.
    ParserFor(source->rpcCache->cacheStatus)->parse(source);
}
