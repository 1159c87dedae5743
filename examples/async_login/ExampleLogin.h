// A host's login flow for one account, as the SDK asks for it: it starts a login when asked,
// reports its end to the SDK's listener, and hands the session back. Here the "login" is a
// thread of its own that takes a session given up front (a real host shows its sign-in
// window). The host owns the object and keeps it for the rest of the process; the SDK calls it
// from its own threads and the host's, several at once, so every operation takes the lock.
#pragma once

#include <QuilSDK.h>

#include <mutex>
#include <string>

class ExampleLogin : public IRemoteLogin {
public:
    // sid and uid: the session a login yields.
    ExampleLogin(std::string sid, std::string uid);

    void login(OnLoginListener* listener) const override;
    bool isSessionValid() const override;
    bool isLogining() const override;
    LoginContext* getLoginContext() const override;

private:
    const std::string sid_;
    const std::string uid_;
    // Guards everything below. The SDK's interface is const, the state is not.
    mutable std::mutex mutex_;
    mutable bool loggedIn_ = false;
    mutable bool logining_ = false;
    mutable LoginContext context_;
};
