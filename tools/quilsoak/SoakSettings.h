// What one soak run is told: its length, its threads, the hostile emulator's seed, and where the
// emulator listens (for the phases that run as child processes). A plain record.
#pragma once

#include <cstdint>
#include <string>

namespace quil::soak {

struct SoakSettings {
    int seconds = 60;       // length of the load phase
    int threads = 16;       // calling threads of the load phase
    uint64_t seed = 1;      // the hostile emulator's seed (and the callers' random choices)
    int port = 0;           // the emulator's port (child phases)
    int rssGrowthMb = 64;   // largest growth of resident memory allowed over the load phase
    int heapGrowthMb = 32;  // largest growth of the live heap allowed over the load phase
    int timeoutMs = 2000;   // the transport's limit for a whole exchange
    int slowMs = 3000;      // how long the emulator's slow answers take (beyond timeoutMs)
};

// The app key the soak's host and emulator share.
inline const char* SoakAppKey() { return "soak-app-key"; }

}  // namespace quil::soak
