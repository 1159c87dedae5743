#include "SaturatingArithmetic.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

namespace {

constexpr int64_t kMax = std::numeric_limits<int64_t>::max();
constexpr int64_t kMin = std::numeric_limits<int64_t>::min();

TEST(SaturatingArithmeticTest, AddsWithinTheRange) {
    EXPECT_EQ(SaturatingArithmetic::Add(1795477513, 7200), 1795484713);
    EXPECT_EQ(SaturatingArithmetic::Add(1795477513, -1795477513), 0);
    EXPECT_EQ(SaturatingArithmetic::Add(kMax - 1, 1), kMax);
    EXPECT_EQ(SaturatingArithmetic::Add(kMin + 1, -1), kMin);
}

TEST(SaturatingArithmeticTest, ASumBeyondTheLimitsStopsThere) {
    // The offset a server answering "x-systime: 9223372036854775807" teaches, added to a later
    // clock reading.
    EXPECT_EQ(SaturatingArithmetic::Add(1795477513, kMax - 1795477000), kMax);
    EXPECT_EQ(SaturatingArithmetic::Add(kMax, kMax), kMax);
    EXPECT_EQ(SaturatingArithmetic::Add(-5, kMin), kMin);
    EXPECT_EQ(SaturatingArithmetic::Add(kMin, kMin), kMin);
}

TEST(SaturatingArithmeticTest, SubtractsWithinTheRange) {
    EXPECT_EQ(SaturatingArithmetic::Subtract(1795484713, 1795477513), 7200);
    EXPECT_EQ(SaturatingArithmetic::Subtract(0, 1795477513), -1795477513);
    EXPECT_EQ(SaturatingArithmetic::Subtract(kMin + 1, 1), kMin);
    EXPECT_EQ(SaturatingArithmetic::Subtract(kMax - 1, -1), kMax);
}

TEST(SaturatingArithmeticTest, ADifferenceBeyondTheLimitsStopsThere) {
    // "x-systime: -9223372036854775808" less the present time.
    EXPECT_EQ(SaturatingArithmetic::Subtract(kMin, 1795477513), kMin);
    EXPECT_EQ(SaturatingArithmetic::Subtract(kMax, -1), kMax);
    EXPECT_EQ(SaturatingArithmetic::Subtract(0, kMin), kMax);
    EXPECT_EQ(SaturatingArithmetic::Subtract(-1, kMin), kMax);
}

}  // namespace
