#include "UTBeforeFilter.h"

#include "QuilLogger.h"

const char* UTBeforeFilter::GetName() { return "b_ut"; }

void UTBeforeFilter::HandleRequest(QuilRequest* request, FilterResult* result) {
    QUIL_LOG(QUIL_LOG_VERBOSE, "handle ut before filter, id: %d", request->GetId());
    result->code = 0;
}
