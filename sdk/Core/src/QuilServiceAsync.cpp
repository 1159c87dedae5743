// The asynchronous road of QuilServiceImpl: queueing, the pass on the service's pool, the
// completion on a network worker, cancellation and RetryRequest. The steps it shares with the
// synchronous road are PreparePass; the table of sends under way is InFlightCalls.
#include <memory>
#include <string>

#include "MetricsEntity.h"
#include "QuilLogger.h"
#include "QuilResponseImpl.h"
#include "QuilServiceImpl.h"
#include "UTDataSet.h"

int QuilServiceImpl::SendAsyncRequest(QuilRequest* request) {
    if (request == nullptr) {
        return -6;
    }
    QuilRequestImpl* impl = dynamic_cast<QuilRequestImpl*>(request);
    if (impl == nullptr) {
        return AsyncCall(nullptr, nullptr);
    }
    impl->isAsync = 1;
    if (impl->GetId() == -1) {
        impl->SetId(IssueId());
    }
    OpenMetrics(impl);
    int code = AsyncCall(impl, nullptr);
    if (code == 0) {
        return 0;  // the task owns the request now
    }
    // A call that never started is not reported. Its entity is dropped rather than left keyed
    // by the address of a deleted request, where a later request could find it.
    UTDataSet::GetInstance()->DropMetricsEntity(impl);
    delete impl;
    return code;
}

int QuilServiceImpl::AsyncCall(QuilRequestImpl* request, const char* resumeFilter) {
    if (request == nullptr) {
        QUIL_LOG(QUIL_LOG_ERROR, "async QuilRequest is null");
        return -6;
    }
    const int id = request->GetId();
    QUIL_LOG(QUIL_LOG_INFO, "start async QuilRequest id = %d, api = %s, version = %s", id,
             request->api.c_str(), request->version.c_str());
    // Unlike the synchronous road, no response comes of a failed check: the code is the report.
    if (config->appKey.empty()) {
        QUIL_LOG(QUIL_LOG_ERROR, "async QuilRequest check dependency fail id = %d", id);
        return -2;
    }
    // From AddTask on the request is the task's; it may already be running on the worker.
    threadPool->AddTask([this, request, resumeFilter] { ExecuteAsyncCall(request, resumeFilter); },
                        std::to_string(id));
    return 0;
}

void QuilServiceImpl::ExecuteAsyncCall(QuilRequestImpl* request, const char* resumeFilter) {
    if (request == nullptr) {
        return;  // AsyncCall never queues one
    }
    const int id = request->GetId();
    PassStart pass = PreparePass(request, resumeFilter, kAsyncRoad);
    switch (pass.stage) {
        case Stage::Waiting:
            return;
        case Stage::Stopped:
            FinishAsync(request, pass.response);
            if (pass.response == nullptr) {
                // No response took the request over, and no filter of the library stops this
                // way; as on the synchronous road, the request ends with the call.
                delete request;
            }
            return;
        case Stage::Failed:
            FinishAsync(request, pass.response);
            return;
        case Stage::Ready:
            break;
    }
    HttpRequest* httpRequest = pass.httpRequest;
    httpRequest->callback = &QuilServiceImpl::CompleteAsyncCall;
    httpRequest->callbackContext = this;
    httpRequest->cancelKey = std::to_string(id);

    // The send mark goes in before the entry: from the entry on, a cancel on another thread
    // may take the request (and a releasing cancel free it with its entity).
    pass.entity->networkSendStartTime = MetricsEntity::Now();
    // The entry comes first, so that an answer that comes back at once still finds it.
    calls.Enter(httpRequest, request);
    // The result only says the send was queued; nothing is done with it.
    networkManager->SendAsyncHttpRequest(httpRequest);
}

void QuilServiceImpl::CompleteAsyncCall(HttpResponse* httpResponse, void* context) {
    const double sendEnd = MetricsEntity::Now();
    if (httpResponse == nullptr || context == nullptr) {
        return;
    }
    QuilServiceImpl* service = static_cast<QuilServiceImpl*>(context);

    bool abandoned = false;
    QuilRequestImpl* request = service->calls.Complete(httpResponse->request, abandoned);
    if (request == nullptr) {
        // A withdrawn call: nothing is called and nothing reported. Its answer belongs to
        // nobody else, so it is freed (with the HttpRequest) rather than left behind.
        if (abandoned) {
            delete httpResponse;
        }
        return;
    }

    MetricsEntity* entity = UTDataSet::GetInstance()->GetExistMetricsEntity(request);
    entity->networkSendEndTime = sendEnd;
    entity->parseResponseStartTime = MetricsEntity::Now();
    QuilResponse* response = service->GetQuilResponse(httpResponse, request);
    entity->parseResponseEndTime = MetricsEntity::Now();
    entity->afterFilterStartTime = MetricsEntity::Now();
    std::unique_ptr<FilterResult> after(service->filterManager->DoAfter(request, response));
    const int code = after ? after->code : 0;

    if (code == 1) {
        // An after filter handed the request on (a new pass, or the login pool), which may be
        // running on another thread already: neither the request nor its entity is touched
        // again. The response of this pass is nobody's; it lets go of the request it shares
        // with the next pass and is freed.
        if (QuilResponseImpl* impl = dynamic_cast<QuilResponseImpl*>(response)) {
            impl->request.release();
            delete impl;
        }
    } else {
        entity->afterFilterEndTime = MetricsEntity::Now();
        if (code == 0) {
            service->CloseMetrics(request, response);
            Deliver(request, response);
            if (response == nullptr) {
                delete request;  // nothing took it over; the assembler always answers, though
            }
        }
    }
    after.reset();
    // After the callback has returned; it may have deleted the response, never this.
    delete httpResponse;
}

