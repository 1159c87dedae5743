#include "UTDataSet.h"

#include <atomic>

#include "LazySingleton.h"
#include "QuilLogger.h"
#include "QuilStatisticsSetRefs.h"
#include "StatisticsSlot.h"

namespace {

const char* const kPerformancePoint = "performance";
const char* const kSuccessRatePoint = "successRate";

// Never destroyed: detached workers may still report while the process exits.
quil::LazySingleton<UTDataSet> g_instance;

const char* BoolText(bool value) { return value ? "true" : "false"; }

}  // namespace

UTDataSet* UTDataSet::GetInstance() {
    return g_instance.Get([] { return new UTDataSet(); });
}

UTDataSet::UTDataSet()
    : dimensionNames_{"api",     "version",  "domain",          "method",
                      "isSync",  "isSSL",    "retryTime",       "errorCode",
                      "retType", "useProxy", "protocolVersion", "httpStatusCode"},
      measureNames_{"processStartTime",
                    "processEndTime",
                    "beforeFilterStartTime",
                    "beforeFilterEndTime",
                    "interceptRequestStartTime",
                    "interceptRequestEndTime",
                    "composeRequestStartTime",
                    "composeRequestEndTime",
                    "signStartTime",
                    "signEndTime",
                    "getCookieStartTime",
                    "getCookieEndTime",
                    "networkSendStartTime",
                    "networkSendEndTime",
                    "parseResponseStartTime",
                    "parseResponseEndTime",
                    "afterFilterStartTime",
                    "afterFilterEndTime",
                    "interceptResponseStartTime",
                    "interceptResponseEndTime",
                    "processContentStartTime",
                    "processContentEndTime",
                    "serverRT",
                    "requestUrlLength",
                    "requestHeaderSize",
                    "requestBodySize",
                    "responseHeaderSize",
                    "responseBodySize"} {
    IQuilStatistics* sink = StatisticsSlot::GetStatistics();
    if (sink != nullptr) {
        QuilDimensionSetRef dimensions(&dimensionNames_);
        QuilMeasureSetRef measures(&measureNames_);
        sink->RegisterPoint(StatisticsSlot::kModule, kPerformancePoint, dimensions, measures);
    }
}

bool UTDataSet::CreateMetricsEntity(const QuilRequest* request, int seqId) {
    std::lock_guard<std::mutex> lock(entitiesMutex_);
    if (entities_.find(request) != entities_.end()) {
        QUIL_LOG(QUIL_LOG_WARN, "create metrics entity conflict, seqId = %d", seqId);
        return false;
    }
    entities_.emplace(request, std::make_unique<MetricsEntity>());
    QUIL_LOG(QUIL_LOG_INFO, "create metrics entity, seqId = %d", seqId);
    return true;
}

MetricsEntity* UTDataSet::GetExistMetricsEntity(const QuilRequest* request, int seqId) {
    std::lock_guard<std::mutex> lock(entitiesMutex_);
    auto found = entities_.find(request);
    if (found != entities_.end()) return found->second.get();
    MetricsEntity* entity =
        entities_.emplace(request, std::make_unique<MetricsEntity>()).first->second.get();
    QUIL_LOG(QUIL_LOG_WARN, "get exist metrics entity error, seqId = %d", seqId);
    return entity;
}

void UTDataSet::CusumeMetricsEntity(const QuilRequest* request, int seqId) {
    std::unique_ptr<MetricsEntity> entity;
    {
        std::lock_guard<std::mutex> lock(entitiesMutex_);
        auto found = entities_.find(request);
        if (found == entities_.end()) return;
        entity = std::move(found->second);
        entities_.erase(found);
    }
    // Built and sent outside the lock: the sink may be slow, and other requests must not wait.
    // Without a sink nobody reads the values, so they are not built.
    IQuilStatistics* sink = StatisticsSlot::GetStatistics();
    if (sink != nullptr) {
        DimensionValues dimensionValues = BuildDimensionValues(*entity);
        MeasureValues measureValues = BuildMeasureValues(*entity);
        QuilDimensionValueSetRef dimensions(&dimensionValues);
        QuilMeasureValueSetRef measures(&measureValues);
        sink->CommitPoint(StatisticsSlot::kModule, kPerformancePoint, dimensions, measures);
    }
    QUIL_LOG(QUIL_LOG_INFO, "cusume metrics entity, seqId = %d", seqId);
}

