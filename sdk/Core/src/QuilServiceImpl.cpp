#include "QuilServiceImpl.h"

#include <cstdlib>
#include <memory>
#include <utility>

#include "HttpRequestComposer.h"
#include "MetricsEntity.h"
#include "Platform.h"
#include "QuilLogger.h"
#include "QuilResponseAssembler.h"
#include "QuilResponseImpl.h"
#include "QuilSignImpl.h"
#include "StartUseTime.h"
#include "UTDataSet.h"

namespace {

// Guards the construction of the singleton; taken only there, before any other lock.
std::recursive_mutex instanceMutex;
// Published once, after every part is in place; read without the lock on the fast path.
std::atomic<QuilService*> instance{nullptr};

// The signing object a test put in place of the bridge (null included); not owned.
std::atomic<IQuilSign*> signForTesting{nullptr};
// Set once a test has scripted the signing object; until then the real bridge is used.
std::atomic<bool> signScripted{false};

// The signing bridge the lazy start hands to the service: the QuilSignImpl singleton, unless a
// test scripted another (or none).
IQuilSign* SignBridge() {
    if (signScripted.load()) {
        return signForTesting.load();
    }
    return QuilSignImpl::GetInstance();
}

// What closing reports for a call that ended without a response: the host's client answered
// nothing, so the call failed on the network side.
const char* const kNoResponseCode = "FAIL_NETWORK_CONNECT_ERROR";

}  // namespace

QuilService* QuilService::GetInstance() {
    QuilService* service = instance.load(std::memory_order_acquire);
    if (service != nullptr) {
        return service;
    }
    std::lock_guard<std::recursive_mutex> lock(instanceMutex);
    service = instance.load(std::memory_order_relaxed);
    if (service == nullptr) {
        QuilServiceImpl* impl = new QuilServiceImpl();
        impl->threadPool = new ThreadPool(1, 1);
        impl->filterManager = FilterManager::GetInstance();
        // SLOT(error): ErrorHandlerManager's RegisterErrorHandlers, once the error handler
        // chain is in the tree.
        impl->config = QuilConfig::GetInstance();
        impl->networkManager = NetworkManager::GetInstance();
        service = impl;
        instance.store(service, std::memory_order_release);
    }
    return service;
}

QuilServiceImpl::QuilServiceImpl() = default;

// Never runs: the service lives for the process.
QuilServiceImpl::~QuilServiceImpl() = default;

void QuilServiceImpl::SetSignProviderForTesting(IQuilSign* scripted) {
    signForTesting.store(scripted);
    signScripted.store(true);
}

int QuilServiceImpl::IssueId() {
    std::lock_guard<std::recursive_mutex> lock(mutex);
    return nextId.fetch_add(1) + 1;
}

QuilResponse* QuilServiceImpl::SendSyncRequest(QuilRequest* request) {
    if (request == nullptr) {
        return nullptr;
    }
    QuilRequestImpl* impl = dynamic_cast<QuilRequestImpl*>(request);
    if (impl == nullptr) {
        // A request of a foreign class is treated as no request at all; it is not ours to
        // measure or delete.
        return SyncCall(nullptr);
    }
    impl->isAsync = 0;
    // A request that already has an id keeps it, so it can be sent again under its old id.
    if (impl->GetId() == -1) {
        impl->SetId(IssueId());
    }
    OpenMetrics(impl);
    QuilResponse* response = SyncCall(impl);
    CloseMetrics(impl, response);
    if (response == nullptr) {
        delete impl;
        return nullptr;
    }
    return response;
}

