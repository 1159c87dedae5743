// The host's cookie store, asked for the cookies of a gateway URL when request headers are
// composed. The host owns it and registers it with QuilConfig::RegisterCookieStorage; the
// library never deletes it. GetCookie may be called from several threads at once.
#pragma once

#include <string>

class IQuilCookieStorage {
public:
    // Writes the cookie text for url into cookie. Returns true when cookie holds a value to
    // send. Must not throw.
    virtual bool GetCookie(const std::string& url, std::string& cookie) = 0;

    virtual ~IQuilCookieStorage() = default;
};
