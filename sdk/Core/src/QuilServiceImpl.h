// QuilServiceImpl: the one implementation of QuilService, the frame that drives each call
// through dependency check, before filters, signing, composition, sending, response assembly
// and after filters. A process-wide singleton, never destroyed. Synchronous calls run wholly
// on their callers' threads, any number at once; asynchronous ones run on the service's
// one-thread pool and the network pool.
//
// Both roads share one preparation of a pass (PreparePass); what differs between them is the
// Road record. The asynchronous bookkeeping is InFlightCalls; filters reach the pipeline again
// through the IPipelineReentry and IServerClock sides, registered with PipelineReentry.
//
// Lock order of the system, outer first: the mutex of InFlightCalls (the service's mutex), the
// singleton mutex of NetworkManager, the mutex of a ThreadPool, that pool's semaphore mutex.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "FilterManager.h"
#include "HttpRequest.h"
#include "HttpResponse.h"
#include "IPipelineReentry.h"
#include "IQuilSign.h"
#include "IServerClock.h"
#include "ISignBridgeStarter.h"
#include "InFlightCalls.h"
#include "NetworkManager.h"
#include "QuilConfig.h"
#include "QuilRequestImpl.h"
#include "QuilService.h"
#include "ThreadPool.h"

struct MetricsEntity;

