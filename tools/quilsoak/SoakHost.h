// SoakHost: the soak's host set-up, shared by its phases: the library's configuration, the
// transport over the curl adapter, the completion callback that feeds the ledger, and the
// calls themselves. One per process, built on the main thread before any call and never
// destroyed: the library's threads and the login flow may reach it until the process ends.
#pragma once

#include <atomic>
#include <cstdint>
#include <random>
#include <string>

#include "CallLedger.h"
#include "SoakLogin.h"
#include "SoakSettings.h"
#include "SoakTransport.h"

class QuilRequest;
class QuilResponse;

namespace quil::soak {

class SoakHost {
public:
    SoakHost(const SoakSettings& settings, std::size_t ledgerCapacity);

    // A request for one of the soak's APIs, for account (random data included).
    static QuilRequest* MakeRequest(std::mt19937_64& random);
    // One synchronous call; the response (if any) is deleted. True when a response came.
    bool SyncCall(std::mt19937_64& random);
    // One asynchronous call with the ledger's callback. False when the ledger is full.
    bool AsyncCall(std::mt19937_64& random);
    // Withdraws some call on the network, if any; true when one was withdrawn.
    bool CancelSome(std::mt19937_64& random);
    // Registers or logs out a session of a random account.
    void TouchSession(std::mt19937_64& random);

    CallLedger& Ledger() { return ledger_; }
    SoakTransport& Transport() { return transport_; }
    const SoakLogin& Login() const { return login_; }
    // Asynchronous calls sent and not yet answered or withdrawn.
    int64_t Outstanding() const { return outstanding_.load(); }
    int64_t SyncCalls() const { return syncCalls_.load(); }

private:
    static void OnResponse(QuilResponse* response, void* userData);

    CallLedger ledger_;
    SoakTransport transport_;
    SoakLogin login_;
    std::atomic<int64_t> outstanding_{0};
    std::atomic<int64_t> syncCalls_{0};
};

}  // namespace quil::soak
