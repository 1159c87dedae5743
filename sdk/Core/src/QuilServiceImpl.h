// QuilServiceImpl: the one implementation of QuilService, the frame that drives each call
// through dependency check, before filters, signing, composition, sending, response assembly
// and after filters. A process-wide singleton, never destroyed. Synchronous calls run wholly
// on their callers' threads, any number at once; asynchronous ones run on the service's
// one-thread pool and the network pool.
//
// Lock order of the system, outer first: QuilServiceImpl::mutex, the singleton mutex of
// NetworkManager, the mutex of a ThreadPool, that pool's semaphore mutex.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "FilterManager.h"
#include "HttpRequest.h"
#include "HttpResponse.h"
#include "IQuilSign.h"
#include "NetworkManager.h"
#include "QuilConfig.h"
#include "QuilRequestImpl.h"
#include "QuilService.h"
#include "ThreadPool.h"

class QuilServiceImpl : public QuilService {
public:
    // The road a pipeline step runs on; it decides the wording of the failure log lines.
    enum class Road { Sync, Async };

    QuilResponse* SendSyncRequest(QuilRequest* request) override;
    int SendAsyncRequest(QuilRequest* request) override;
    void CancelCall(int id) override;
    void CancelCall(QuilRequest* request) override;
    void RetryRequest(QuilRequest* request) override;
    void SetOmbrelHandler(IOmbrelHeaderHandler* handler) override;
    IOmbrelHeaderHandler* ClearOmbrelHandler() override;

    // The pipeline without the id and the metrics brackets. Returns a new response that owns
    // request, or null for a null request, a before filter that stopped without a response, or
    // a client that answered null (request is then still the caller's). After filters call it
    // again for a retry on the synchronous road.
    QuilResponse* SyncCall(QuilRequestImpl* request);
    // Checks and queues an asynchronous pass on the service's pool, under the id in decimal.
    // resumeFilter must be null or a string literal (it outlives the task). 0 when queued: the
    // task then owns request. -6 for a null request, -2 when the dependency check fails; the
    // request is then still the caller's.
    int AsyncCall(QuilRequestImpl* request, const char* resumeFilter);
    // The body of a queued asynchronous pass, on the service's pool thread: before filters
    // from resumeFilter, sign, compose, entry into inFlight, send. A failure before the send is
    // delivered from here.
    void ExecuteAsyncCall(QuilRequestImpl* request, const char* resumeFilter);
    // The completion of an asynchronous send, stored in each HttpRequest's callback with the
    // service as context; runs on a network pool worker and owns httpResponse. Finds the call
    // in inFlight, assembles the response, runs the after chain, closes the metrics and
    // delivers. The answer of a withdrawn call finds no entry and completes nothing.
    static void CompleteAsyncCall(HttpResponse* httpResponse, void* context);

    // CancelCall, and then the withdrawn request is deleted and its measurements dropped
    // unreported, instead of being left to nobody. True when a call was withdrawn. Any thread.
    bool CancelCallAndRelease(QuilRequest* request);
    bool CancelCallAndRelease(int id);

    // Composition and assembly, with this service's signing bridge. See HttpRequestComposer and
    // QuilResponseAssembler for ownership.
    HttpRequest* GetHttpRequest(QuilRequestImpl* request);
    void GetHttpRequestHeader(std::vector<std::string>& out, QuilRequestImpl* request,
                              std::string& url);
    QuilResponse* GetQuilResponse(HttpResponse* http, QuilRequest* request);
    void GetOriginalSignUrl(std::string& out, QuilRequestImpl* request, bool extended);

    // Steps both roads share.
    // The next request id, issued under mutex; the first is 1.
    int IssueId();
    // Starts the signing bridge, exactly once per process; every other caller waits for it.
    void LazyStart();
    // Opens the request's metrics entity: start time, api, version, gateway host, isSync.
    void OpenMetrics(QuilRequestImpl* request);
    // Closes the request's metrics with response (which may be null) and reports the call.
    void CloseMetrics(QuilRequestImpl* request, QuilResponse* response);
    // Writes the wall clock in seconds, plus the server offset once it is calibrated.
    void SetRequestTimestamp(QuilRequestImpl* request);
    // Signs request with 6.3, falling back to 6.2. Null on success; on failure a failure
    // response that owns request. sign must not be null.
    QuilResponse* SignRequest(QuilRequestImpl* request, Road road);
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
    // Requests whose asynchronous HTTP send is running, by their HttpRequest.
    std::map<HttpRequest*, QuilRequestImpl*> inFlight;
    // Guards inFlight, abandonedSends and the issue of ids. Recursive: CancelCall holds it
    // across its call into NetworkManager. The outermost lock of the system.
    std::recursive_mutex mutex;
    std::atomic<int32_t> nextId{0};           // the last id issued
    std::atomic<int64_t> timeOffset{0};       // seconds, server minus local
    std::atomic<bool> timeCalibrated{false};  // timeOffset is valid

    // The HttpRequests of withdrawn calls whose sends may still reach the client, so that
    // their late answers can be freed. One whose queued send was removed never comes back and
    // stays here (see docs/decisions.md). Guarded by mutex.
    std::set<HttpRequest*> abandonedSends;

private:
    friend class QuilService;
    QuilServiceImpl();
    ~QuilServiceImpl();

    // Both CancelCall forms: under mutex, withdraws the first inFlight entry whose request
    // matches, and returns that request (now nobody's), or null when none matched.
    template <typename Match>
    QuilRequestImpl* Withdraw(Match matches);

    // Ends an asynchronous call before its send: closes the metrics and delivers response.
    void FinishAsync(QuilRequestImpl* request, QuilResponse* response);
    // The response-side half of RetryRequest and the async road: runs the request's callback.
    static void Deliver(QuilRequestImpl* request, QuilResponse* response);
};
