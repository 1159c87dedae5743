#include "RecordingRemoteLogin.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace quil {
namespace test {

void LoginAnswers::SetSessionValid(bool valid) {
    std::lock_guard<std::mutex> lock(mutex_);
    valid_ = valid;
}

void LoginAnswers::SetLogining(bool logining) {
    std::lock_guard<std::mutex> lock(mutex_);
    logining_ = logining;
}

void LoginAnswers::SetContext(LoginContext* context) {
    std::lock_guard<std::mutex> lock(mutex_);
    context_ = context;
}

void LoginAnswers::SetThrowOnContext(bool throws) {
    std::lock_guard<std::mutex> lock(mutex_);
    throws_ = throws;
}

void LoginAnswers::SetOnLogin(std::function<void(OnLoginListener*)> onLogin) {
    std::lock_guard<std::mutex> lock(mutex_);
    onLogin_ = std::move(onLogin);
}

std::vector<std::string> LoginAnswers::Calls() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return calls_;
}

std::size_t LoginAnswers::CountOf(const std::string& call) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return static_cast<std::size_t>(std::count(calls_.begin(), calls_.end(), call));
}

std::vector<OnLoginListener*> LoginAnswers::Listeners() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return listeners_;
}

void LoginAnswers::SetOnAsk(std::function<void(const std::string&)> onAsk) {
    std::lock_guard<std::mutex> lock(mutex_);
    onAsk_ = std::move(onAsk);
}

void LoginAnswers::Record(const std::string& call) {
    std::lock_guard<std::mutex> lock(mutex_);
    calls_.push_back(call);
}

void LoginAnswers::AfterAsk(const std::string& call) {
    std::function<void(const std::string&)> onAsk;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        onAsk = onAsk_;
    }
    if (onAsk) {
        onAsk(call);
    }
}

bool LoginAnswers::SessionValid() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return valid_;
}

bool LoginAnswers::Logining() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return logining_;
}

LoginContext* LoginAnswers::Context() const {
    std::lock_guard<std::mutex> lock(mutex_);
    if (throws_) {
        throw std::runtime_error("the host's context failed");
    }
    return context_;
}

void LoginAnswers::Login(const std::string& call, OnLoginListener* listener) {
    std::function<void(OnLoginListener*)> onLogin;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        calls_.push_back(call);
        listeners_.push_back(listener);
        onLogin = onLogin_;
    }
    // Outside the lock: the hook may end the login, and the library then asks us again.
    if (onLogin) {
        onLogin(listener);
    }
}

void RecordingMultiLogin::login(std::string userInfo, OnLoginListener* listener) const {
    const_cast<RecordingMultiLogin*>(this)->Login("login(" + userInfo + ")", listener);
}

bool RecordingMultiLogin::isSessionValid(std::string userInfo) const {
    RecordingMultiLogin* self = const_cast<RecordingMultiLogin*>(this);
    const std::string call = "isSessionValid(" + userInfo + ")";
    self->Record(call);
    bool answer = SessionValid();
    self->AfterAsk(call);
    return answer;
}

bool RecordingMultiLogin::isLogining(std::string userInfo) const {
    RecordingMultiLogin* self = const_cast<RecordingMultiLogin*>(this);
    const std::string call = "isLogining(" + userInfo + ")";
    self->Record(call);
    bool answer = Logining();
    self->AfterAsk(call);
    return answer;
}

LoginContext* RecordingMultiLogin::getLoginContext(std::string userInfo) const {
    RecordingMultiLogin* self = const_cast<RecordingMultiLogin*>(this);
    const std::string call = "getLoginContext(" + userInfo + ")";
    self->Record(call);
    LoginContext* answer = Context();
    self->AfterAsk(call);
    return answer;
}

void RecordingSingleLogin::login(OnLoginListener* listener) const {
    const_cast<RecordingSingleLogin*>(this)->Login("login()", listener);
}

bool RecordingSingleLogin::isSessionValid() const {
    RecordingSingleLogin* self = const_cast<RecordingSingleLogin*>(this);
    const std::string call = "isSessionValid()";
    self->Record(call);
    bool answer = SessionValid();
    self->AfterAsk(call);
    return answer;
}

bool RecordingSingleLogin::isLogining() const {
    RecordingSingleLogin* self = const_cast<RecordingSingleLogin*>(this);
    const std::string call = "isLogining()";
    self->Record(call);
    bool answer = Logining();
    self->AfterAsk(call);
    return answer;
}

LoginContext* RecordingSingleLogin::getLoginContext() const {
    RecordingSingleLogin* self = const_cast<RecordingSingleLogin*>(this);
    const std::string call = "getLoginContext()";
    self->Record(call);
    LoginContext* answer = Context();
    self->AfterAsk(call);
    return answer;
}

}  // namespace test
}  // namespace quil
