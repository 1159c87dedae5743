// OnLoginListener: how the host's login implementation reports the end of a login it was asked
// to start. The library owns every listener it hands out and keeps it alive for the whole
// process, so the host may hold the pointer for ever and never deletes it. The host may call
// the operations on any thread of its own, one of them once per login.
#pragma once

// The order of the virtual operations below is the host's binary contract: never reorder,
// never insert.
class OnLoginListener {
public:
    // The login succeeded: the new session is read back through getLoginContext, and the
    // requests that waited for it are sent again.
    virtual void onLoginSuccess() = 0;
    // The login failed: the requests that waited for it end with a failure.
    virtual void onLoginFail() = 0;
    // The user gave the login up: the same as a failure.
    virtual void onLoginCancel() = 0;

    virtual ~OnLoginListener() = default;
};
