#include "FilterManager.h"

#include <cstring>
#include <map>
#include <utility>

#include "CacheAfterFilter.h"
#include "CacheBeforeFilter.h"
#include "DynamicApiConfigAfterFilter.h"
#include "ErrorCodeMappingAfterFilter.h"
#include "LoginAfterFilter.h"
#include "LoginBeforeFilter.h"
#include "MetricsEntity.h"
#include "QuilConfig.h"
#include "QuilLogger.h"
#include "SecurityKolvaAfterFilter.h"
#include "SetupRequestBeforeFilter.h"
#include "ThresholdBeforeFilter.h"
#include "UTAfterFilter.h"
#include "UTBeforeFilter.h"
#include "UTDataSet.h"

namespace {

// Guards the construction of the singleton; taken only there.
std::mutex instanceMutex;
// Published once, after construction; read without the lock on the fast path.
std::atomic<FilterManager*> instance{nullptr};

const char* const kOmbrelQueryHeader = "a-ombrel-q";
const char* const kOmbrelResponseHeader = "a-ombrel-p";

}  // namespace

FilterManager* FilterManager::GetInstance() {
    FilterManager* manager = instance.load(std::memory_order_acquire);
    if (manager != nullptr) {
        return manager;
    }
    std::lock_guard<std::mutex> lock(instanceMutex);
    manager = instance.load(std::memory_order_relaxed);
    if (manager == nullptr) {
        // Lives until the process ends: the service and detached workers keep using it.
        manager = new FilterManager();
        instance.store(manager, std::memory_order_release);
    }
    return manager;
}

FilterManager::FilterManager() {
    // The threshold filter is built first: the traffic-protection after filter keeps a pointer
    // to it, since bans are written on the response side and read on the request side.
    std::unique_ptr<ThresholdBeforeFilter> threshold(new ThresholdBeforeFilter());
    std::unique_ptr<SecurityKolvaAfterFilter> kolva(new SecurityKolvaAfterFilter(threshold.get()));
    // The traffic-protection filter is also the default cookie storage: it goes in only where
    // QuilConfig holds none, and the exchange loses against a host that registers its own at
    // this very moment, so a storage the host registered stays in place. The manager lives for
    // the process, so the pointer stays valid.
    IQuilCookieStorage* noStorage = nullptr;
    QuilConfig::GetInstance()->cookieStorage.compare_exchange_strong(noStorage, kolva.get());

    beforeFilters.emplace_back(new UTBeforeFilter());            // "b_ut"
    beforeFilters.emplace_back(new SetupRequestBeforeFilter());  // "b_setup_request"
    beforeFilters.emplace_back(new LoginBeforeFilter());         // "b_login"
    beforeFilters.emplace_back(new CacheBeforeFilter());         // "b_cache"
    // "b_threshold", the filter above
    beforeFilters.emplace_back(threshold.release());

    afterFilters.emplace_back(nullptr);  // SLOT(time): "a_time_calibration"
    // "a_security_kolva", wired to the threshold filter; also the default cookie storage
    afterFilters.emplace_back(kolva.release());
    afterFilters.emplace_back(new LoginAfterFilter());             // "a_login"
    afterFilters.emplace_back(new CacheAfterFilter());             // "a_cache"
    afterFilters.emplace_back(new DynamicApiConfigAfterFilter());  // "a_dynamic_api_config"
    afterFilters.emplace_back(nullptr);                            // SLOT(error): "a_error_handle"
    afterFilters.emplace_back(new ErrorCodeMappingAfterFilter());  // "a_errorcode_mapping"
    afterFilters.emplace_back(new UTAfterFilter());                // "a_ut"
}

FilterManager::FilterManager(BeforeChain beforeChain, AfterChain afterChain)
    : beforeFilters(std::move(beforeChain)), afterFilters(std::move(afterChain)) {}

FilterManager::~FilterManager() = default;

