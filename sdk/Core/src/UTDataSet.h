// The store of per-request measurements: one MetricsEntity for each request in flight, keyed by
// the request object's identity, turned into one "performance" report when the call closes.
// A process-wide singleton that is never destroyed; every operation may be called from any thread.
//
// How the service uses it, on the thread that carries the request at that moment:
//   open:   OpenMetrics(request, id, api, version, domain, isSync) once the request has its id;
//   marks:  GetExistMetricsEntity(request)->signStartTime = MetricsEntity::Now(); ...
//   close:  CloseMetrics(request, id, outcome) sends "performance" and "successRate".
// The entity belongs to the data set; a pointer from GetExistMetricsEntity stays valid until the
// request is consumed, and only the thread carrying the request may write through it. The request
// object must outlive its entity, since its address is the key.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "MetricsEntity.h"

class QuilRequest;

// What closing a call copies into its entity before the report.
struct MetricsOutcome {
    int32_t retryTime = 0;  // the request's retryTime
    int32_t serverRT = 0;   // atoi of the response header "s-rt"; 0 when it is absent
    std::string retCode;    // RetInfo.retCode
    std::string retMsg;     // RetInfo.retMsg
    int32_t errorType = 0;  // RetInfo.errorType; 0 is success
};

class UTDataSet {
public:
    using DimensionValues = std::vector<std::pair<std::string, std::string>>;
    using MeasureValues = std::vector<std::pair<std::string, double>>;

    // The singleton, built at first use. Building it registers the point "performance" with the
    // sink that is registered at that moment, if any; a sink registered later is never told.
    static UTDataSet* GetInstance();

    // Makes a fresh entity for request. Returns false, changing nothing, when request already has
    // one. seqId is the request's id, used only in log lines.
    bool CreateMetricsEntity(const QuilRequest* request, int seqId);

    // The entity of request, never null: when there is none, a fresh one is made (and a warning
    // logged), so a stray write never fails. Owned by the data set.
    MetricsEntity* GetExistMetricsEntity(const QuilRequest* request, int seqId);

    // Removes the entity of request and sends its "performance" report; does nothing when there
    // is none. Any pointer to the entity is dangling afterwards.
    void CusumeMetricsEntity(const QuilRequest* request, int seqId);

    // Removes the entity of request without a report, for a call that ends unreported (one
    // that never started, or a withdrawn call whose request is freed), so that no entity stays
    // keyed by a freed address. True when there was one.
    bool DropMetricsEntity(const QuilRequest* request);

    // The same three, reading the id from the request itself (-1 for a null request). Request is
    // QuilRequest or a class derived from it.
    template <typename Request>
    bool CreateMetricsEntity(Request* request) {
        return CreateMetricsEntity(static_cast<const QuilRequest*>(request), IdOf(request));
    }
    template <typename Request>
    MetricsEntity* GetExistMetricsEntity(Request* request) {
        return GetExistMetricsEntity(static_cast<const QuilRequest*>(request), IdOf(request));
    }
    template <typename Request>
    void CusumeMetricsEntity(Request* request) {
        CusumeMetricsEntity(static_cast<const QuilRequest*>(request), IdOf(request));
    }

    // Opening a call: creates the entity, writes "processStartTime", api, version, the gateway
    // host as domain, and isSync. Called once per call, not on a retry.
    void OpenMetrics(const QuilRequest* request, int seqId, const std::string& api,
                     const std::string& version, const std::string& domain, bool isSync);

    // Closing a call: copies outcome into the entity, writes "processEndTime", sends the
    // "performance" report, removes the entity, then sends "successRate" (success when
    // errorType is 0, else a failure with retCode and retMsg).
    void CloseMetrics(const QuilRequest* request, int seqId, const MetricsOutcome& outcome);

    // The names of the "performance" point, in report order: 12 dimensions, 28 measures.
    const std::vector<std::string>& DimensionNames() const { return dimensionNames_; }
    const std::vector<std::string>& MeasureNames() const { return measureNames_; }

    // The report of one entity, in the order of the names above.
    static DimensionValues BuildDimensionValues(const MetricsEntity& entity);
    static MeasureValues BuildMeasureValues(const MetricsEntity& entity);

    // The number of entities in flight.
    std::size_t Size() const;

    UTDataSet(const UTDataSet&) = delete;
    UTDataSet& operator=(const UTDataSet&) = delete;

private:
    UTDataSet();

    template <typename Request>
    static int IdOf(Request* request) {
        return request == nullptr ? -1 : request->GetId();
    }

    std::vector<std::string> dimensionNames_;
    std::vector<std::string> measureNames_;

    // Guards entities_ (the map only: the fields of an entity belong to the thread carrying its
    // request). Taken alone; no other lock is taken under it, and the sink is never called
    // under it.
    mutable std::mutex entitiesMutex_;
    std::map<const QuilRequest*, std::unique_ptr<MetricsEntity>> entities_;
};
