#include "GatewayHostSelector.h"

#include "QuilBuildConfig.h"
#include "QuilConfig.h"

std::string GatewayHostSelector::Select(bool domainModeIsOne) {
    QuilConfig* config = QuilConfig::GetInstance();
    // 2 is the daily test gateway, 1 pre-release; every other value (0 in normal use) is
    // production, so a mistyped environment never reaches a test gateway.
    switch (config->environment) {
        case 2:
            if (!config->dailyHost.empty()) return config->dailyHost;
            return domainModeIsOne ? QUIL_GATEWAY_HOST_DAILY_1 : QUIL_GATEWAY_HOST_DAILY_2;
        case 1:
            if (!config->preHost.empty()) return config->preHost;
            return domainModeIsOne ? QUIL_GATEWAY_HOST_PRE_1 : QUIL_GATEWAY_HOST_PRE_2;
        default:
            if (!config->onlineHost.empty()) return config->onlineHost;
            return domainModeIsOne ? QUIL_GATEWAY_HOST_ONLINE_1 : QUIL_GATEWAY_HOST_ONLINE_2;
    }
}
