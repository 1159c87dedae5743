// IRemoteLogin: the host's login flow for a single account, registered with
// RemoteLogin::setLoginImpl. The host owns the object and keeps it alive for the rest of the
// process; the library never deletes it. The library calls it from its own threads (the
// service's worker and the network workers) and from the host's calling threads, several at
// once, so every operation must be thread-safe and must not throw.
#pragma once

#include "LoginContext.h"
#include "OnLoginListener.h"

// The order of the virtual operations below is the host's binary contract: never reorder,
// never insert.
class IRemoteLogin {
public:
    // Starts a login and reports its end to listener (owned by the library, valid for ever),
    // on any thread, possibly before this call returns.
    virtual void login(OnLoginListener* listener) const = 0;
    // Whether the current session can be used.
    virtual bool isSessionValid() const = 0;
    // Whether a login is running now. Must answer false once the login's end is being reported,
    // so that a request held back meanwhile starts a login of its own.
    virtual bool isLogining() const = 0;
    // The current session, or null. Stays owned by the host; the library only reads it.
    virtual LoginContext* getLoginContext() const = 0;

    virtual ~IRemoteLogin() = default;
};
