// The four wrappers of the closed security library, loaded and stopped in the bridge's fixed
// order. Owned by the signing bridge (QuilSignImpl), which loads them once from Start; after
// that they are only read. No locks: Start and Stop are not called concurrently.
#pragma once

#include "JsonUrlSign.h"
#include "SelfProtect.h"
#include "TrafficFilter.h"
#include "UrlSign.h"

struct SecurityComponents {
    // Loads SelfProtect, JsonUrlSign, UrlSign, and TrafficFilter only when QuilConfig's
    // securityEnabled is set. A load that fails only prints its message; the rest go on.
    void Load();

    // Calls Stop on each bound proxy: self-protection, JSON signing, wide signing, and the
    // traffic filter only when securityEnabled is set. Nothing is unloaded; pointers stay.
    void Stop();

    SelfProtect selfProtect;
    UrlSign urlSign;
    JsonUrlSign jsonUrlSign;
    TrafficFilter trafficFilter;
};
