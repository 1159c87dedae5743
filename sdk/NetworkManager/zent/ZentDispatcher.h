// ZentDispatcher: the table of domain-to-address strategies that the dispatch service fills.
// A lookup never waits on the network: without an entry it answers empty and starts one
// background request on the dispatcher's one-thread pool, at most three in the life of the
// process and one at a time. A process-wide singleton, built on first use and never destroyed;
// DomainDispatch and UpdateStrategy may be called from any thread.
//
// Lock order: the dispatcher's mutex, then its pool's mutex. No lock is held during a request.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "ZentInfo.h"

class IQuilSign;
class ThreadPool;

class ZentDispatcher {
public:
    // The singleton; never null, never deleted. Built under a once-flag of its own, not under
    // the table's mutex, so that a lookup can never wait on its own construction.
    static ZentDispatcher* GetInstance();

    // The last address of domain's strategy, or empty. Without an entry, starts a request when
    // none is running and fewer than kMaxRequests have been started.
    std::string DomainDispatch(const std::string& domain);
    // Reports that the address handed out for host failed: it is discarded.
    void UpdateStrategy(const std::string& host);
    // Stores the strategy of domain read from a verified, decoded answer. A text that cannot be
    // read leaves the table as it is.
    void ParseBodyJson(const std::string& text, const std::string& domain);
    // One dispatch request for domain: build, sign, send, verify, store. Runs on the pool.
    void ZentRequest(const std::string& domain);

    // The requests a process may ever start.
    static constexpr int32_t kMaxRequests = 3;

    // Views for tests.
    bool RequestRunning() const { return requestRunning.load(); }
    int32_t RequestCount() const { return requestCount.load(); }
    // Whether domain has an entry, and a copy of its strategy (null for an entry without one).
    bool HasEntry(const std::string& domain);
    std::shared_ptr<ZentInfo> Strategy(const std::string& domain);

    // Test hook: the dispatcher signs with this object (null included) instead of the
    // QuilSignImpl singleton. Not owned; set before the first request.
    static void SetSignProviderForTesting(IQuilSign* sign);

    ZentDispatcher(const ZentDispatcher&) = delete;
    ZentDispatcher& operator=(const ZentDispatcher&) = delete;

private:
    ZentDispatcher();
    ~ZentDispatcher() = default;

    // The signing bridge, or null when it cannot be had.
    static IQuilSign* SignImpl();
    // The signature of input through the bridge; empty when there is none.
    static std::string GetSign(const std::string& input);
    // The exchange itself; every return is a way out that the caller's guard covers.
    void Exchange(const std::string& domain);

    // Guards strategies. Taken before the pool's mutex (AddTask runs under it).
    std::mutex mutex;
    std::map<std::string, std::shared_ptr<ZentInfo>> strategies;
    ThreadPool* threadPool;  // built (1, 1); never stopped, the dispatcher lives for the process
    // A request is queued or running; cleared by the request without the mutex.
    std::atomic<bool> requestRunning{false};
    // Requests started in the life of the process; never lowered.
    std::atomic<int32_t> requestCount{0};
};