bool UTDataSet::DropMetricsEntity(const QuilRequest* request) {
    std::unique_ptr<MetricsEntity> entity;
    std::lock_guard<std::mutex> lock(entitiesMutex_);
    auto found = entities_.find(request);
    if (found == entities_.end()) return false;
    entity = std::move(found->second);
    entities_.erase(found);
    return true;
}

UTDataSet::DimensionValues UTDataSet::BuildDimensionValues(const MetricsEntity& entity) {
    return DimensionValues{
        {"api", entity.api},
        {"version", entity.version},
        {"domain", entity.domain},
        {"method", entity.method},
        {"isSync", BoolText(entity.isSync)},
        {"isSSL", BoolText(entity.isSSL)},
        {"retryTime", std::to_string(entity.retryTime)},
        {"errorCode", entity.errorCode},
        {"retType", std::to_string(entity.retType)},
        {"useProxy", BoolText(entity.useProxy)},
        {"protocolVersion", entity.protocolVersion},
        {"httpStatusCode", std::to_string(entity.httpStatusCode)},
    };
}

UTDataSet::MeasureValues UTDataSet::BuildMeasureValues(const MetricsEntity& entity) {
    return MeasureValues{
        {"processStartTime", entity.processStartTime},
        {"processEndTime", entity.processEndTime},
        {"beforeFilterStartTime", entity.beforeFilterStartTime},
        {"beforeFilterEndTime", entity.beforeFilterEndTime},
        {"interceptRequestStartTime", entity.interceptRequestStartTime},
        {"interceptRequestEndTime", entity.interceptRequestEndTime},
        {"composeRequestStartTime", entity.composeRequestStartTime},
        {"composeRequestEndTime", entity.composeRequestEndTime},
        {"signStartTime", entity.signStartTime},
        {"signEndTime", entity.signEndTime},
        {"getCookieStartTime", entity.getCookieStartTime},
        {"getCookieEndTime", entity.getCookieEndTime},
        {"networkSendStartTime", entity.networkSendStartTime},
        {"networkSendEndTime", entity.networkSendEndTime},
        {"parseResponseStartTime", entity.parseResponseStartTime},
        {"parseResponseEndTime", entity.parseResponseEndTime},
        {"afterFilterStartTime", entity.afterFilterStartTime},
        {"afterFilterEndTime", entity.afterFilterEndTime},
        {"interceptResponseStartTime", entity.interceptResponseStartTime},
        // Reports the request-side end under the response-side name; report readers have
        // always seen it so, and the response-side field stays unreported.
        {"interceptResponseEndTime", entity.interceptRequestEndTime},
        {"processContentStartTime", entity.processContentStartTime},
        {"processContentEndTime", entity.processContentEndTime},
        {"serverRT", static_cast<double>(entity.serverRT)},
        {"requestUrlLength", static_cast<double>(entity.requestUrlLength)},
        {"requestHeaderSize", static_cast<double>(entity.requestHeaderSize)},
        {"requestBodySize", static_cast<double>(entity.requestBodySize)},
        {"responseHeaderSize", static_cast<double>(entity.responseHeaderSize)},
        {"responseBodySize", static_cast<double>(entity.responseBodySize)},
    };
}

void UTDataSet::OpenMetrics(const QuilRequest* request, int seqId, const std::string& api,
                            const std::string& version, const std::string& domain, bool isSync) {
    CreateMetricsEntity(request, seqId);
    MetricsEntity* entity = GetExistMetricsEntity(request, seqId);
    entity->processStartTime = MetricsEntity::Now();
    entity->api = api;
    entity->version = version;
    entity->domain = domain;
    entity->isSync = isSync;
}

void UTDataSet::CloseMetrics(const QuilRequest* request, int seqId, const MetricsOutcome& outcome) {
    MetricsEntity* entity = GetExistMetricsEntity(request, seqId);
    entity->retryTime = outcome.retryTime;
    entity->serverRT = outcome.serverRT;
    entity->errorCode = outcome.retCode;
    entity->retType = outcome.errorType;
    entity->processEndTime = MetricsEntity::Now();
    CusumeMetricsEntity(request, seqId);
    if (outcome.errorType == 0) {
        StatisticsSlot::CommitSuccess(kSuccessRatePoint, "");
    } else {
        StatisticsSlot::CommitFail(kSuccessRatePoint, "", outcome.retCode, outcome.retMsg);
    }
}

std::size_t UTDataSet::Size() const {
    std::lock_guard<std::mutex> lock(entitiesMutex_);
    return entities_.size();
}
