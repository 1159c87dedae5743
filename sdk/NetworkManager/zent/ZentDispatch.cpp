#include "ZentDispatch.h"

#include "QuilConfig.h"
#include "ZentDispatcher.h"

void zentDomainDispatch(const std::string& domain, std::string& ip) {
    if (QuilConfig::GetInstance()->appKey.empty()) {
        ip.clear();
        return;
    }
    ip = ZentDispatcher::GetInstance()->DomainDispatch(domain);
}

void zentUpdateStrategy(const std::string& host) {
    if (QuilConfig::GetInstance()->appKey.empty()) return;
    ZentDispatcher::GetInstance()->UpdateStrategy(host);
}
