// The gateway emulator's hostile mode: a seeded, reproducible stream of bad answers for soak and
// robustness runs. Answer n (in order of arrival) is chosen from the seed and n alone, so a seed
// replays the same sequence of kinds: odd statuses (1xx to 5xx, the flood, flow-limit and
// traffic codes), truncated and oversized bodies, wrong Content-Length, garbage and oversized
// header lines, dropped connections, answers slower than the client's time-out, expired
// sessions and clocks, and dispatch answers of every kind. A share of calls is left to the
// normal endpoints, so that good answers keep flowing. Any thread may call Answer.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "EmulatorAnswer.h"
#include "ReceivedRequest.h"

namespace quil {

struct HostileOptions {
    uint64_t seed = 1;
    // Percent of gateway calls answered by the normal endpoint (0 to 100).
    int normalPercent = 30;
    // How long a slow answer waits; make it longer than the client's time-out.
    int slowMs = 3000;
    // Largest body of an oversized answer.
    std::size_t oversizedBytes = 2 * 1024 * 1024;
};

// What the hostile mode chose for one answer; the text is kept as the request's answer code.
enum class HostileKind {
    kNormal,
    kOddStatus,
    kFlowStatus,
    kTruncatedBody,
    kOversizedBody,
    kShortContentLength,
    kGarbageHeaders,
    kOversizedHeader,
    kDrop,
    kSlow,
    kSessionExpired,
    kClockExpired,
    kGarbageBody,
    kCount
};

const char* HostileKindName(HostileKind kind);

class HostileMode {
public:
    explicit HostileMode(const HostileOptions& options) : options_(options) {}

    // The kind of gateway answer number n under this seed.
    HostileKind KindOf(uint64_t n) const;

    // Replaces normal (the answer the endpoints chose) for a "/gw/" call, or passes it on.
    EmulatorAnswer AnswerGateway(const ReceivedRequest& request, EmulatorAnswer normal);
    // Replaces normal for a dispatch call: a valid answer, a wrong or missing sign, a failure
    // code, garbage Base64, an empty or truncated body, or a dropped connection.
    EmulatorAnswer AnswerDispatch(EmulatorAnswer normal);

    const HostileOptions& Options() const { return options_; }

private:
    uint64_t Draw(uint64_t n, uint64_t salt) const;

    HostileOptions options_;
    std::atomic<uint64_t> gatewayCount_{0};
    std::atomic<uint64_t> dispatchCount_{0};
};

}  // namespace quil
