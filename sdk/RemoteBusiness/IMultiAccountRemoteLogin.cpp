#include "IMultiAccountRemoteLogin.h"

// The plain forms mean the default account: a multi-account host implements the account forms
// alone, and a caller that knows no account still reaches them.

void IMultiAccountRemoteLogin::login(OnLoginListener* listener) const {
    login(std::string(), listener);
}

bool IMultiAccountRemoteLogin::isSessionValid() const { return isSessionValid(std::string()); }

bool IMultiAccountRemoteLogin::isLogining() const { return isLogining(std::string()); }

LoginContext* IMultiAccountRemoteLogin::getLoginContext() const {
    return getLoginContext(std::string());
}
