// HostLogin: the login flow of the asynchronous example host, an IMultiAccountRemoteLogin.
// A real host would show its login window here; this one "logs in" on a thread of its own by
// handing out the session it was given at start, and reports the end to the SDK's listener.
//
// Ownership: the host makes one HostLogin, registers it with RemoteLogin::setLoginImpl and keeps
// it for the rest of the process (the SDK never deletes it). Threads: the SDK calls every
// operation from its own workers and from the host's calling threads, several at once, so all
// of them take the one mutex; none throws.
#pragma once

#include <QuilSDK.h>

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

class HostLogin : public IMultiAccountRemoteLogin {
public:
    // sid and uid: the session that every login of any account ends with.
    HostLogin(std::string sid, std::string uid);
    // Joins the login threads that are still running.
    ~HostLogin() override;

    // How many logins were started, over all accounts.
    int LoginCount() const;
    // Joins every login thread started so far; the host calls it before it exits.
    void JoinLogins();

    void login(std::string userInfo, OnLoginListener* listener) const override;
    bool isSessionValid(std::string userInfo) const override;
    bool isLogining(std::string userInfo) const override;
    LoginContext* getLoginContext(std::string userInfo) const override;

private:
    struct Account {
        bool valid = false;               // whether the account has a usable session
        bool logining = false;            // whether a login of the account is running
        LoginContext* context = nullptr;  // the latest session, one of contexts
        // Every session handed out: the SDK may still read an older one, so none is freed
        // while the host runs.
        std::vector<std::unique_ptr<LoginContext>> contexts;
    };

    void RunLogin(std::string account, OnLoginListener* listener) const;

    const std::string sid_;
    const std::string uid_;
    // Guards accounts_, logins_ and threads_. Never held while the SDK's listener runs: the
    // listener calls back into this object.
    mutable std::mutex mutex_;
    mutable std::map<std::string, Account> accounts_;  // key "" stands for "Default" too
    mutable int logins_ = 0;
    mutable std::vector<std::thread> threads_;
};