class QuilServiceImpl : public QuilService,
                        public IPipelineReentry,
                        public IServerClock,
                        public ISignBridgeStarter {
public:
    // What distinguishes the two roads in the steps they share: the word that opens their log
    // lines, the function those lines name, and whether a before chain may park the request.
    struct Road {
        const char* word;      // "sync" or "async"
        const char* function;  // the operation the gateway team reads in the log
        bool mayWait;          // a stopped chain may have left the request to the login pool
    };
    static const Road kSyncRoad;
    static const Road kAsyncRoad;

    QuilResponse* SendSyncRequest(QuilRequest* request) override;
    int SendAsyncRequest(QuilRequest* request) override;
    void CancelCall(int id) override;
    void CancelCall(QuilRequest* request) override;
    void RetryRequest(QuilRequest* request) override;
    void SetOmbrelHandler(IOmbrelHeaderHandler* handler) override;
    IOmbrelHeaderHandler* ClearOmbrelHandler() override;

    // The pipeline without the id and the metrics brackets. Returns a new response that owns
    // request, or null for a null request, a before filter that stopped without a response, or
    // a client that answered null (request is then still the caller's).
    QuilResponse* SyncCall(QuilRequestImpl* request);
    // Checks and queues an asynchronous pass on the service's pool, under the id in decimal.
    // resumeFilter must be null or a string literal (it outlives the task). 0 when queued: the
    // task then owns request. -6 for a null request, -2 when the dependency check fails; the
    // request is then still the caller's.
    int AsyncCall(QuilRequestImpl* request, const char* resumeFilter);
    // The body of a queued asynchronous pass, on the service's pool thread: before filters
    // from resumeFilter, sign, compose, entry into the in-flight table, send. A failure before
    // the send is delivered from here.
    void ExecuteAsyncCall(QuilRequestImpl* request, const char* resumeFilter);
    // The completion of an asynchronous send, stored in each HttpRequest's callback with the
    // service as context; runs on a network pool worker and owns httpResponse. Finds the call
    // in the in-flight table, assembles the response, runs the after chain, closes the metrics
    // and delivers. The answer of a withdrawn call finds no entry and completes nothing.
    static void CompleteAsyncCall(HttpResponse* httpResponse, void* context);

    // CancelCall, and then the withdrawn request is deleted and its measurements dropped
    // unreported, instead of being left to nobody. True when a call was withdrawn. Any thread.
    bool CancelCallAndRelease(QuilRequest* request);
    bool CancelCallAndRelease(int id);

    // The re-entry seam (IPipelineReentry): SyncCall and AsyncCall, for filters.
    QuilResponse* RunNestedPass(QuilRequestImpl* request) override;
    int QueuePass(QuilRequestImpl* request, const char* resumeFilter) override;

    // The server clock (IServerClock) over timeOffset and timeCalibrated.
    void Calibrate(int64_t offset) override;
    int64_t Offset() const override;
    bool IsCalibrated() const override;

    // Composition and assembly, with this service's signing bridge. See HttpRequestComposer and
    // QuilResponseAssembler for ownership.
    HttpRequest* GetHttpRequest(QuilRequestImpl* request);
    void GetHttpRequestHeader(std::vector<std::string>& out, QuilRequestImpl* request,
                              std::string& url);
    QuilResponse* GetQuilResponse(HttpResponse* http, QuilRequest* request);
    void GetOriginalSignUrl(std::string& out, QuilRequestImpl* request, bool extended);

    // Steps both roads share.
    // The next request id; the first is 1.
    int IssueId();
    // Starts the signing bridge, exactly once per process; every other caller waits for it.
    void LazyStart() override;
    // Opens and closes the request's metrics entity (see CallMetrics).
    void OpenMetrics(QuilRequestImpl* request);
    void CloseMetrics(QuilRequestImpl* request, QuilResponse* response);
    // Writes the wall clock in seconds, plus the server offset once it is calibrated.
    void SetRequestTimestamp(QuilRequestImpl* request);
    // Signs request with 6.3, falling back to 6.2, marking the sign times in entity (the
    // request's metrics entity, which the pass has already looked up). Null on success; on
    // failure a failure response that owns request. sign must not be null.
    QuilResponse* SignRequest(QuilRequestImpl* request, MetricsEntity* entity, const Road& road);
    // A new response that owns request, with errorType 1 and the given code and message.
    static QuilResponse* FailureResponse(QuilRequestImpl* request, const char* retCode,
                                         const std::string& retMsg);

    // Test hook: the lazy start takes this signing object (null included) instead of the
    // QuilSignImpl singleton; tests put a scripted one in before the first call. Not owned.
    static void SetSignProviderForTesting(IQuilSign* sign);

    QuilServiceImpl(const QuilServiceImpl&) = delete;
    QuilServiceImpl& operator=(const QuilServiceImpl&) = delete;

    // Fields, in their fixed order.
    FilterManager* filterManager = nullptr;    // the singleton; not owned
    QuilConfig* config = nullptr;              // the singleton; not owned
    NetworkManager* networkManager = nullptr;  // the singleton; not owned
    // The signing bridge, not owned; set once by the lazy start. Atomic because the start runs
    // on whichever thread comes first while others may read it.
    std::atomic<IQuilSign*> sign{nullptr};
    // Runs asynchronous passes; one worker. Never deleted: the service lives for the process.
    ThreadPool* threadPool = nullptr;
    // The asynchronous calls whose sends are under way, behind the service's mutex.
    InFlightCalls calls;
    std::atomic<int32_t> nextId{0};           // the last id issued
    std::atomic<int64_t> timeOffset{0};       // seconds, server minus local
    std::atomic<bool> timeCalibrated{false};  // timeOffset is valid

private:
    friend class QuilService;
    QuilServiceImpl();
    ~QuilServiceImpl();
    // Builds the singleton whole and registers its seams; called once, before it is published.
    static QuilServiceImpl* Build();

    // Where the shared preparation of a pass ended.
    enum class Stage { Ready, Stopped, Waiting, Failed };
    struct PassStart {
        Stage stage = Stage::Ready;
        // Stopped: the before chain's response (may be null). Failed: the failure response.
        QuilResponse* response = nullptr;
        HttpRequest* httpRequest = nullptr;  // Ready: the composed request, the caller's
        MetricsEntity* entity = nullptr;     // the request's entity, kept by UTDataSet
    };
    // The steps both roads share: lazy start, before chain from resumeFilter, timestamp, the
    // signing object check, signing with its fallback, composition, and their failures.
    PassStart PreparePass(QuilRequestImpl* request, const char* resumeFilter, const Road& road);

    // Both CancelCall forms: withdraws the first in-flight request that matches, logs it and
    // cancels its send, and returns it (now nobody's), or null when none matched.
    template <typename Match>
    QuilRequestImpl* Withdraw(Match matches);

    // Ends an asynchronous call before its send: closes the metrics and delivers response.
    void FinishAsync(QuilRequestImpl* request, QuilResponse* response);
    // The response-side half of RetryRequest and the async road: runs the request's callback.
    static void Deliver(QuilRequestImpl* request, QuilResponse* response);
};
