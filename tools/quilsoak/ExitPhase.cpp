#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <thread>
#include <vector>

#include "SoakHost.h"
#include "SoakPhases.h"

namespace quil::soak {

int RunExitPhase(const SoakSettings& settings) {
    SoakHost& host = *new SoakHost(settings, 4096);  // never freed, see SoakHost.h
    std::mt19937_64 random(settings.seed);
    // Calls on both roads: synchronous ones on threads that never get to finish, and a burst
    // of asynchronous ones.
    for (int i = 0; i < 4; ++i) {
        std::thread([&host, seed = settings.seed + i] {
            std::mt19937_64 own(seed);
            for (;;) host.SyncCall(own);
        }).detach();
    }
    for (int i = 0; i < 64; ++i) host.AsyncCall(random);
    // Exit once calls are really on the network (bounded: exit anyway after ten seconds).
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (host.Transport().OnNetwork() < 4 && std::chrono::steady_clock::now() < limit) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    std::printf("exit-phase: on_network=%zu outstanding=%lld\n", host.Transport().OnNetwork(),
                static_cast<long long>(host.Outstanding()));
    std::fflush(stdout);
    std::exit(0);
}

}  // namespace quil::soak