FilterResult* FilterManager::DoBefore(QuilRequest* request, const char* resumeFilter) {
    UTDataSet::GetInstance()->GetExistMetricsEntity(request);
    AddOmbrelQueryHeader(request);

    int id = request->GetId();
    FilterResult* result = new FilterResult();
    // Skipping ends at the first filter that bears the resume name and never starts again.
    bool skipping = true;
    for (const std::unique_ptr<BeforeFilter>& filter : beforeFilters) {
        if (!filter) {
            continue;
        }
        if (skipping && resumeFilter != nullptr &&
            std::strcmp(filter->GetName(), resumeFilter) != 0) {
            QUIL_LOG(QUIL_LOG_WARN, "request: %d skip before filter: %s", id, filter->GetName());
            continue;
        }
        skipping = false;
        filter->HandleRequest(request, result);
        if (result->code != 0) {
            QUIL_LOG(QUIL_LOG_WARN, "request: %d interupt at before filter: %s", id,
                     filter->GetName());
            return result;
        }
    }
    return result;
}

FilterResult* FilterManager::DoAfter(QuilRequest* request, QuilResponse* response) {
    UTDataSet::GetInstance()->GetExistMetricsEntity(request);
    if (request == nullptr || response == nullptr) {
        return nullptr;
    }
    NotifyOmbrelResponseHeader(request, response);

    int id = request->GetId();
    // A record of its own: nothing the before chain left behind reaches the after chain.
    FilterResult* result = new FilterResult();
    for (const std::unique_ptr<AfterFilter>& filter : afterFilters) {
        if (!filter) {
            continue;
        }
        filter->HandleResponse(request, response, result);
        if (result->code != 0) {
            QUIL_LOG(QUIL_LOG_WARN, "request: %d interupt at after filter: %s", id,
                     filter->GetName());
            return result;
        }
    }
    return result;
}

void FilterManager::AddOmbrelQueryHeader(QuilRequest* request) {
    if (ombrelHandler.load() == nullptr) {
        return;
    }
    std::lock_guard<std::mutex> lock(ombrelMutex);
    IOmbrelHeaderHandler* handler = ombrelHandler.load();
    if (handler == nullptr) {
        return;
    }
    QUIL_LOG_AS("DoBefore", QUIL_LOG_INFO, "request do before add Ombrel header");
    MetricsEntity* entity = UTDataSet::GetInstance()->GetExistMetricsEntity(request);
    entity->interceptRequestStartTime = MetricsEntity::Now();
    const char* text = handler->GetQueryHeader();
    entity->interceptRequestEndTime = MetricsEntity::Now();
    // A null text would be read through; it counts as an empty one and is not handed back.
    std::string value = text != nullptr ? std::string(text) : std::string();
    request->AddHeader(kOmbrelQueryHeader, value);
    if (text != nullptr) {
        handler->ReleaseQueryHeader(text);
    }
}

void FilterManager::NotifyOmbrelResponseHeader(QuilRequest* request, QuilResponse* response) {
    if (ombrelHandler.load() == nullptr) {
        return;
    }
    std::lock_guard<std::mutex> lock(ombrelMutex);
    IOmbrelHeaderHandler* handler = ombrelHandler.load();
    if (handler == nullptr) {
        return;
    }
    QUIL_LOG_AS("DoAfter", QUIL_LOG_INFO, "response do after notify Ombrel");
    std::map<std::string, std::string> headers = response->GetHeaders();
    auto entry = headers.find(kOmbrelResponseHeader);
    if (entry == headers.end()) {
        return;
    }
    MetricsEntity* entity = UTDataSet::GetInstance()->GetExistMetricsEntity(request);
    entity->interceptResponseStartTime = MetricsEntity::Now();
    handler->OnResponseHeader(entry->second.c_str());
    entity->interceptResponseEndTime = MetricsEntity::Now();
}

void FilterManager::SetOmbrelHandler(IOmbrelHeaderHandler* handler) {
    std::lock_guard<std::mutex> lock(ombrelMutex);
    ombrelHandler.store(handler);
}

IOmbrelHeaderHandler* FilterManager::ClearOmbrelHandler() {
    std::lock_guard<std::mutex> lock(ombrelMutex);
    return ombrelHandler.exchange(nullptr);
}

std::vector<std::string> FilterManager::BeforeFilterNames() const {
    std::vector<std::string> names;
    for (const std::unique_ptr<BeforeFilter>& filter : beforeFilters) {
        names.emplace_back(filter ? filter->GetName() : "");
    }
    return names;
}

std::vector<std::string> FilterManager::AfterFilterNames() const {
    std::vector<std::string> names;
    for (const std::unique_ptr<AfterFilter>& filter : afterFilters) {
        names.emplace_back(filter ? filter->GetName() : "");
    }
    return names;
}
