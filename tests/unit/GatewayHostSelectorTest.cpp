#include "GatewayHostSelector.h"

#include <gtest/gtest.h>

#include "QuilBuildConfig.h"
#include "QuilConfig.h"

namespace {

class GatewayHostSelectorTest : public ::testing::Test {
protected:
    void TearDown() override {
        config->environment = 0;
        config->onlineHost.clear();
        config->preHost.clear();
        config->dailyHost.clear();
    }
    QuilConfig* config = QuilConfig::GetInstance();
};

}  // namespace

TEST_F(GatewayHostSelectorTest, ProductionPicksTheBuiltInHostOfTheDomainMode) {
    config->environment = 0;
    EXPECT_EQ(GatewayHostSelector::Select(true), QUIL_GATEWAY_HOST_ONLINE_1);
    EXPECT_EQ(GatewayHostSelector::Select(false), QUIL_GATEWAY_HOST_ONLINE_2);
}

TEST_F(GatewayHostSelectorTest, PreReleaseAndDailyPickTheirOwnBuiltInHosts) {
    config->environment = 1;
    EXPECT_EQ(GatewayHostSelector::Select(true), QUIL_GATEWAY_HOST_PRE_1);
    EXPECT_EQ(GatewayHostSelector::Select(false), QUIL_GATEWAY_HOST_PRE_2);
    config->environment = 2;
    EXPECT_EQ(GatewayHostSelector::Select(true), QUIL_GATEWAY_HOST_DAILY_1);
    EXPECT_EQ(GatewayHostSelector::Select(false), QUIL_GATEWAY_HOST_DAILY_2);
}

TEST_F(GatewayHostSelectorTest, AnOverrideOfTheEnvironmentWinsOverBothModes) {
    config->environment = 2;
    config->dailyHost = "127.0.0.1:8080";
    config->onlineHost = "online.override";
    EXPECT_EQ(GatewayHostSelector::Select(true), "127.0.0.1:8080");
    EXPECT_EQ(GatewayHostSelector::Select(false), "127.0.0.1:8080");
    config->environment = 1;
    config->preHost = "pre.override";
    EXPECT_EQ(GatewayHostSelector::Select(false), "pre.override");
    config->environment = 0;
    EXPECT_EQ(GatewayHostSelector::Select(true), "online.override");
}

TEST_F(GatewayHostSelectorTest, AnUnknownEnvironmentCountsAsProduction) {
    for (int environment : {-1, 3, 99}) {
        config->environment = environment;
        EXPECT_EQ(GatewayHostSelector::Select(true), QUIL_GATEWAY_HOST_ONLINE_1) << environment;
    }
    config->environment = 7;
    config->dailyHost = "daily.override";
    EXPECT_EQ(GatewayHostSelector::Select(true), QUIL_GATEWAY_HOST_ONLINE_1);
}
