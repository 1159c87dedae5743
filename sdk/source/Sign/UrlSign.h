// The wrapper of the closed library's wide-string signing (IUrlSignProxy) and its error code.
// Loaded by QuilSignImpl::Start; afterwards only read, from the signing threads. The proxies
// belong to the closed library; the handles stay open for the life of the process.
#pragma once

#include "Platform.h"
#include "QuilSecurityProxies.h"

class UrlSign {
public:
    virtual ~UrlSign() = default;

    // Finds the closed library, binds IErrorCode and IUrlSignProxy (each only if not bound
    // yet) and starts the proxy. Prints what fails on standard output; returns true when the
    // proxy was started.
    bool Load();

    IUrlSignProxy* proxy = nullptr;
    quil::platform::LibraryHandle proxyLibrary = nullptr;
    IErrorCode* errorCode = nullptr;
    quil::platform::LibraryHandle errorCodeLibrary = nullptr;
};
