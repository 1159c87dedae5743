// The session that the host's login implementation hands back after a login.
// The host owns the record and returns it by pointer; the library reads sid and uid only and
// never frees it. Plain data: whoever holds it decides which thread reads it.
#pragma once

#include <string>

class LoginContext {
public:
    std::string sid;  // session id of the logged-in account
    std::string uid;  // user id of the logged-in account
};