void QuilServiceImpl::FinishAsync(QuilRequestImpl* request, QuilResponse* response) {
    // No after filter runs on a response made before the send.
    CloseMetrics(request, response);
    Deliver(request, response);
}

template <typename Match>
QuilRequestImpl* QuilServiceImpl::Withdraw(Match matches) {
    return calls.Withdraw(matches, [this](HttpRequest* send, QuilRequestImpl* impl) {
        impl->cancelled = true;
        QUIL_LOG_AS("CancelCall", QUIL_LOG_INFO,
                    "cancel QuilRequest id = %d, api = %s, version = %s", impl->GetId(),
                    impl->api.c_str(), impl->version.c_str());
        // Removes the send if it has not started; one under way runs on, and its answer then
        // finds no entry. Either way the HttpRequest is the service's until an answer comes.
        networkManager->CancelHttpRequest(send);
    });
}

void QuilServiceImpl::CancelCall(QuilRequest* request) {
    if (request == nullptr) {
        QUIL_LOG(QUIL_LOG_ERROR, "cancel QuilRequest is null");
        return;
    }
    // The withdrawn request is left to nobody: no callback, no response, no report.
    Withdraw([request](QuilRequestImpl* candidate) { return candidate == request; });
}

void QuilServiceImpl::CancelCall(int id) {
    if (id == -1) {
        QUIL_LOG(QUIL_LOG_ERROR, "cancel QuilRequest request id can't be -1");
        return;
    }
    Withdraw([id](QuilRequestImpl* candidate) { return candidate->GetId() == id; });
}

namespace {

// Frees a request that a cancel has just withdrawn, with its measurements, unreported.
bool Release(QuilRequestImpl* withdrawn) {
    if (withdrawn == nullptr) {
        return false;
    }
    UTDataSet::GetInstance()->DropMetricsEntity(withdrawn);
    delete withdrawn;
    return true;
}

}  // namespace

bool QuilServiceImpl::CancelCallAndRelease(QuilRequest* request) {
    if (request == nullptr) {
        QUIL_LOG_AS("CancelCall", QUIL_LOG_ERROR, "cancel QuilRequest is null");
        return false;
    }
    return Release(
        Withdraw([request](QuilRequestImpl* candidate) { return candidate == request; }));
}

bool QuilServiceImpl::CancelCallAndRelease(int id) {
    if (id == -1) {
        QUIL_LOG_AS("CancelCall", QUIL_LOG_ERROR, "cancel QuilRequest request id can't be -1");
        return false;
    }
    return Release(Withdraw([id](QuilRequestImpl* candidate) { return candidate->GetId() == id; }));
}

void QuilServiceImpl::RetryRequest(QuilRequest* request) {
    if (request == nullptr) {
        return;
    }
    QuilRequestImpl* impl = dynamic_cast<QuilRequestImpl*>(request);
    if (impl == nullptr) {
        return;
    }
    // The limit is tested before the increment: 1 + 3 passes at most on this road.
    if (impl->retryTime < 3 && !impl->finished) {
        impl->retryTime += 1;
        if (impl->isAsync == 1) {
            QUIL_LOG(QUIL_LOG_INFO, "retry async QuilRequest id = %d, api = %s, version = %s",
                     impl->GetId(), impl->api.c_str(), impl->version.c_str());
            // A new pass from the beginning: the metrics open anew, the id is kept.
            SendAsyncRequest(impl);
        } else {
            // A synchronous call cannot be re-entered from outside; the count stays raised.
            QUIL_LOG(QUIL_LOG_WARN, "retry sync QuilRequest failed id = %d, api = %s, version = %s",
                     impl->GetId(), impl->api.c_str(), impl->version.c_str());
        }
        return;
    }
    QuilResponse* response =
        FailureResponse(impl, "FAIL_SYS_RETRY_LIMIT", "request retry many times");
    QUIL_LOG(QUIL_LOG_WARN,
             "retry QuilRequest arrive max retryTime or finished id = %d, api = %s, version = %s",
             impl->GetId(), impl->api.c_str(), impl->version.c_str());
    if (impl->isAsync == 1) {
        // Delivered on this thread, the login callback's.
        CloseMetrics(impl, response);
        Deliver(impl, response);
        return;
    }
    // On the synchronous road the response goes to nobody; it is freed without the request,
    // which stays with whoever holds it.
    static_cast<QuilResponseImpl*>(response)->request.release();
    delete response;
}

void QuilServiceImpl::Deliver(QuilRequestImpl* request, QuilResponse* response) {
    QuilCallback callback = request->GetCallback();
    void* userData = request->GetUserData();
    // Without a callback nobody takes the response; a host that wants none uses the
    // synchronous road.
    if (callback != nullptr) {
        callback(response, userData);
    }
}
