// Host login flows for tests that record every question the library asks and answer as
// programmed: RecordingMultiLogin (the account forms) and RecordingSingleLogin (the plain
// forms). Calls are recorded as "isLogining(alice)", "login(alice)", "isSessionValid()", ...
// The answers are the same for every account. getLoginContext can be made to throw. The test
// owns the object, keeps it alive for the rest of the process once registered (the library
// never forgets a flow), and may set an OnLogin hook that runs inside login (for a login that
// ends before login returns). Thread-safe.
#pragma once

#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "IMultiAccountRemoteLogin.h"
#include "IRemoteLogin.h"
#include "LoginContext.h"
#include "OnLoginListener.h"

namespace quil {
namespace test {

// What both flows answer, and what they were asked.
class LoginAnswers {
public:
    void SetSessionValid(bool valid);
    void SetLogining(bool logining);
    // Not owned; null for no context.
    void SetContext(LoginContext* context);
    void SetThrowOnContext(bool throws);
    void SetOnLogin(std::function<void(OnLoginListener*)> onLogin);
    // Runs after each question other than login has been answered (with its call text),
    // outside the lock: lets a test end a login between two questions.
    void SetOnAsk(std::function<void(const std::string&)> onAsk);

    std::vector<std::string> Calls() const;
    std::size_t CountOf(const std::string& call) const;
    // The listeners handed to login, in order.
    std::vector<OnLoginListener*> Listeners() const;

    // Used by the flows.
    void Record(const std::string& call);
    void AfterAsk(const std::string& call);
    bool SessionValid() const;
    bool Logining() const;
    LoginContext* Context() const;
    void Login(const std::string& call, OnLoginListener* listener);

private:
    mutable std::mutex mutex_;  // guards every field below
    bool valid_ = true;
    bool logining_ = false;
    LoginContext* context_ = nullptr;
    bool throws_ = false;
    std::function<void(OnLoginListener*)> onLogin_;
    std::function<void(const std::string&)> onAsk_;
    std::vector<std::string> calls_;
    std::vector<OnLoginListener*> listeners_;
};

class RecordingMultiLogin : public IMultiAccountRemoteLogin, public LoginAnswers {
public:
    using IMultiAccountRemoteLogin::getLoginContext;
    using IMultiAccountRemoteLogin::isLogining;
    using IMultiAccountRemoteLogin::isSessionValid;
    using IMultiAccountRemoteLogin::login;
    void login(std::string userInfo, OnLoginListener* listener) const override;
    bool isSessionValid(std::string userInfo) const override;
    bool isLogining(std::string userInfo) const override;
    LoginContext* getLoginContext(std::string userInfo) const override;
};

class RecordingSingleLogin : public IRemoteLogin, public LoginAnswers {
public:
    void login(OnLoginListener* listener) const override;
    bool isSessionValid() const override;
    bool isLogining() const override;
    LoginContext* getLoginContext() const override;
};

}  // namespace test
}  // namespace quil
