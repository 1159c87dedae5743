#include "UTDataSet.h"

#include <atomic>

#include "LazySingleton.h"
#include "MetricsColumns.h"
#include "QuilLogger.h"
#include "QuilStatisticsSetRefs.h"
#include "StatisticsSlot.h"

namespace {

const char* const kPerformancePoint = "performance";
const char* const kSuccessRatePoint = "successRate";

// Never destroyed: detached workers may still report while the process exits.
quil::LazySingleton<UTDataSet> g_instance;

// Each column's name with the value it reads from entity, in table order.
template <typename Values, typename Column>
Values ReadColumns(const Column* columns, std::size_t count, const MetricsEntity& entity) {
    Values values;
    values.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        values.emplace_back(columns[i].name, columns[i].read(entity));
    }
    return values;
}

}  // namespace

UTDataSet* UTDataSet::GetInstance() {
    return g_instance.Get([] { return new UTDataSet(); });
}

UTDataSet::UTDataSet() {
    for (std::size_t i = 0; i < kDimensionColumnCount; ++i) {
        dimensionNames_.emplace_back(kDimensionColumns[i].name);
    }
    for (std::size_t i = 0; i < kMeasureColumnCount; ++i) {
        measureNames_.emplace_back(kMeasureColumns[i].name);
    }
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
    return ReadColumns<DimensionValues>(kDimensionColumns, kDimensionColumnCount, entity);
}

UTDataSet::MeasureValues UTDataSet::BuildMeasureValues(const MetricsEntity& entity) {
    return ReadColumns<MeasureValues>(kMeasureColumns, kMeasureColumnCount, entity);
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
