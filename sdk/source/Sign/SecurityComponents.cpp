#include "SecurityComponents.h"

#include "QuilConfig.h"

void SecurityComponents::Load() {
    selfProtect.Load();
    jsonUrlSign.Load();
    urlSign.Load();
    if (QuilConfig::GetInstance()->securityEnabled) trafficFilter.Load();
}

void SecurityComponents::Stop() {
    if (selfProtect.proxy != nullptr) selfProtect.proxy->Stop();
    if (jsonUrlSign.proxy != nullptr) jsonUrlSign.proxy->Stop();
    if (urlSign.proxy != nullptr) urlSign.proxy->Stop();
    if (QuilConfig::GetInstance()->securityEnabled && trafficFilter.proxy != nullptr) {
        trafficFilter.proxy->Stop();
    }
}
