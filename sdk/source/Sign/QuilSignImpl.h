// The signing bridge: the one implementation of IQuilSign. It never calls the closed library's
// signing on the caller's thread: each signing runs as a task on a private single-thread pool
// (one per protocol) while the caller waits a bounded time on a keyed rendezvous. A process-wide
// singleton, built on first use and never destroyed; every operation may be called from any
// thread.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>
#include <utility>

#include "IQuilSign.h"
#include "SecurityComponents.h"

class ThreadPool;

// The traffic judgement's answer, handed to the closed library as a plain function: it posts
// the verdict to the waiting ProcessContent whose key is sequenceId. Null texts are tolerated.
void __QuilSecurityTrafficFilterCallback(int mainAction, int subAction, const char* sequenceId,
                                         const char* actionParam);

class QuilSignImpl : public IQuilSign {
public:
    // How long a caller waits for a signing task before it gives up.
    static constexpr int kSignTimeLimitSeconds = 5;
    // After this long without a verdict, an asynchronous / synchronous traffic judgement is
    // reported as overlong ("kolvaTimeout"); the caller keeps waiting.
    static constexpr int kAsyncContentReportSeconds = 30;
    static constexpr int kSyncContentReportSeconds = 120;
    // A traffic judgement that has no verdict after this long ends as a pass (a verdict of
    // zeros), so a closed library that never answers cannot hold a network worker for ever.
    // Far beyond both reports: a judgement that asks the user still has minutes.
    static constexpr int kContentWaitLimitSeconds = 600;
    // Time-outs of the JSON road after which it is not tried again in this process.
    static constexpr int32_t kSignTimeoutsBeforeClosing = 3;

    // The singleton; never null, never deleted.
    static QuilSignImpl* GetInstance();

    bool Start() override;
    bool Stop() override;
    SignResult* Sign6_2(int seqId, std::string& data, int method) override;
    SignResult* Sign6_3(int seqId, std::string& data, std::string& api) override;
    ActionResult* ProcessContent(int seqId, std::string& content) override;
    std::string GetCookies(std::string& url) override;
    std::string GetKolvaVersion() override;

    // Test hook: shortens the sign limit and the two report limits of traffic judgements, so
    // tests of time-outs take milliseconds. The defaults are the constants above.
    static void SetTimeLimitsForTesting(std::chrono::milliseconds signLimit,
                                        std::chrono::milliseconds asyncContentReport,
                                        std::chrono::milliseconds syncContentReport);

    // Test hook: shortens the bound of a traffic judgement's wait (kContentWaitLimitSeconds).
    static void SetContentWaitLimitForTesting(std::chrono::milliseconds limit);

    // The two signing pools, for tests that must know what is queued. Never destroyed.
    ThreadPool* SignPool63() const { return signPool63; }
    ThreadPool* SignPool62() const { return signPool62; }
    // Time-outs of the JSON road so far.
    int32_t SignTimeoutCount() const { return signTimeoutCount.load(); }

    QuilSignImpl(const QuilSignImpl&) = delete;
    QuilSignImpl& operator=(const QuilSignImpl&) = delete;

private:
    QuilSignImpl();
    ~QuilSignImpl() override = default;

    // The bound proxies, copied under lifecycleMutex so that a signing task never reads them
    // while Start writes them.
    struct Proxies {
        IJsonSignProxy* jsonSign = nullptr;
        IUrlSignProxy* urlSign = nullptr;
        IErrorCode* urlSignErrorCode = nullptr;
        ITrafficFilterProxy* trafficFilter = nullptr;
    };
    Proxies CurrentProxies();

    // The calls into the closed library, on the pools' threads. Each gives (code in decimal,
    // text).
    std::pair<std::string, std::string> SignJson(const std::string& data, const std::string& api);
    std::pair<std::string, std::string> SignUrl(const std::string& data, int method);

    SecurityComponents components;             // self-protection, wide, JSON and traffic wrappers
    bool started = false;                      // between Start and Stop; guarded by lifecycleMutex
    ThreadPool* signPool63;                    // JSON-road tasks; built (1,1), never destroyed
    ThreadPool* signPool62;                    // wide-road tasks; built (1,1), never destroyed
    std::atomic<int32_t> signTimeoutCount{0};  // JSON-road time-outs; never reset
    // Guards started and the loading of components. Taken alone: no other lock of the system
    // is held with it, except the configuration's own while Start reads it.
    std::mutex lifecycleMutex;
};