QuilResponse* QuilServiceImpl::SyncCall(QuilRequestImpl* request) {
    if (request == nullptr) {
        QUIL_LOG(QUIL_LOG_WARN, "sync QuilRequest is null");
        return nullptr;
    }
    const int id = request->GetId();
    QUIL_LOG(QUIL_LOG_INFO, "start sync QuilRequest id = %d, api = %s, version = %s", id,
             request->api.c_str(), request->version.c_str());

    // The application key is the one dependency; without it nothing else is started.
    if (config->appKey.empty()) {
        QUIL_LOG(QUIL_LOG_ERROR, "sync QuilRequest check dependency fail id = %d", id);
        return FailureResponse(request, "FAIL_SYS_DEPENDENCY_LOST", "check dependency fail");
    }

    LazyStart();

    MetricsEntity* entity = UTDataSet::GetInstance()->GetExistMetricsEntity(request);
    entity->beforeFilterStartTime = MetricsEntity::Now();
    std::unique_ptr<FilterResult> before(filterManager->DoBefore(request, nullptr));
    entity->beforeFilterEndTime = MetricsEntity::Now();
    if (before->code == 1) {
        QUIL_LOG(QUIL_LOG_ERROR, "sync QuilRequest before filter stop id = %d", id);
        return before->response;
    }

    // After the filters and before the sign input, on every pass: the gateway rejects a
    // skewed timestamp, and a retry must carry a fresh one.
    SetRequestTimestamp(request);

    if (sign.load() == nullptr) {
        QUIL_LOG(QUIL_LOG_FATAL, "iQuilSign is null");
        return FailureResponse(request, "FAIL_SYS_SIGN_LOAD_ERROR", "WardkeepSDK load error");
    }

    QuilResponse* signFailure = SignRequest(request, Road::Sync);
    if (signFailure != nullptr) {
        return signFailure;
    }

    entity->composeRequestStartTime = MetricsEntity::Now();
    HttpRequest* httpRequest = GetHttpRequest(request);
    entity->composeRequestEndTime = MetricsEntity::Now();
    // A std::string always has storage, so an empty url passes, as it must.
    if (httpRequest == nullptr) {
        QUIL_LOG(QUIL_LOG_ERROR, "sync QuilRequest get httpRequest null or url error id = %d", id);
        return FailureResponse(request, "FAIL_SYS_BUILD_REQUEST", "build http request error");
    }

    entity->networkSendStartTime = MetricsEntity::Now();
    HttpResponse* httpResponse = networkManager->SendSyncHttpRequest(httpRequest);
    entity->networkSendEndTime = MetricsEntity::Now();

    entity->parseResponseStartTime = MetricsEntity::Now();
    QuilResponse* response = GetQuilResponse(httpResponse, request);
    entity->parseResponseEndTime = MetricsEntity::Now();

    if (httpResponse != nullptr) {
        delete httpResponse;  // and with it the HttpRequest
    } else {
        // No response took the HttpRequest over; nobody else holds it.
        delete httpRequest;
    }
    before.reset();

    entity->afterFilterStartTime = MetricsEntity::Now();
    // The code is not looked at: a nested retry has already copied its outcome into response.
    std::unique_ptr<FilterResult> after(filterManager->DoAfter(request, response));
    entity->afterFilterEndTime = MetricsEntity::Now();
    return response;
}

QuilResponse* QuilServiceImpl::SignRequest(QuilRequestImpl* request, Road road) {
    IQuilSign* signer = sign.load();
    const int id = request->GetId();
    MetricsEntity* entity = UTDataSet::GetInstance()->GetExistMetricsEntity(request);
    entity->signStartTime = MetricsEntity::Now();

    // 6.3 first on every pass; 6.2 when 6.3 gives no sign headers. A retried request may
    // change version.
    std::string input;
    GetOriginalSignUrl(input, request, true);
    std::string api = request->GetApi();
    std::unique_ptr<SignResult> result(signer->Sign6_3(id, input, api));
    if (!result || result->signMap.empty()) {
        result.reset();
        std::string plainInput;
        GetOriginalSignUrl(plainInput, request, false);
        result.reset(signer->Sign6_2(id, plainInput, 1));
    }
    entity->signEndTime = MetricsEntity::Now();

    if (!result || (result->sign.empty() && result->signMap.empty())) {
        if (road == Road::Sync) {
            QUIL_LOG_AS("SyncCall", QUIL_LOG_ERROR, "sync QuilRequest security sign fail id = %d",
                        id);
        } else {
            QUIL_LOG_AS("ExecuteAsyncCall", QUIL_LOG_ERROR,
                        "async QuilRequest security sign fail id = %d", id);
        }
        std::string message = "url sign fail, signError = ";
        if (result) {
            message += result->errorCode;
        }
        return FailureResponse(request, "FAIL_SYS_SIGN_ERROR", message);
    }
    if (!result->signMap.empty()) {
        request->SetSignHeaders(result->signMap);
        entity->protocolVersion = "6.3";
    } else {
        request->SetSign(result->sign);
        entity->protocolVersion = "6.2";
    }
    request->signDirty = 0;
    return nullptr;
}

