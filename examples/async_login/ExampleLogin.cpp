#include "ExampleLogin.h"

#include <cstdio>
#include <thread>
#include <utility>

ExampleLogin::ExampleLogin(std::string sid, std::string uid)
    : sid_(std::move(sid)), uid_(std::move(uid)) {}

void ExampleLogin::login(OnLoginListener* listener) const {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (logining_) {
            return;  // one login at a time; the SDK holds its requests until it ends
        }
        logining_ = true;
    }
    std::printf("login: signing in\n");
    // The login must not block the SDK's thread that asked for it. The listener belongs to
    // the SDK and lives for ever; this object outlives the thread too, as it is never freed.
    std::thread([this, listener] {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            context_.sid = sid_;
            context_.uid = uid_;
            loggedIn_ = true;
            // No longer logging in once the end is reported: a request held back meanwhile
            // must be able to start a login of its own.
            logining_ = false;
        }
        std::printf("login: signed in as %s\n", uid_.c_str());
        listener->onLoginSuccess();
    }).detach();
}

bool ExampleLogin::isSessionValid() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return loggedIn_;
}

bool ExampleLogin::isLogining() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return logining_;
}

LoginContext* ExampleLogin::getLoginContext() const {
    std::lock_guard<std::mutex> lock(mutex_);
    // The SDK reads sid and uid only after a login has ended, when they no longer change.
    return loggedIn_ ? &context_ : nullptr;
}
