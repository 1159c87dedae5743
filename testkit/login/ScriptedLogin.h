// quil::ScriptedLogin: a login flow for hosts' own tests, scriptable per account. Each login
// runs on a thread of its own and, after the scripted delay, succeeds (with the scripted
// session), fails or is cancelled; a delay below zero ends it inside the call that starts it,
// and a held login ends only when the test releases it. A new session is handed to the session
// sink (for example the gateway emulator's Settings().AddSession) before the listener hears of
// it. Register it with RemoteLogin::setLoginImpl; for a single-account host wrap it in
// ScriptedSingleAccountLogin. The test owns it and must keep it alive until every call has
// ended; the destructor releases held logins and joins their threads. Thread-safe.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "IMultiAccountRemoteLogin.h"
#include "LoginContext.h"
#include "OnLoginListener.h"

namespace quil {

enum class LoginOutcome { Succeed, Fail, Cancel };

// How one login ends.
struct LoginScript {
    LoginOutcome outcome = LoginOutcome::Succeed;
    // Below zero: the login ends inside login(), on the caller's thread.
    std::chrono::milliseconds delay{0};
    // Held: the login runs until Release (or the destructor); the delay is not used.
    bool held = false;
    std::string sid;  // the new session of a successful login
    std::string uid;
};

class ScriptedLogin : public IMultiAccountRemoteLogin {
public:
    // Called with the account and the new sid of every successful login.
    using SessionSink = std::function<void(const std::string& account, const std::string& sid)>;
    // Chooses how a login of the account ends, when nothing is queued for it.
    using Chooser = std::function<LoginScript(const std::string& account)>;

    ScriptedLogin();
    ~ScriptedLogin() override;
    ScriptedLogin(const ScriptedLogin&) = delete;
    ScriptedLogin& operator=(const ScriptedLogin&) = delete;

    // Queues how the account's next login ends ("" is "Default").
    void Script(const std::string& account, const LoginScript& script);
    // What a login without a queued script does; succeeds with sid "scripted-sid" by default.
    void SetChooser(Chooser chooser);
    void SetSessionSink(SessionSink sink);
    // Sets whether the account's session counts as valid (false at first).
    void SetSessionValid(const std::string& account, bool valid);
    // Sets or clears the account's context (a null context at first).
    void SetContext(const std::string& account, const std::string& sid, const std::string& uid);
    void ClearContext(const std::string& account);

    // Ends the account's held logins that have started, as scripted. Returns how many.
    std::size_t Release(const std::string& account);

    // Logins started for the account, and in all.
    std::size_t LoginCount(const std::string& account) const;
    std::size_t LoginCount() const;
    // Waits until count logins of the account have started; false when the limit passed.
    bool WaitForLogins(const std::string& account, std::size_t count,
                       std::chrono::milliseconds limit) const;
    // Waits until every started login has ended (its listener returned).
    bool WaitIdle(std::chrono::milliseconds limit) const;

    using IMultiAccountRemoteLogin::getLoginContext;
    using IMultiAccountRemoteLogin::isLogining;
    using IMultiAccountRemoteLogin::isSessionValid;
    using IMultiAccountRemoteLogin::login;
    void login(std::string userInfo, OnLoginListener* listener) const override;
    bool isSessionValid(std::string userInfo) const override;
    bool isLogining(std::string userInfo) const override;
    LoginContext* getLoginContext(std::string userInfo) const override;

private:
    struct Account {
        bool valid = false;
        int running = 0;  // logins started and not yet reported
        std::size_t started = 0;
        int held = 0;              // running logins that wait for Release
        std::size_t releases = 0;  // Release calls so far, so a held login knows its turn
        std::vector<LoginScript> queued;
        // Contexts are kept for the life of the object: the library may still read an old one.
        std::vector<std::unique_ptr<LoginContext>> contexts;
        LoginContext* context = nullptr;
    };

    static std::string Key(const std::string& account);
    Account& AccountOf(const std::string& key) const;
    // Runs one login to its end; on the login's own thread or, for a negative delay, inline.
    // ticket: the account's release count when a held login started.
    void Run(const std::string& key, LoginScript script, OnLoginListener* listener,
             std::size_t ticket) const;

    // Guards every field below.
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    mutable std::map<std::string, Account> accounts_;
    mutable std::vector<std::thread> threads_;
    mutable int active_ = 0;  // logins of all accounts not yet reported
    mutable bool closing_ = false;
    Chooser chooser_;
    SessionSink sink_;
};

// A single-account face over a ScriptedLogin: the plain forms act on the account "Default"
// (the library ignores the account of a single-account flow). Not owned; keep both alive.
class ScriptedSingleAccountLogin : public IRemoteLogin {
public:
    explicit ScriptedSingleAccountLogin(ScriptedLogin* scripted) : scripted_(scripted) {}
    void login(OnLoginListener* listener) const override;
    bool isSessionValid() const override;
    bool isLogining() const override;
    LoginContext* getLoginContext() const override;

private:
    ScriptedLogin* scripted_;
};

}  // namespace quil