void QuilServiceImpl::SetRequestTimestamp(QuilRequestImpl* request) {
    int64_t timestamp = quil::platform::WallClockSeconds();
    if (timeCalibrated.load()) {
        timestamp += timeOffset.load();
    }
    request->SetTimestamp(timestamp);
}

void QuilServiceImpl::LazyStart() {
    // The closed library loads at the first call, not at process start; its load time is
    // reported as "startUseTime".
    StartUseTime::RunOnce([this] {
        IQuilSign* bridge = SignBridge();
        sign.store(bridge);
        if (bridge != nullptr) {
            bridge->Start();
        }
    });
}

void QuilServiceImpl::OpenMetrics(QuilRequestImpl* request) {
    UTDataSet::GetInstance()->OpenMetrics(
        request, request->GetId(), request->GetApi(), request->GetVersion(),
        HttpRequestComposer::SelectHost(request->GetDomainMode() == 1), request->isAsync == 0);
}

void QuilServiceImpl::CloseMetrics(QuilRequestImpl* request, QuilResponse* response) {
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

QuilResponse* QuilServiceImpl::FailureResponse(QuilRequestImpl* request, const char* retCode,
                                               const std::string& retMsg) {
    QuilResponseImpl* response = new QuilResponseImpl();
    response->retInfo.reset(new RetInfo());
    response->retInfo->retCode = retCode;
    response->retInfo->retMsg = retMsg;
    response->retInfo->errorType = 1;
    response->request.reset(request);
    return response;
}

HttpRequest* QuilServiceImpl::GetHttpRequest(QuilRequestImpl* request) {
    return HttpRequestComposer::GetHttpRequest(request, sign.load());
}

void QuilServiceImpl::GetHttpRequestHeader(std::vector<std::string>& out, QuilRequestImpl* request,
                                           std::string& url) {
    HttpRequestComposer::GetHttpRequestHeader(out, request, url, sign.load());
}

QuilResponse* QuilServiceImpl::GetQuilResponse(HttpResponse* http, QuilRequest* request) {
    return QuilResponseAssembler::GetQuilResponse(http, request);
}

void QuilServiceImpl::GetOriginalSignUrl(std::string& out, QuilRequestImpl* request,
                                         bool extended) {
    HttpRequestComposer::GetOriginalSignUrl(out, request, extended);
}

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
    LazyStart();
    const int id = request->GetId();

    MetricsEntity* entity = UTDataSet::GetInstance()->GetExistMetricsEntity(request);
    entity->beforeFilterStartTime = MetricsEntity::Now();
    std::unique_ptr<FilterResult> before(filterManager->DoBefore(request, resumeFilter));
    if (before->code == 1 && before->waiting) {
        // The request lies in the pending-request pool now, which may already be running or
        // failing it on another thread: neither it nor its entity is touched again here. The
        // end mark is not written; the pool's next pass writes its own.
        return;
    }
    entity->beforeFilterEndTime = MetricsEntity::Now();
    if (before->code == 1) {
        QUIL_LOG(QUIL_LOG_ERROR, "async QuilRequest before filter stop id = %d", id);
        QuilResponse* response = before->response;
        before.reset();
        FinishAsync(request, response);
        if (response == nullptr) {
            // No response took the request over, and no filter of the library stops this
            // way; as on the synchronous road, the request ends with the call.
            delete request;
        }
        return;
    }
    before.reset();

    // After the filters and before the sign input, on every pass.
    SetRequestTimestamp(request);

    if (sign.load() == nullptr) {
        QUIL_LOG(QUIL_LOG_FATAL, "iQuilSign is null");
        FinishAsync(request,
                    FailureResponse(request, "FAIL_SYS_SIGN_LOAD_ERROR", "WardkeepSDK load error"));
        return;
    }

    QuilResponse* signFailure = SignRequest(request, Road::Async);
    if (signFailure != nullptr) {
        FinishAsync(request, signFailure);
        return;
    }

    entity->composeRequestStartTime = MetricsEntity::Now();
    HttpRequest* httpRequest = GetHttpRequest(request);
    entity->composeRequestEndTime = MetricsEntity::Now();
    // A std::string always has storage, so an empty url passes, as it must.
    if (httpRequest == nullptr) {
        QUIL_LOG(QUIL_LOG_ERROR, "async QuilRequest get httpRequest null or url error id = %d", id);
        FinishAsync(request,
                    FailureResponse(request, "FAIL_SYS_BUILD_REQUEST", "build http request error"));
        return;
    }

    httpRequest->callback = &QuilServiceImpl::CompleteAsyncCall;
    httpRequest->callbackContext = this;
    httpRequest->cancelKey = std::to_string(id);

    // The send mark goes in before the entry: from the entry on, a cancel on another thread
    // may take the request (and a releasing cancel free it with its entity).
    entity->networkSendStartTime = MetricsEntity::Now();
    {
        // The entry comes first, so that an answer that comes back at once still finds it.
        std::lock_guard<std::recursive_mutex> lock(mutex);
        inFlight[httpRequest] = request;
    }
    // The result only says the send was queued; nothing is done with it.
    networkManager->SendAsyncHttpRequest(httpRequest);
}

