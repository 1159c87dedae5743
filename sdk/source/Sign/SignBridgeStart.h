// SignBridgeStart: where the call core registers its start of the signing bridge, and where
// code outside the core asks for it. Registered once, while the service singleton is built and
// before it is published; Start builds the service first, so a caller never finds the slot
// empty. Any thread may call.
#pragma once

#include "ISignBridgeStarter.h"

class SignBridgeStart {
public:
    // Called by the core once, before the service is published. Not owned; lives for the
    // process.
    static void Register(ISignBridgeStarter* starter);

    // Makes sure the signing bridge has started, as the first call of the process does.
    static void Start();
};
