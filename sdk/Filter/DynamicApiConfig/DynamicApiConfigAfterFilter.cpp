#include "DynamicApiConfigAfterFilter.h"

#include "QuilLogger.h"

const char* DynamicApiConfigAfterFilter::GetName() { return "a_dynamic_api_config"; }

void DynamicApiConfigAfterFilter::HandleResponse(QuilRequest* request, QuilResponse* /*response*/,
                                                 FilterResult* result) {
    QUIL_LOG(QUIL_LOG_VERBOSE, "handle dynamic api config after filter, id: %d", request->GetId());
    result->code = 0;
}
