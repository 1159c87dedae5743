#include "ScriptedLogin.h"

#include <utility>

namespace quil {

ScriptedLogin::ScriptedLogin() {
    chooser_ = [](const std::string&) {
        LoginScript script;
        script.sid = "scripted-sid";
        script.uid = "scripted-uid";
        return script;
    };
}

ScriptedLogin::~ScriptedLogin() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        closing_ = true;
    }
    changed_.notify_all();
    // A listener may start another login while the threads end; join until none is left.
    for (;;) {
        std::vector<std::thread> threads;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            threads.swap(threads_);
        }
        if (threads.empty()) {
            break;
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    }
}

std::string ScriptedLogin::Key(const std::string& account) {
    return account.empty() ? std::string("Default") : account;
}

ScriptedLogin::Account& ScriptedLogin::AccountOf(const std::string& key) const {
    return accounts_[key];
}

void ScriptedLogin::Script(const std::string& account, const LoginScript& script) {
    std::lock_guard<std::mutex> lock(mutex_);
    AccountOf(Key(account)).queued.push_back(script);
}

void ScriptedLogin::SetChooser(Chooser chooser) {
    std::lock_guard<std::mutex> lock(mutex_);
    chooser_ = std::move(chooser);
}

void ScriptedLogin::SetSessionSink(SessionSink sink) {
    std::lock_guard<std::mutex> lock(mutex_);
    sink_ = std::move(sink);
}

void ScriptedLogin::SetSessionValid(const std::string& account, bool valid) {
    std::lock_guard<std::mutex> lock(mutex_);
    AccountOf(Key(account)).valid = valid;
}

void ScriptedLogin::SetContext(const std::string& account, const std::string& sid,
                               const std::string& uid) {
    std::lock_guard<std::mutex> lock(mutex_);
    Account& state = AccountOf(Key(account));
    state.contexts.emplace_back(new LoginContext());
    state.contexts.back()->sid = sid;
    state.contexts.back()->uid = uid;
    state.context = state.contexts.back().get();
}

void ScriptedLogin::ClearContext(const std::string& account) {
    std::lock_guard<std::mutex> lock(mutex_);
    AccountOf(Key(account)).context = nullptr;
}

std::size_t ScriptedLogin::Release(const std::string& account) {
    std::size_t released = 0;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        Account& state = AccountOf(Key(account));
        released = static_cast<std::size_t>(state.held);
        state.releases += 1;
    }
    changed_.notify_all();
    return released;
}

std::size_t ScriptedLogin::LoginCount(const std::string& account) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return AccountOf(Key(account)).started;
}

std::size_t ScriptedLogin::LoginCount() const {
    std::lock_guard<std::mutex> lock(mutex_);
    std::size_t total = 0;
    for (const auto& entry : accounts_) {
        total += entry.second.started;
    }
    return total;
}

bool ScriptedLogin::WaitForLogins(const std::string& account, std::size_t count,
                                  std::chrono::milliseconds limit) const {
    std::unique_lock<std::mutex> lock(mutex_);
    const std::string key = Key(account);
    return changed_.wait_for(lock, limit, [&] { return AccountOf(key).started >= count; });
}

bool ScriptedLogin::WaitIdle(std::chrono::milliseconds limit) const {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, limit, [this] { return active_ == 0; });
}

void ScriptedLogin::login(std::string userInfo, OnLoginListener* listener) const {
    const std::string key = Key(userInfo);
    LoginScript script;
    bool runInline = false;
    std::size_t ticket = 0;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        Account& state = AccountOf(key);
        if (!state.queued.empty()) {
            script = state.queued.front();
            state.queued.erase(state.queued.begin());
        } else {
            script = chooser_(key);
        }
        state.started += 1;
        state.running += 1;
        active_ += 1;
        // A held login counts from its start: a Release after login() returned ends it.
        if (script.held) {
            state.held += 1;
            ticket = state.releases;
        }
        runInline = !script.held && script.delay.count() < 0;
        if (!runInline) {
            threads_.emplace_back(
                [this, key, script, listener, ticket] { Run(key, script, listener, ticket); });
        }
    }
    changed_.notify_all();
    if (runInline) {
        Run(key, script, listener, ticket);
    }
}

void ScriptedLogin::Run(const std::string& key, LoginScript script, OnLoginListener* listener,
                        std::size_t ticket) const {
    SessionSink sink;
    {
        std::unique_lock<std::mutex> lock(mutex_);
        if (script.held) {
            changed_.wait(lock, [&] { return closing_ || AccountOf(key).releases > ticket; });
            AccountOf(key).held -= 1;
        } else if (script.delay.count() > 0) {
            changed_.wait_for(lock, script.delay, [this] { return closing_; });
        }
        Account& ended = AccountOf(key);
        if (script.outcome == LoginOutcome::Succeed) {
            ended.contexts.emplace_back(new LoginContext());
            ended.contexts.back()->sid = script.sid;
            ended.contexts.back()->uid = script.uid;
            ended.context = ended.contexts.back().get();
            ended.valid = true;
            sink = sink_;
        }
    }
    // The gateway learns the session before any request can carry it.
    if (sink) {
        sink(key, script.sid);
    }
    {
        std::lock_guard<std::mutex> lock(mutex_);
        // No longer running once the end is reported: a request held back from now on starts a
        // login of its own instead of waiting for a report that has already gone out.
        AccountOf(key).running -= 1;
    }
    switch (script.outcome) {
        case LoginOutcome::Succeed:
            listener->onLoginSuccess();
            break;
        case LoginOutcome::Fail:
            listener->onLoginFail();
            break;
        case LoginOutcome::Cancel:
            listener->onLoginCancel();
            break;
    }
    {
        std::lock_guard<std::mutex> lock(mutex_);
        active_ -= 1;
    }
    changed_.notify_all();
}

bool ScriptedLogin::isSessionValid(std::string userInfo) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return AccountOf(Key(userInfo)).valid;
}

bool ScriptedLogin::isLogining(std::string userInfo) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return AccountOf(Key(userInfo)).running > 0;
}

LoginContext* ScriptedLogin::getLoginContext(std::string userInfo) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return AccountOf(Key(userInfo)).context;
}

void ScriptedSingleAccountLogin::login(OnLoginListener* listener) const {
    scripted_->login(std::string(), listener);
}

bool ScriptedSingleAccountLogin::isSessionValid() const {
    return scripted_->isSessionValid(std::string());
}

bool ScriptedSingleAccountLogin::isLogining() const { return scripted_->isLogining(std::string()); }

LoginContext* ScriptedSingleAccountLogin::getLoginContext() const {
    return scripted_->getLoginContext(std::string());
}

}  // namespace quil
