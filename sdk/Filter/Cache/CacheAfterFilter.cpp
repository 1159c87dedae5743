#include "CacheAfterFilter.h"

#include <map>
#include <string>

#include "QuilConfig.h"
#include "QuilLogger.h"
#include "ResponseSource.h"

const char* CacheAfterFilter::GetName() { return "a_cache"; }

void CacheAfterFilter::HandleResponse(QuilRequest* request, QuilResponse* response,
                                      FilterResult* result) {
    const int id = request->GetId();
    QUIL_LOG(QUIL_LOG_VERBOSE, "handle cache after filter, id: %d", id);
    result->code = 0;
    if (QuilConfig::GetInstance()->cacheSwitch == 0) {
        QUIL_LOG(QUIL_LOG_VERBOSE, "response will not be cache, cacheImpl is null, id: %d", id);
        return;
    }
    ResponseSource* source = result->responseSource;
    if (response == nullptr || !response->IsSuccess() || source == nullptr) {
        return;
    }
    QUIL_LOG(QUIL_LOG_INFO, "response is success, responseSource is not null, id: %d", id);
    // A source whose manager was never set cannot be asked.
    if (!source->cacheManager) {
        return;
    }
    std::map<std::string, std::string> headers = response->GetHeaders();
    if (source->cacheManager->isNeedWriteCache(request, headers)) {
        QUIL_LOG(QUIL_LOG_INFO, "response will be cached, id: %d", id);
        // Whether the storage kept it changes nothing for the call.
        source->cacheManager->putCache(source->GetCacheKey(), source->GetCacheBlock(), response);
    }
}
