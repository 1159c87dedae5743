#include "MetricsEntity.h"

#include <gtest/gtest.h>

#include <cmath>

TEST(MetricsEntity, TextsStartEmpty) {
    MetricsEntity entity;
    EXPECT_EQ(entity.api, "");
    EXPECT_EQ(entity.version, "");
    EXPECT_EQ(entity.domain, "");
    EXPECT_EQ(entity.errorCode, "");
    EXPECT_EQ(entity.protocolVersion, "");
    EXPECT_EQ(entity.method, "");
}

TEST(MetricsEntity, FlagsStartFalse) {
    MetricsEntity entity;
    EXPECT_FALSE(entity.isSync);
    EXPECT_FALSE(entity.isSSL);
    EXPECT_FALSE(entity.useProxy);
}

TEST(MetricsEntity, IntegersStartAtMinusOne) {
    MetricsEntity entity;
    EXPECT_EQ(entity.retryTime, -1);
    EXPECT_EQ(entity.retType, -1);
    EXPECT_EQ(entity.httpStatusCode, -1);
    EXPECT_EQ(entity.serverRT, -1);
    EXPECT_EQ(entity.requestUrlLength, -1);
    EXPECT_EQ(entity.requestHeaderSize, -1);
    EXPECT_EQ(entity.requestBodySize, -1);
    EXPECT_EQ(entity.responseHeaderSize, -1);
    EXPECT_EQ(entity.responseBodySize, -1);
}

TEST(MetricsEntity, EveryTimeMarkStartsAtMinusOne) {
    MetricsEntity entity;
    const double marks[] = {entity.processStartTime,
                            entity.processEndTime,
                            entity.beforeFilterStartTime,
                            entity.beforeFilterEndTime,
                            entity.interceptRequestStartTime,
                            entity.interceptRequestEndTime,
                            entity.composeRequestStartTime,
                            entity.composeRequestEndTime,
                            entity.signStartTime,
                            entity.signEndTime,
                            entity.getCookieStartTime,
                            entity.getCookieEndTime,
                            entity.networkSendStartTime,
                            entity.networkSendEndTime,
                            entity.parseResponseStartTime,
                            entity.parseResponseEndTime,
                            entity.afterFilterStartTime,
                            entity.afterFilterEndTime,
                            entity.interceptResponseStartTime,
                            entity.interceptResponseEndTime,
                            entity.processContentStartTime,
                            entity.processContentEndTime};
    ASSERT_EQ(sizeof(marks) / sizeof(marks[0]), 22u);
    for (double mark : marks) EXPECT_EQ(mark, -1.0);
}

TEST(MetricsEntity, NowIsAWholeMillisecondMarkThatNeverGoesBack) {
    double first = MetricsEntity::Now();
    double second = MetricsEntity::Now();
    EXPECT_EQ(first, std::floor(first));
    EXPECT_GE(first, 0.0);
    EXPECT_GE(second, first);
}
