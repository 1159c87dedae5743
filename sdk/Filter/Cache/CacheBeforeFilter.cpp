#include "CacheBeforeFilter.h"

#include <memory>
#include <utility>

#include "CacheManagerImpl.h"
#include "CacheOpenSwitch.h"
#include "CacheStatusHandler.h"
#include "QuilConfig.h"
#include "QuilLogger.h"
#include "ResponseSource.h"

const char* CacheBeforeFilter::GetName() { return "b_cache"; }

void CacheBeforeFilter::HandleRequest(QuilRequest* request, FilterResult* result) {
    const int id = request->GetId();
    QUIL_LOG(QUIL_LOG_VERBOSE, "handle cache before filter, id: %d", id);
    if (QuilConfig::GetInstance()->cacheSwitch == 0) {
        // The words are shared with the after filter, as the gateway team reads them.
        QUIL_LOG(QUIL_LOG_VERBOSE, "response will not be cache, cacheImpl is null, id: %d", id);
        result->code = 0;
        return;
    }

    std::unique_ptr<CacheManagerImpl> manager(new CacheManagerImpl(CacheOpenSwitch::Storage()));
    if (!manager->isNeedReadCache(request)) {
        result->code = 0;
        return;
    }
    QUIL_LOG(QUIL_LOG_INFO, "request can be read from cache, id: %d", id);

    ResponseSource* source = nullptr;
    try {
        std::shared_ptr<ResponseSource> owned = std::make_shared<ResponseSource>();
        owned->request = request;
        owned->cacheManager = std::move(manager);
        owned->seqNo = id;
        result->responseSourceOwner = owned;
        result->responseSource = owned.get();
        source = owned.get();
        Consult(source);
    } catch (...) {
        // A cache that cannot be used only means the request goes to the network.
        QUIL_LOG(QUIL_LOG_ERROR, "init ResponseSource error");
    }

    // A source that says "no connection" without a response has nothing to answer with, so
    // the request goes on instead of ending without a response.
    if (source != nullptr && !source->requireConnection && source->cacheResponse) {
        QUIL_LOG(QUIL_LOG_INFO, "request hit cache and connnection not require, id: %d", id);
        QuilResponseImpl* response = source->cacheResponse.release();
        // Like every response that ends a call, it owns the request it answers.
        response->request.reset(request);
        result->response = response;
        result->code = 1;
        return;
    }
    result->code = 0;
}

void CacheBeforeFilter::Consult(ResponseSource* source) {
    std::string key = source->GetCacheKey();
    std::string block = source->GetCacheBlock();
    source->rpcCache.reset(source->cacheManager->getCache(key, block));
    CacheStatusHandler::handleCacheStatus(source);
}
