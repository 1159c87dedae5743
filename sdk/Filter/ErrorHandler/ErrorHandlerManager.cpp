#include "ErrorHandlerManager.h"

#include <atomic>
#include <mutex>

#include "ErrorHandlers.h"
#include "LazySingleton.h"
#include "QuilLogger.h"
#include "RetInfo.h"

namespace {

quil::LazySingleton<ErrorHandlerManager> instance;

// Each handler's single instance: built and registered once, under a lock of its own, then
// read without it.
template <typename Handler>
struct HandlerSlot {
    std::atomic<Handler*> handler{nullptr};
    std::mutex mutex;  // guards the one-time build and registration of handler
};

// Builds Handler once and hands it to registerAll; a later call finds it built.
template <typename Handler, typename Register>
void RegisterOnce(HandlerSlot<Handler>& slot, Register registerAll) {
    if (slot.handler.load(std::memory_order_acquire) != nullptr) {
        return;
    }
    std::lock_guard<std::mutex> lock(slot.mutex);
    if (slot.handler.load(std::memory_order_relaxed) != nullptr) {
        return;
    }
    Handler* handler = new Handler();
    registerAll(ErrorHandlerManager::GetInstance(), handler);
    slot.handler.store(handler, std::memory_order_release);
}

HandlerSlot<CacheHandler> cacheSlot;
HandlerSlot<FloodProtectionHandler> floodSlot;
HandlerSlot<ThresholdHandler> thresholdSlot;
HandlerSlot<RequestExpiredHandler> expiredSlot;
HandlerSlot<SessionExpiredHandler> sessionSlot;
HandlerSlot<IllegalSignErrorHandler> illegalSignSlot;

}  // namespace

ErrorHandlerManager* ErrorHandlerManager::GetInstance() {
    return instance.Get([] { return new ErrorHandlerManager(); });
}

ErrorHandlerManager::ErrorHandlerManager() : defaultHandler(new DefaultErrorHandler()) {}

void ErrorHandlerManager::RegisterByStatusCode(int statusCode, ErrorHandler* handler) {
    statusCodeHandlers[statusCode] = handler;
}

void ErrorHandlerManager::RegisterByErrorCode(std::string errorCode, ErrorHandler* handler) {
    errorCodeHandlers[errorCode] = handler;
}

int32_t ErrorHandlerManager::HandleResponse(QuilResponse* response) {
    // The status code comes first: when it has a handler, return codes are not consulted.
    const int statusCode = response->GetStatusCode();
    auto byStatus = statusCodeHandlers.find(statusCode);
    if (byStatus != statusCodeHandlers.end() && byStatus->second != nullptr) {
        const int32_t action = byStatus->second->Handle(response);
        QUIL_LOG(QUIL_LOG_WARN, "handle with errorhandle, statusCode: %d, action: %d", statusCode,
                 action);
        return action;
    }
    RetInfo* retInfo = response->GetRetInfo();
    const std::string retCode = retInfo != nullptr ? retInfo->retCode : std::string();
    auto byCode = errorCodeHandlers.find(retCode);
    if (byCode != errorCodeHandlers.end() && byCode->second != nullptr) {
        const int32_t action = byCode->second->Handle(response);
        QUIL_LOG(QUIL_LOG_WARN, "handle with errorhandle, errorCode: %s, action: %d",
                 retCode.c_str(), action);
        return action;
    }
    const int32_t action = defaultHandler->Handle(response);
    QUIL_LOG(QUIL_LOG_WARN, "handle with errorhandle default, action: %d", action);
    return action;
}

void RegisterErrorHandlers() {
    RegisterOnce(cacheSlot, [](ErrorHandlerManager* manager, ErrorHandler* handler) {
        manager->RegisterByStatusCode(304, handler);
    });
    RegisterOnce(floodSlot, [](ErrorHandlerManager* manager, ErrorHandler* handler) {
        for (int status = 410; status <= 419; ++status) {
            manager->RegisterByStatusCode(status, handler);
        }
    });
    RegisterOnce(thresholdSlot, [](ErrorHandlerManager* manager, ErrorHandler* handler) {
        manager->RegisterByStatusCode(420, handler);
        manager->RegisterByStatusCode(499, handler);
        manager->RegisterByStatusCode(599, handler);
    });
    // Not "FAIL_SYS_REQUEST_EXPIRED", which the time calibration tests: the two stay apart.
    RegisterOnce(expiredSlot, [](ErrorHandlerManager* manager, ErrorHandler* handler) {
        manager->RegisterByErrorCode("FAIL_SYS_EXPIRED_REQUEST", handler);
    });
    RegisterOnce(sessionSlot, [](ErrorHandlerManager* manager, ErrorHandler* handler) {
        manager->RegisterByErrorCode("ERR_SID_INVALID", handler);
        manager->RegisterByErrorCode("FAIL_SYS_SESSION_EXPIRED", handler);
    });
    // The code as the gateway spells it.
    RegisterOnce(illegalSignSlot, [](ErrorHandlerManager* manager, ErrorHandler* handler) {
        manager->RegisterByErrorCode("FAIL_SYS_ILEGEL_SIGN", handler);
    });
}
