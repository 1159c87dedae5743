#include "ErrorHandlers.h"

#include "QuilLogger.h"

int32_t CacheHandler::Handle(QuilResponse* /*response*/) {
    QUIL_LOG(QUIL_LOG_VERBOSE, "process cache handler");
    return ActionReturn;
}

int32_t DefaultErrorHandler::Handle(QuilResponse* /*response*/) {
    QUIL_LOG(QUIL_LOG_VERBOSE, "process default error handler");
    return ActionReturn;
}

int32_t FloodProtectionHandler::Handle(QuilResponse* /*response*/) {
    QUIL_LOG(QUIL_LOG_VERBOSE, "process flood protection handler");
    return ActionReturn;
}

int32_t IllegalSignErrorHandler::Handle(QuilResponse* /*response*/) {
    QUIL_LOG(QUIL_LOG_VERBOSE, "process illegal sign error handler");
    return ActionReturn;
}

int32_t RequestExpiredHandler::Handle(QuilResponse* /*response*/) {
    QUIL_LOG(QUIL_LOG_VERBOSE, "process request expired handler");
    return ActionReturn;
}

int32_t SessionExpiredHandler::Handle(QuilResponse* /*response*/) {
    QUIL_LOG(QUIL_LOG_VERBOSE, "process session expired handler");
    return ActionReturn;
}

int32_t ThresholdHandler::Handle(QuilResponse* /*response*/) {
    QUIL_LOG(QUIL_LOG_VERBOSE, "process threshold handler");
    return ActionReturn;
}
