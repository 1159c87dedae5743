#include "ErrorCodeMappingAfterFilter.h"

#include "QuilLogger.h"

const char* ErrorCodeMappingAfterFilter::GetName() { return "a_errorcode_mapping"; }

void ErrorCodeMappingAfterFilter::HandleResponse(QuilRequest* request, QuilResponse* /*response*/,
                                                 FilterResult* result) {
    QUIL_LOG(QUIL_LOG_VERBOSE, "handle errorcode mapping after filter, id: %d", request->GetId());
    result->code = 0;
}
