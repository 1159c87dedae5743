// LoginHandler: the listener of one account's logins, handed to the host's login flow. On
// success it copies the new session into the registry and sends the account's waiting requests
// again; on failure or cancel it ends them. One per account, made on first need and never
// freed, so the host may keep the pointer for ever; the host may call it on any thread.
#pragma once

#include <string>

#include "OnLoginListener.h"

class LoginHandler : public OnLoginListener {
public:
    // The handler of the account ("" is "Default"): always the same object for an account.
    // Never null; lives until the process ends. Any thread.
    static LoginHandler* GetHandler(std::string userInfo);

    void onLoginSuccess() override;
    void onLoginFail() override;
    void onLoginCancel() override;

    // Registers the host's current session of the account when it brings a new sid. Catches
    // whatever the host throws, logs it, and returns normally.
    void updateSessionInfo();

    // The account this handler listens for; never empty.
    const std::string userInfo;

private:
    explicit LoginHandler(std::string account);
    // Never destroyed: the host may hold the pointer until the process ends.
    ~LoginHandler() override = default;
};
