#include <algorithm>
#include <chrono>
#include <cstdio>
#include <random>
#include <thread>
#include <vector>

#include "SoakHost.h"
#include "SoakPhases.h"

namespace quil::soak {

namespace {

using Clock = std::chrono::steady_clock;

// Asynchronous calls allowed on their way at once, so that the pools' queues stay bounded and
// memory measures the library rather than the backlog the soak made.
constexpr int64_t kOutstandingLimit = 256;
// Most calls one run can account for; the ledger is sized (and touched) once, up front.
constexpr std::size_t kLedgerCapacity = 8u * 1024u * 1024u;

void Caller(SoakHost& host, uint64_t seed, Clock::time_point deadline) {
    std::mt19937_64 random(seed);
    while (Clock::now() < deadline) {
        const uint64_t choice = random() % 100;
        if (choice < 25 || (choice < 85 && host.Outstanding() >= kOutstandingLimit)) {
            host.SyncCall(random);
        } else if (choice < 85) {
            if (!host.AsyncCall(random)) return;
        } else if (choice < 95) {
            host.CancelSome(random);
        } else {
            host.TouchSession(random);
        }
    }
}

}  // namespace

int RunLoadPhase(const SoakSettings& settings) {
    SoakHost& host = *new SoakHost(settings, kLedgerCapacity);  // never freed, see SoakHost.h
    const auto start = Clock::now();
    const auto deadline = start + std::chrono::seconds(settings.seconds);
    std::vector<std::thread> callers;
    for (int i = 0; i < settings.threads; ++i) {
        callers.emplace_back(Caller, std::ref(host), settings.seed * 1000003u + i, deadline);
    }
    // Memory is measured once the pools, connections and caches have come up to their working
    // size: after a tenth of the run (at most 30 seconds).
    const auto warmUp =
        std::min<Clock::duration>((deadline - start) / 10, std::chrono::seconds(30));
    std::this_thread::sleep_until(start + warmUp);
    const long long rssStart = ResidentKib();
    const long long heapStart = LiveHeapKib();
    // A middle reading tells growth that levels off (the allocator's working size) from growth
    // that goes on (a leak).
    std::this_thread::sleep_until(start + (deadline - start) / 2 + warmUp / 2);
    const long long rssMiddle = ResidentKib();
    const long long heapMiddle = LiveHeapKib();
    for (std::thread& caller : callers) caller.join();

    // The drain: every call still on its way ends within the transport's limit (plus the
    // slowest answer); allow it generously, then count what never came.
    const auto drainLimit = Clock::now() +
                            std::chrono::milliseconds(settings.timeoutMs + settings.slowMs) +
                            std::chrono::seconds(60);
    while (host.Outstanding() > 0 && Clock::now() < drainLimit) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    const long long rssEnd = ResidentKib();
    const long long heapEnd = LiveHeapKib();
    const CallLedger& ledger = host.Ledger();
    std::printf(
        "load: calls=%lld sync=%lld async=%lld callbacks=%lld withdrawn=%lld missing=%lld "
        "duplicate=%lld unexpected=%lld exchanges=%llu rss_start_kb=%lld rss_middle_kb=%lld "
        "rss_end_kb=%lld heap_start_kb=%lld heap_middle_kb=%lld heap_end_kb=%lld logins=%lld "
        "login_ok=%lld login_fail=%lld login_cancel=%lld\n",
        static_cast<long long>(host.SyncCalls() + ledger.Calls()),
        static_cast<long long>(host.SyncCalls()), static_cast<long long>(ledger.Calls()),
        static_cast<long long>(ledger.Callbacks()), static_cast<long long>(ledger.WithdrawnCount()),
        static_cast<long long>(ledger.Missing()), static_cast<long long>(ledger.Duplicates()),
        static_cast<long long>(ledger.Unexpected()),
        static_cast<unsigned long long>(host.Transport().Exchanges()), rssStart, rssMiddle, rssEnd,
        heapStart, heapMiddle, heapEnd, static_cast<long long>(host.Login().Started()),
        static_cast<long long>(host.Login().Succeeded()),
        static_cast<long long>(host.Login().Failed()),
        static_cast<long long>(host.Login().Cancelled()));
    std::fflush(stdout);
    return 0;
}

}  // namespace quil::soak
