#include "QuilServiceImpl.h"

#include <memory>
#include <utility>

#include "CallMetrics.h"
#include "ErrorHandlerManager.h"
#include "HttpRequestComposer.h"
#include "LazySingleton.h"
#include "MetricsEntity.h"
#include "PipelineReentry.h"
#include "Platform.h"
#include "QuilLogger.h"
#include "QuilResponseAssembler.h"
#include "QuilResponseImpl.h"
#include "QuilSignImpl.h"
#include "SaturatingArithmetic.h"
#include "SignBridgeStart.h"
#include "StartUseTime.h"
#include "UTDataSet.h"

namespace {

// Published once, after every part is in place and the seams are registered.
quil::LazySingleton<QuilService> instance;

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

}  // namespace

const QuilServiceImpl::Road QuilServiceImpl::kSyncRoad = {"sync", "SyncCall", false};
const QuilServiceImpl::Road QuilServiceImpl::kAsyncRoad = {"async", "ExecuteAsyncCall", true};

QuilService* QuilService::GetInstance() {
    return instance.Get([] { return QuilServiceImpl::Build(); });
}

QuilServiceImpl* QuilServiceImpl::Build() {
    QuilServiceImpl* impl = new QuilServiceImpl();
    impl->threadPool = new ThreadPool(1, 1);
    impl->filterManager = FilterManager::GetInstance();
    // The handler tables are read without a lock from the first call on.
    RegisterErrorHandlers();
    impl->config = QuilConfig::GetInstance();
    impl->networkManager = NetworkManager::GetInstance();
    PipelineReentry::Register(impl, impl);
    SignBridgeStart::Register(impl);
    return impl;
}

QuilServiceImpl::QuilServiceImpl() = default;

// Never runs: the service lives for the process.
QuilServiceImpl::~QuilServiceImpl() = default;

void QuilServiceImpl::SetSignProviderForTesting(IQuilSign* scripted) {
    signForTesting.store(scripted);
    signScripted.store(true);
}

int QuilServiceImpl::IssueId() { return nextId.fetch_add(1) + 1; }

QuilResponse* QuilServiceImpl::RunNestedPass(QuilRequestImpl* request) { return SyncCall(request); }

int QuilServiceImpl::QueuePass(QuilRequestImpl* request, const char* resumeFilter) {
    return AsyncCall(request, resumeFilter);
}

void QuilServiceImpl::Calibrate(int64_t offset) {
    timeOffset.exchange(offset);
    timeCalibrated.exchange(true);
}

int64_t QuilServiceImpl::Offset() const { return timeOffset.load(); }

bool QuilServiceImpl::IsCalibrated() const { return timeCalibrated.load(); }

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

    PassStart pass = PreparePass(request, nullptr, kSyncRoad);
    if (pass.stage != Stage::Ready) {
        return pass.response;
    }
    MetricsEntity* entity = pass.entity;
    HttpRequest* httpRequest = pass.httpRequest;

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

    entity->afterFilterStartTime = MetricsEntity::Now();
    // The code is not looked at: a nested retry has already copied its outcome into response.
    std::unique_ptr<FilterResult> after(filterManager->DoAfter(request, response));
    entity->afterFilterEndTime = MetricsEntity::Now();
    return response;
}

QuilServiceImpl::PassStart QuilServiceImpl::PreparePass(QuilRequestImpl* request,
                                                        const char* resumeFilter,
                                                        const Road& road) {
    LazyStart();
    const int id = request->GetId();
    PassStart pass;
    pass.entity = UTDataSet::GetInstance()->GetExistMetricsEntity(request);
    MetricsEntity* entity = pass.entity;

    entity->beforeFilterStartTime = MetricsEntity::Now();
    std::unique_ptr<FilterResult> before(filterManager->DoBefore(request, resumeFilter));
    if (road.mayWait && before->code == 1 && before->waiting) {
        // The request lies in the pending-request pool now, which may already be running or
        // failing it on another thread: neither it nor its entity is touched again here. The
        // end mark is not written; the pool's next pass writes its own.
        pass.stage = Stage::Waiting;
        return pass;
    }
    entity->beforeFilterEndTime = MetricsEntity::Now();
    if (before->code == 1) {
        QUIL_LOG_AS(road.function, QUIL_LOG_ERROR, "%s QuilRequest before filter stop id = %d",
                    road.word, id);
        pass.stage = Stage::Stopped;
        pass.response = before->response;
        return pass;
    }
    before.reset();

    // After the filters and before the sign input, on every pass: the gateway rejects a
    // skewed timestamp, and a retry must carry a fresh one.
    SetRequestTimestamp(request);

    pass.stage = Stage::Failed;
    if (sign.load() == nullptr) {
        QUIL_LOG_AS(road.function, QUIL_LOG_FATAL, "iQuilSign is null");
        pass.response =
            FailureResponse(request, "FAIL_SYS_SIGN_LOAD_ERROR", "WardkeepSDK load error");
        return pass;
    }
    pass.response = SignRequest(request, entity, road);
    if (pass.response != nullptr) {
        return pass;
    }

    entity->composeRequestStartTime = MetricsEntity::Now();
    pass.httpRequest = GetHttpRequest(request);
    entity->composeRequestEndTime = MetricsEntity::Now();
    // A std::string always has storage, so an empty url passes, as it must.
    if (pass.httpRequest == nullptr) {
        QUIL_LOG_AS(road.function, QUIL_LOG_ERROR,
                    "%s QuilRequest get httpRequest null or url error id = %d", road.word, id);
        pass.response =
            FailureResponse(request, "FAIL_SYS_BUILD_REQUEST", "build http request error");
        return pass;
    }
    pass.stage = Stage::Ready;
    return pass;
}

QuilResponse* QuilServiceImpl::SignRequest(QuilRequestImpl* request, MetricsEntity* entity,
                                           const Road& road) {
    IQuilSign* signer = sign.load();
    const int id = request->GetId();
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
        QUIL_LOG_AS(road.function, QUIL_LOG_ERROR, "%s QuilRequest security sign fail id = %d",
                    road.word, id);
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
        // The offset comes from a server's text and can be as large as the type allows.
        timestamp = SaturatingArithmetic::Add(timestamp, timeOffset.load());
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

void QuilServiceImpl::OpenMetrics(QuilRequestImpl* request) { CallMetrics::Open(request); }

void QuilServiceImpl::CloseMetrics(QuilRequestImpl* request, QuilResponse* response) {
    CallMetrics::Close(request, response);
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

void QuilServiceImpl::SetOmbrelHandler(IOmbrelHeaderHandler* handler) {
    filterManager->SetOmbrelHandler(handler);
}

IOmbrelHeaderHandler* QuilServiceImpl::ClearOmbrelHandler() {
    return filterManager->ClearOmbrelHandler();
}
