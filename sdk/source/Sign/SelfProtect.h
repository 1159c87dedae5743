// The wrapper of the closed library's self-protection component, which the SDK only starts and
// stops with the rest. No interface number hands it out, so its proxy stays null and the
// starts and stops of QuilSignImpl skip it. Loaded first by QuilSignImpl::Start.
#pragma once

#include "QuilSecurityProxies.h"

class SelfProtect {
public:
    virtual ~SelfProtect() = default;

    // Binds nothing and prints nothing; returns whether a proxy is bound (never, today).
    bool Load();

    ISelfProtectProxy* proxy = nullptr;
};
