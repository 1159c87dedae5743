// ISignBridgeStarter: the once-per-process start of the signing bridge, which the call core
// makes at the first call. The core implements it and registers it with SignBridgeStart, so
// that code outside the core (the domain dispatcher) can make sure of the start without
// reaching into the service. Any thread may call; every caller after the first waits for the
// one start.
#pragma once

class ISignBridgeStarter {
public:
    // Starts the bridge unless it has started; returns once it has.
    virtual void LazyStart() = 0;

protected:
    // Never deleted through this interface: the implementation lives for the process.
    ~ISignBridgeStarter() = default;
};
