#include "SoakLogin.h"

#include <chrono>

#include "OnLoginListener.h"

namespace quil::soak {

SoakLogin::SoakLogin(uint64_t seed) : random_(seed) {
    worker_ = std::thread([this] { Work(); });
    // Never joined: the flow serves until the process ends, as a host's does.
    worker_.detach();
}

std::string SoakLogin::Key(const std::string& account) {
    return account.empty() ? "Default" : account;
}

void SoakLogin::login(std::string userInfo, OnLoginListener* listener) const {
    std::lock_guard<std::mutex> lock(mutex_);
    ++started_;
    ++accounts_[Key(userInfo)].running;
    pending_.push_back(Pending{Key(userInfo), listener});
    queued_.notify_one();
}

bool SoakLogin::isSessionValid(std::string userInfo) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return accounts_[Key(userInfo)].valid;
}

bool SoakLogin::isLogining(std::string userInfo) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return accounts_[Key(userInfo)].running > 0;
}

LoginContext* SoakLogin::getLoginContext(std::string userInfo) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return accounts_[Key(userInfo)].context;
}

void SoakLogin::Work() {
    for (;;) {
        Pending next;
        uint64_t draw = 0;
        {
            std::unique_lock<std::mutex> lock(mutex_);
            queued_.wait(lock, [this] { return !pending_.empty(); });
            next = pending_.front();
            pending_.pop_front();
            draw = random_();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(draw % 50));
        const int outcome = static_cast<int>((draw >> 8) % 10);  // 6 succeed, 2 fail, 2 cancel
        {
            std::lock_guard<std::mutex> lock(mutex_);
            Account& account = accounts_[next.account];
            --account.running;
            if (outcome < 6) {
                // Now and then a session the gateway does not know, which expires at once.
                const uint64_t session = (draw >> 16) % (kSoakSessions + 1);
                const std::string sid = session < static_cast<uint64_t>(kSoakSessions)
                                            ? "soak-sid-" + std::to_string(session)
                                            : "soak-sid-unknown";
                std::unique_ptr<LoginContext>& context = contexts_[next.account + "/" + sid];
                if (!context) {
                    context = std::make_unique<LoginContext>();
                    context->sid = sid;
                    context->uid = "uid-" + next.account;
                }
                account.context = context.get();
                account.valid = true;
                ++succeeded_;
            } else {
                account.valid = false;
                ++(outcome < 8 ? failed_ : cancelled_);
            }
        }
        if (outcome < 6) {
            next.listener->onLoginSuccess();
        } else if (outcome < 8) {
            next.listener->onLoginFail();
        } else {
            next.listener->onLoginCancel();
        }
    }
}

int64_t SoakLogin::Started() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return started_;
}
int64_t SoakLogin::Succeeded() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return succeeded_;
}
int64_t SoakLogin::Failed() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return failed_;
}
int64_t SoakLogin::Cancelled() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return cancelled_;
}

}  // namespace quil::soak
