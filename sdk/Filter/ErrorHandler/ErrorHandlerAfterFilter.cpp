#include "ErrorHandlerAfterFilter.h"

#include "ErrorHandlerManager.h"
#include "PipelineReentry.h"
#include "QuilLogger.h"
#include "QuilRequestImpl.h"

const char* ErrorHandlerAfterFilter::GetName() { return "a_error_handle"; }

void ErrorHandlerAfterFilter::HandleResponse(QuilRequest* request, QuilResponse* response,
                                             FilterResult* result) {
    QUIL_LOG(QUIL_LOG_VERBOSE, "handle error handler after filter, id: %d",
             request != nullptr ? request->GetId() : -1);
    result->code = 0;
    if (response == nullptr) {
        return;  // nothing to classify; the chain goes on as with any passing response
    }
    if (response->IsSuccess()) {
        QUIL_LOG(QUIL_LOG_VERBOSE, "response return without error");
        return;
    }
    const int32_t action = ErrorHandlerManager::GetInstance()->HandleResponse(response);
    if (action == ActionReturn) {
        QUIL_LOG(QUIL_LOG_VERBOSE, "error handle action return");
        return;
    }
    if (action != ActionRedo) {
        return;
    }
    QUIL_LOG(QUIL_LOG_WARN, "error handle action redo");
    if (dynamic_cast<QuilRequestImpl*>(request) == nullptr) {
        return;
    }
    // No bound on retryTime here: a handler that asks for a redo bounds it itself.
    PipelineReentry::Reenter(request, response, result);
}
