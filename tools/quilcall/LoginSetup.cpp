#include "LoginSetup.h"

#include "RemoteLogin.h"
#include "ScriptedLogin.h"

namespace quil {

void InstallLogin(const CallOptions& options) {
    if (options.loginSid.empty()) {
        return;
    }
    // The SDK keeps the flow for the rest of the process, and a login thread may still run at
    // exit, so it is never destroyed.
    static ScriptedLogin* const login = new ScriptedLogin();
    const std::string sid = options.loginSid;
    const std::string uid = options.loginUid;
    login->SetChooser([sid, uid](const std::string&) {
        LoginScript script;
        script.sid = sid;
        script.uid = uid;
        return script;
    });
    // The host believes it is logged in, so the call goes out and the gateway's verdict on
    // the session decides whether a login runs.
    login->SetSessionValid(options.user, true);
    RemoteLogin::setLoginImpl(login);
}

}  // namespace quil
