// IMultiAccountRemoteLogin: the host's login flow for several accounts, each named by the
// account key userInfo of the requests ("" and "Default" are the same account). Registered
// with RemoteLogin::setLoginImpl; owned by the host, never deleted by the library, called from
// several library and host threads at once: every operation must be thread-safe and must not
// throw. A host implements the account forms only: the plain forms, built into the library,
// mean the account "" and forward to them.
#pragma once

#include <string>

#include "IRemoteLogin.h"
#include "LoginContext.h"
#include "OnLoginListener.h"
#include "QuilExport.h"

// The order of the virtual operations below is the host's binary contract: never reorder,
// never insert.
class QUIL_API IMultiAccountRemoteLogin : public IRemoteLogin {
public:
    // The plain forms: each calls the account form of the same name with "".
    void login(OnLoginListener* listener) const override;
    bool isSessionValid() const override;
    bool isLogining() const override;
    LoginContext* getLoginContext() const override;

    // Starts a login of the account and reports its end to listener (the account's own,
    // owned by the library, valid for ever), on any thread, possibly before this call returns.
    virtual void login(std::string userInfo, OnLoginListener* listener) const = 0;
    // Whether the account's current session can be used.
    virtual bool isSessionValid(std::string userInfo) const = 0;
    // Whether a login of the account is running now; false once its end is being reported.
    virtual bool isLogining(std::string userInfo) const = 0;
    // The account's current session, or null; owned by the host.
    virtual LoginContext* getLoginContext(std::string userInfo) const = 0;
};
