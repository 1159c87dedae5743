#include "HostLogin.h"

#include <utility>

namespace {

// The SDK names the default account "" or "Default"; both are the same account.
std::string AccountKey(const std::string& userInfo) {
    return userInfo == "Default" ? std::string() : userInfo;
}

}  // namespace

HostLogin::HostLogin(std::string sid, std::string uid)
    : sid_(std::move(sid)), uid_(std::move(uid)) {}

HostLogin::~HostLogin() { JoinLogins(); }

int HostLogin::LoginCount() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return logins_;
}

void HostLogin::JoinLogins() {
    std::vector<std::thread> threads;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        threads.swap(threads_);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

void HostLogin::login(std::string userInfo, OnLoginListener* listener) const {
    const std::string account = AccountKey(userInfo);
    std::lock_guard<std::mutex> lock(mutex_);
    Account& state = accounts_[account];
    state.logining = true;
    ++logins_;
    // A login may take as long as the user needs: never on the SDK's thread.
    threads_.emplace_back([this, account, listener] { RunLogin(account, listener); });
}

void HostLogin::RunLogin(std::string account, OnLoginListener* listener) const {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        Account& state = accounts_[account];
        state.contexts.emplace_back(new LoginContext());
        state.context = state.contexts.back().get();
        state.context->sid = sid_;
        state.context->uid = uid_;
        state.valid = true;
        // No longer "logining" once the end is being reported: a call held back from now on
        // must start a login of its own rather than wait for this report.
        state.logining = false;
    }
    // The SDK reads the new session back through getLoginContext, registers it and sends the
    // calls that waited for it again.
    listener->onLoginSuccess();
}

bool HostLogin::isSessionValid(std::string userInfo) const {
    std::lock_guard<std::mutex> lock(mutex_);
    auto found = accounts_.find(AccountKey(userInfo));
    return found != accounts_.end() && found->second.valid;
}

bool HostLogin::isLogining(std::string userInfo) const {
    std::lock_guard<std::mutex> lock(mutex_);
    auto found = accounts_.find(AccountKey(userInfo));
    return found != accounts_.end() && found->second.logining;
}

LoginContext* HostLogin::getLoginContext(std::string userInfo) const {
    std::lock_guard<std::mutex> lock(mutex_);
    auto found = accounts_.find(AccountKey(userInfo));
    return found != accounts_.end() ? found->second.context : nullptr;
}
