#include "UTAfterFilter.h"

#include "QuilLogger.h"

const char* UTAfterFilter::GetName() { return "a_ut"; }

void UTAfterFilter::HandleResponse(QuilRequest* request, QuilResponse* /*response*/,
                                   FilterResult* result) {
    QUIL_LOG(QUIL_LOG_VERBOSE, "handle ut after filter, id: %d", request->GetId());
    result->code = 0;
}
