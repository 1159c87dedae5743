// RemoteLogin: where the host registers its login flow (IRemoteLogin, or
// IMultiAccountRemoteLogin for several accounts), and through which the library asks it about
// sessions. The host keeps ownership of what it registers. Register before the first call;
// the other operations are the library's own (not exported) and run on any thread.
#pragma once

#include <string>

#include "IRemoteLogin.h"
#include "LoginContext.h"
#include "QuilExport.h"

class RemoteLogin {
public:
    // Stores the host's login flow (not owned; it must outlive every call). Null is ignored:
    // a flow can be replaced but not removed.
    QUIL_API static void setLoginImpl(IRemoteLogin* impl);

    // The library's side, for the login filters. userInfo "" means "Default". With a
    // multi-account flow the account forms are asked, otherwise the plain ones.
    // Starts a login of the account unless one is running.
    static void login(std::string userInfo);
    // True when the session can be used; false while a login runs; true with no flow at all.
    static bool isSessionValid(std::string userInfo);
    // The host's current session of the account (owned by the host), or null.
    static LoginContext* getLoginContext(std::string userInfo);

    // The registered flow, or null.
    static IRemoteLogin* Impl();
};
