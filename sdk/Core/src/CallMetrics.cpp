#include "CallMetrics.h"

#include <cstdlib>
#include <string>

#include "HttpRequestComposer.h"
#include "MetricsEntity.h"
#include "QuilRequestImpl.h"
#include "QuilResponseImpl.h"
#include "UTDataSet.h"

namespace {

// What closing reports for a call that ended without a response: the host's client answered
// nothing, so the call failed on the network side.
const char* const kNoResponseCode = "FAIL_NETWORK_CONNECT_ERROR";

}  // namespace

void CallMetrics::Open(QuilRequestImpl* request) {
    UTDataSet::GetInstance()->OpenMetrics(
        request, request->GetId(), request->GetApi(), request->GetVersion(),
        HttpRequestComposer::SelectHost(request->GetDomainMode() == 1), request->isAsync == 0);
}

void CallMetrics::Close(QuilRequestImpl* request, QuilResponse* response) {
    MetricsOutcome outcome;
    outcome.retryTime = request->retryTime;
    RetInfo* retInfo = response != nullptr ? response->GetRetInfo() : nullptr;
    if (retInfo == nullptr) {
        // Nothing to read: the call ended without a response (or one without return
        // information), which counts as a failed exchange.
        outcome.serverRT = 0;
        outcome.retCode = kNoResponseCode;
        outcome.errorType = 2;
    } else {
        std::string serverRT;
        if (QuilResponseImpl* impl = dynamic_cast<QuilResponseImpl*>(response)) {
            // A missing header is created empty and stays in the response's map.
            serverRT = impl->headers["s-rt"];
        } else {
            serverRT = response->GetHeaders()["s-rt"];
        }
        outcome.serverRT = std::atoi(serverRT.c_str());
        outcome.retCode = retInfo->retCode;
        outcome.retMsg = retInfo->retMsg;
        outcome.errorType = retInfo->errorType;
    }
    UTDataSet::GetInstance()->CloseMetrics(request, request->GetId(), outcome);
}