void QuilServiceImpl::CompleteAsyncCall(HttpResponse* httpResponse, void* context) {
    const double sendEnd = MetricsEntity::Now();
    if (httpResponse == nullptr || context == nullptr) {
        return;
    }
    QuilServiceImpl* service = static_cast<QuilServiceImpl*>(context);

    QuilRequestImpl* request = nullptr;
    bool abandoned = false;
    {
        std::lock_guard<std::recursive_mutex> lock(service->mutex);
        auto entry = service->inFlight.find(httpResponse->request);
        if (entry != service->inFlight.end()) {
            request = entry->second;
            service->inFlight.erase(entry);
        } else {
            abandoned = service->abandonedSends.erase(httpResponse->request) > 0;
        }
    }
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
    std::lock_guard<std::recursive_mutex> lock(mutex);
    for (auto entry = inFlight.begin(); entry != inFlight.end(); ++entry) {
        if (entry->second == nullptr || !matches(entry->second)) {
            continue;
        }
        QuilRequestImpl* impl = entry->second;
        impl->cancelled = true;
        QUIL_LOG_AS("CancelCall", QUIL_LOG_INFO,
                    "cancel QuilRequest id = %d, api = %s, version = %s", impl->GetId(),
                    impl->api.c_str(), impl->version.c_str());
        // Removes the send if it has not started; one under way runs on, and its answer then
        // finds no entry. Either way the HttpRequest is the service's until an answer comes.
        networkManager->CancelHttpRequest(entry->first);
        abandonedSends.insert(entry->first);
        inFlight.erase(entry);
        return impl;
    }
    return nullptr;
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

void QuilServiceImpl::SetOmbrelHandler(IOmbrelHeaderHandler* handler) {
    filterManager->SetOmbrelHandler(handler);
}

IOmbrelHeaderHandler* QuilServiceImpl::ClearOmbrelHandler() {
    return filterManager->ClearOmbrelHandler();
}
