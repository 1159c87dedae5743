#include "ResponseSource.h"

std::string ResponseSource::GetCacheKey() {
    // A source whose request or manager was never set has nothing to ask.
    if (cacheKey.empty() && cacheManager && request != nullptr) {
        cacheKey = cacheManager->getCacheKey(request);
    }
    return cacheKey;
}

std::string ResponseSource::GetCacheBlock() {
    if (cacheBlock.empty() && cacheManager && request != nullptr) {
        cacheBlock = cacheManager->getBlockName(request->GetKey());
    }
    return cacheBlock;
}
