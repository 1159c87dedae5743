// quil::TrafficWatch: quilcall's log sink. It hands each SDK line on to the --log-level sink
// when the line is at or above that level, and reads the lines with which the SDK reports what
// its traffic protection did to a call: a resend on the security library's verdict, a ban it
// started (and until when), or a refusal by a running ban, with no request sent. The host
// (quilcall's main) owns it and keeps it alive; the SDK calls it from any thread.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>

#include "IQuilCustomLog.h"

namespace quil {

// What the traffic protection did during one call.
struct TrafficNote {
    int resends = 0;          // passes sent again on the security library's verdict
    bool banStarted = false;  // this call's answer started a ban of its API and version
    int64_t banSeconds = 0;   // its length
    bool refused = false;     // refused locally by a running ban: no request went out
    std::string banUntil;     // the end of the ban in force (UTC, to the second), if known

    bool Any() const { return resends > 0 || banStarted || refused; }
};

class TrafficWatch : public IQuilCustomLog {
public:
    // The SDK must log from QUIL_LOG_INFO up for the watch to see what it reads.
    static constexpr int kLevelNeeded = 1;

    // forward (not owned, may be null) receives the lines from forwardLevel up.
    TrafficWatch(IQuilCustomLog* forward, int forwardLevel);

    void Log(QUIL_LOG_LEVEL level, const char* file, const char* function, int line,
             const char* message) override;

    // Starts the note of the next call; a ban seen earlier keeps its end for later refusals.
    void BeginCall();
    // The note of the call since BeginCall.
    TrafficNote Note();

    // Reads one SDK message into note; nowSeconds is the wall clock (seconds since the epoch).
    // lastBanUntil carries the end of the latest ban from call to call. Pure; for tests.
    static void Observe(const std::string& message, int64_t nowSeconds, TrafficNote* note,
                        std::string* lastBanUntil);
    // "2026-11-23T21:40:02Z" for seconds since the epoch.
    static std::string UtcText(int64_t seconds);

private:
    IQuilCustomLog* const forward_;
    const int forwardLevel_;
    // Guards note_ and lastBanUntil_: lines come from the SDK's threads.
    std::mutex mutex_;
    TrafficNote note_;
    std::string lastBanUntil_;
};

}  // namespace quil
