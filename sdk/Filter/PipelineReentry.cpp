#include "PipelineReentry.h"

#include <atomic>

#include "QuilRequestImpl.h"
#include "QuilResponseImpl.h"
#include "QuilService.h"

namespace {

// Written once while the service is built, before it is published; read by any thread.
std::atomic<IPipelineReentry*> registeredCore{nullptr};
std::atomic<IServerClock*> registeredClock{nullptr};

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

// The registered core; building the service registers it.
IPipelineReentry* Core() {
    IPipelineReentry* core = registeredCore.load(std::memory_order_acquire);
    if (core == nullptr) {
        QuilService::GetInstance();
        core = registeredCore.load(std::memory_order_acquire);
    }
    return core;
}

}  // namespace

void PipelineReentry::Register(IPipelineReentry* core, IServerClock* clock) {
    registeredCore.store(core, std::memory_order_release);
    registeredClock.store(clock, std::memory_order_release);
}

IServerClock* PipelineReentry::Clock() {
    IServerClock* clock = registeredClock.load(std::memory_order_acquire);
    if (clock == nullptr) {
        QuilService::GetInstance();
        clock = registeredClock.load(std::memory_order_acquire);
    }
    return clock;
}

void PipelineReentry::Reenter(QuilRequest* request, QuilResponse* response, FilterResult* result) {
    IPipelineReentry* core = Core();
    QuilRequestImpl* impl = dynamic_cast<QuilRequestImpl*>(request);
    if (core == nullptr || impl == nullptr || result == nullptr) {
        return;
    }
    impl->retryTime += 1;
    if (impl->isAsync != 0) {
        // The queued pass owns the request from here; what it returns is not looked at.
        core->QueuePass(impl, kResumeFilter);
    } else {
        QuilResponse* inner = core->RunNestedPass(impl);
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
