#include "CacheNumber.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>

TEST(CacheNumber, ReadsDecimalOctalAndHexadecimalAsStrtolWithBaseZero) {
    EXPECT_EQ(CacheNumber::Read("120"), 120);
    EXPECT_EQ(CacheNumber::Read("010"), 8);
    EXPECT_EQ(CacheNumber::Read("0x1F"), 31);
    EXPECT_EQ(CacheNumber::Read("0X1f"), 31);
    EXPECT_EQ(CacheNumber::Read("  -42"), -42);
    EXPECT_EQ(CacheNumber::Read("+7s"), 7);
}

TEST(CacheNumber, TextWithoutANumberReadsAsZero) {
    EXPECT_EQ(CacheNumber::Read(""), 0);
    EXPECT_EQ(CacheNumber::Read("=60"), 0);
    EXPECT_EQ(CacheNumber::Read("Wed, 21 Oct 2026"), 0);
    EXPECT_EQ(CacheNumber::Read("0x"), 0);
    EXPECT_EQ(CacheNumber::Read("09"), 0);
}

TEST(CacheNumber, ReadingStopsAtAZeroByte) {
    EXPECT_EQ(CacheNumber::Read(std::string("12\0"
                                            "34",
                                            5)),
              12);
}

TEST(CacheNumber, HugeValuesAreHeldToThirtyTwoBits) {
    EXPECT_EQ(CacheNumber::Read("2147483647"), INT32_MAX);
    EXPECT_EQ(CacheNumber::Read("2147483648"), INT32_MAX);
    EXPECT_EQ(CacheNumber::Read("-2147483648"), INT32_MIN);
    EXPECT_EQ(CacheNumber::Read("-2147483649"), INT32_MIN);
    EXPECT_EQ(CacheNumber::Read("0xFFFFFFFFFFFFFFFFFFFF"), INT32_MAX);
    EXPECT_EQ(CacheNumber::Read(std::string(400, '9')), INT32_MAX);
}

TEST(CacheNumber, WrappingSumWrapsBothWays) {
    EXPECT_EQ(CacheNumber::WrappingSum(2, 3), 5);
    EXPECT_EQ(CacheNumber::WrappingSum(-5, 3), -2);
    EXPECT_EQ(CacheNumber::WrappingSum(INT32_MAX, 1), INT32_MIN);
    EXPECT_EQ(CacheNumber::WrappingSum(INT32_MIN, -1), INT32_MAX);
    EXPECT_EQ(CacheNumber::WrappingSum(INT32_MIN, INT32_MIN), 0);
    EXPECT_EQ(CacheNumber::WrappingSum(INT32_MAX, INT32_MAX), -2);
}
