// GatewayHostSelector: picks the gateway host for the configured environment and a request's
// domain mode: the host's override when it set one, otherwise the built-in host of this
// deployment. Stateless; reads QuilConfig, which the host fills before its first call, so any
// thread may call it.
#pragma once

#include <string>

class GatewayHostSelector {
public:
    // The host text (no scheme, no path). domainModeIsOne picks the first family of built-in
    // hosts, anything else the second; an override of the environment wins over both.
    static std::string Select(bool domainModeIsOne);
};
