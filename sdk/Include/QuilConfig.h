// QuilConfig: the process-wide configuration (who this client is, which gateway it talks to)
// and the multi-account session registry. The host writes the public fields before its first
// call; the registry and the registrations may be used from any thread at any time. The
// object is never destroyed; host interfaces registered here stay owned by the host.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <string>

#include "IQuilCustomLog.h"
#include "QuilExport.h"

class IHttpClient;
class IQuilCookieStorage;
class IQuilStatistics;
class IWKWebBrowserProxy;

class QuilConfig {
public:
    // The singleton, built on first use with the defaults below. Never null, never freed.
    QUIL_API static QuilConfig* GetInstance();

    // Stores sid and uid for the account userInfo ("" means "Default"), replacing earlier
    // values. Returns false and changes nothing when sid is empty; an empty uid is stored.
    QUIL_API bool RegisterMultiAccountSession(std::string userInfo, std::string sid,
                                              std::string uid);

    // Removes the account's session. Returns false when the account has no session id, and
    // also when it had one (now removed) but no user id.
    QUIL_API bool LogoutMultiAccountSession(std::string userInfo);

    // The account's session id / user id, or "" when none is registered. Exported so that
    // tests of the shared library can observe the registry.
    QUIL_API std::string GetSid(std::string userInfo);
    QUIL_API std::string GetUid(std::string userInfo);

    // Hands the host's transport to the network manager. Null is ignored. Not owned.
    QUIL_API void RegisterHttpClient(IHttpClient* client);
    // Sets the logger's minimum level; lines below it are dropped.
    QUIL_API void SetQuilLogLevel(QUIL_LOG_LEVEL level);
    // Sets the log sink; null is stored and switches logging off. Not owned.
    QUIL_API void RegisterQuilLog(IQuilCustomLog* log);
    // Sets the statistics sink; null is stored and switches reporting off. Not owned.
    QUIL_API void RegisterUTStatistics(IQuilStatistics* statistics);
    // Stores the browser proxy for the closed library. Null is ignored. Not owned.
    QUIL_API void RegisterWKWebBrowserProxy(IWKWebBrowserProxy* proxy);
    // Stores the cookie storage asked when headers are composed. Null is ignored. Not owned.
    QUIL_API void RegisterCookieStorage(IQuilCookieStorage* storage);

    QuilConfig(const QuilConfig&) = delete;
    QuilConfig& operator=(const QuilConfig&) = delete;

    // Public fields, in their fixed order. The host writes them before its first call.
    int32_t environment = 2;    // 0 production, 1 pre-release, 2 daily (the default on purpose)
    int32_t domainSetting = 1;  // 1 gives new requests domainMode 1, anything else 2
    std::string onlineHost;     // gateway host of environment 0; empty: the built-in one
    std::string preHost;        // gateway host of environment 1; empty: the built-in one
    std::string dailyHost;      // gateway host of environment 2; empty: the built-in one
    std::string appName;
    std::string appKey;  // a call without it fails with "FAIL_SYS_DEPENDENCY_LOST"
    std::string devId;
    std::string appVersion;
    std::string ttid;
    std::string sid;       // forced session id, registered under each request's account
    int64_t features = 0;  // sent only when greater than 0
    std::string sslValue;
    std::string proxy;
    std::string utdid;
    std::string uid;           // forced user id, the partner of sid
    std::string reservedText;  // kept for the host's layout; the library never reads it
    intptr_t cacheSwitch = 0;  // non-zero lets the cache filters work; never dereferenced
    std::string lat;
    std::string lng;
    // Where the closed library's path component lies, relative to the host executable.
    std::wstring securityPathFile = L"..\\SafeGuard\\OruSafePath.dll";
    std::string authCode;
    bool securityEnabled = true;  // false keeps the traffic-protection side unloaded
    // The session registry, account key to session id / user id. Reach it through the
    // operations above: they hold the registry's lock.
    std::map<std::string, std::string> sidByUser;
    std::map<std::string, std::string> uidByUser;
    // Host interfaces, not owned. Atomic (same size as a plain pointer) so that a late
    // registration from the host races with no reader.
    std::atomic<IWKWebBrowserProxy*> webBrowserProxy{nullptr};
    std::atomic<IQuilCookieStorage*> cookieStorage{nullptr};

private:
    QuilConfig() = default;
};
