// SecurityKolvaAfterFilter: the second after filter. When the gateway's traffic protection
// answers (419, 420, 421) it hands the answer to the closed security library and acts on the
// verdict: send the request again with the library's parameter, ban the API and version for a
// while through the threshold filter, or let the answer pass. It is also the system's default
// cookie storage, since the closed library holds the traffic-protection service's cookies.
// Built once and owned by FilterManager; stateless, so any number of threads may run it.
#pragma once

#include <cstdint>
#include <string>

#include "AfterFilter.h"
#include "IQuilCookieStorage.h"

class IQuilSign;
class ThresholdBeforeFilter;

class SecurityKolvaAfterFilter : public AfterFilter, public IQuilCookieStorage {
public:
    // Passes of one request beyond which a resend verdict is no longer followed: the library
    // alone decides how often a request returns, and no realistic judgement comes near this,
    // but a library that always says "resend" to a gateway that always refuses would otherwise
    // nest synchronous passes until the stack runs out.
    static constexpr int32_t kResendPassLimit = 64;

    // thresholdFilter receives the bans (not owned; null turns bans off). sign is the security
    // bridge to ask (not owned); null means the process's bridge, looked up at each use.
    explicit SecurityKolvaAfterFilter(ThresholdBeforeFilter* thresholdFilter,
                                      IQuilSign* sign = nullptr);

    // "a_security_kolva"
    const char* GetName() override;

    // Judges a 419, 420 or 421 answer; any other passes untouched. A resend verdict re-enters
    // the pipeline on the request's own road and sets result->code to 1. No argument is owned.
    void HandleResponse(QuilRequest* request, QuilResponse* response,
                        FilterResult* result) override;

    // The cookie-storage side: the closed library's cookies for url. True when there are any.
    // Called from any thread while headers are composed.
    bool GetCookie(const std::string& url, std::string& cookie) override;

    // Test hook: the bridge that a filter built without one asks (null: the process's own
    // bridge again). Not owned; tests put a scripted one in before the first call.
    static void SetSignForTesting(IQuilSign* sign);

private:
    IQuilSign* Sign() const;
    // Follows a resend verdict: the library's parameter as "x-kv-resend", then a new pass.
    void Resend(QuilRequest* request, QuilResponse* response, const std::string& actionParam,
                FilterResult* result);
    // Follows a ban verdict: reads its length from actionParam and records the ban.
    void Ban(QuilRequest* request, QuilResponse* response, const std::string& actionParam);

    ThresholdBeforeFilter* const thresholdFilter;
    IQuilSign* const sign_;
};
