#include "PipelineReentry.h"

#include "QuilRequestImpl.h"
#include "QuilResponseImpl.h"
#include "QuilServiceImpl.h"

namespace {

// Copies the outcome of the nested pass into the present response: body, status, headers,
// return information and parsed body. The present response keeps its own request.
void CopyOutcome(QuilResponseImpl* inner, QuilResponseImpl* outer) {
    outer->body = inner->body;
    outer->statusCode = inner->statusCode;
    outer->headers = inner->headers;
    if (inner->retInfo) {
        if (!outer->retInfo) {
            outer->retInfo.reset(new RetInfo());
        }
        outer->retInfo->retCode = inner->retInfo->retCode;
        outer->retInfo->retMsg = inner->retInfo->retMsg;
        outer->retInfo->errorType = inner->retInfo->errorType;
    }
    outer->bodyJson = inner->bodyJson;
}

}  // namespace

void PipelineReentry::Reenter(QuilRequest* request, QuilResponse* response, FilterResult* result) {
    QuilServiceImpl* service = dynamic_cast<QuilServiceImpl*>(QuilService::GetInstance());
    QuilRequestImpl* impl = dynamic_cast<QuilRequestImpl*>(request);
    if (service == nullptr || impl == nullptr || result == nullptr) {
        return;
    }
    impl->retryTime += 1;
    if (impl->isAsync != 0) {
        // The queued pass owns the request from here; what it returns is not looked at.
        service->AsyncCall(impl, kResumeFilter);
    } else {
        QuilResponse* inner = service->SyncCall(impl);
        QuilResponseImpl* innerImpl = dynamic_cast<QuilResponseImpl*>(inner);
        QuilResponseImpl* outerImpl = dynamic_cast<QuilResponseImpl*>(response);
        if (innerImpl != nullptr && outerImpl != nullptr) {
            CopyOutcome(innerImpl, outerImpl);
        }
        if (innerImpl != nullptr) {
            // The nested response shares the request with the present one: detach it, then
            // free what is the nested pass's alone.
            if (innerImpl->request.get() == request) {
                innerImpl->request.release();
            }
            delete innerImpl;
        } else if (inner != nullptr) {
            delete inner;
        }
    }
    result->code = 1;
}
