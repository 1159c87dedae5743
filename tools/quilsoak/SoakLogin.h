// SoakLogin: the soak host's login flow, for several accounts. Each login ends at random after
// up to 50 ms, on the flow's one worker thread: it succeeds (with one of the sessions the hostile
// emulator knows, or now and then one it does not), fails, or is cancelled. Registered with
// RemoteLogin::setLoginImpl; one per process, never destroyed (the library may call it until
// the process ends). Any thread may call.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <thread>

#include "IMultiAccountRemoteLogin.h"

namespace quil::soak {

// The sessions the emulator accepts: "soak-sid-0" to "soak-sid-<kSoakSessions - 1>".
constexpr int kSoakSessions = 16;

class SoakLogin : public IMultiAccountRemoteLogin {
public:
    explicit SoakLogin(uint64_t seed);

    using IMultiAccountRemoteLogin::getLoginContext;
    using IMultiAccountRemoteLogin::isLogining;
    using IMultiAccountRemoteLogin::isSessionValid;
    using IMultiAccountRemoteLogin::login;
    void login(std::string userInfo, OnLoginListener* listener) const override;
    bool isSessionValid(std::string userInfo) const override;
    bool isLogining(std::string userInfo) const override;
    LoginContext* getLoginContext(std::string userInfo) const override;

    // Logins started, and how they ended.
    int64_t Started() const;
    int64_t Succeeded() const;
    int64_t Failed() const;
    int64_t Cancelled() const;

private:
    struct Pending {
        std::string account;
        OnLoginListener* listener;
    };
    struct Account {
        bool valid = false;
        int running = 0;
        LoginContext* context = nullptr;
    };

    void Work();
    static std::string Key(const std::string& account);

    // Guards every field below.
    mutable std::mutex mutex_;
    mutable std::condition_variable queued_;
    mutable std::deque<Pending> pending_;
    mutable std::map<std::string, Account> accounts_;
    // Contexts by account and session, kept for the process's life (the library may read an old
    // one); bounded by the accounts times kSoakSessions + 1.
    mutable std::map<std::string, std::unique_ptr<LoginContext>> contexts_;
    mutable std::mt19937_64 random_;
    mutable int64_t started_ = 0;
    int64_t succeeded_ = 0;
    int64_t failed_ = 0;
    int64_t cancelled_ = 0;
    std::thread worker_;  // runs for the process's life
};

}  // namespace quil::soak
