#include "ErrorHandlers.h"

#include "QuilLogger.h"

int32_t ReturningErrorHandler::Handle(QuilResponse* /*response*/) {
    QUIL_LOG(QUIL_LOG_VERBOSE, "%s", line_);
    return ActionReturn;
}
