// The wrapper of the closed library's traffic filter (ITrafficFilterProxy) and its error code.
// Loaded by QuilSignImpl::Start only when QuilConfig's securityEnabled is set; afterwards only
// read. The proxies belong to the closed library; the handles stay open for the process's life.
#pragma once

#include "Platform.h"
#include "QuilSecurityProxies.h"

class TrafficFilter {
public:
    virtual ~TrafficFilter() = default;

    // Finds the closed library (printing its install path), binds IErrorCode and
    // ITrafficFilterProxy (each only if not bound yet), starts the proxy, and hands it the
    // host's browser proxy when one is registered. Returns true when the proxy was started.
    bool Load();

    ITrafficFilterProxy* proxy = nullptr;
    quil::platform::LibraryHandle proxyLibrary = nullptr;
    IErrorCode* errorCode = nullptr;
    quil::platform::LibraryHandle errorCodeLibrary = nullptr;
};
