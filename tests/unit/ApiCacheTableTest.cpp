#include "ApiCacheTable.h"

#include <gtest/gtest.h>

#include <string>

TEST(ApiCacheTable, IsOneInstanceAndStartsEmpty) {
    ApiCacheTable* table = ApiCacheTable::GetInstance();
    EXPECT_EQ(table, ApiCacheTable::GetInstance());
    EXPECT_EQ(table->Size(), 0u);
}

TEST(ApiCacheTable, AnEmptyKeyAnswersNullAtOnceAndLeavesNoEntry) {
    ApiCacheTable* table = ApiCacheTable::GetInstance();
    EXPECT_EQ(table->Find(""), nullptr);
    EXPECT_EQ(table->Size(), 0u);
}

TEST(ApiCacheTable, AnUnknownKeyLeavesAnEntryWithoutConfig) {
    ApiCacheTable* table = ApiCacheTable::GetInstance();
    EXPECT_EQ(table->Find("mtop.a$1.0"), nullptr);
    EXPECT_EQ(table->Size(), 1u);
    EXPECT_EQ(table->Find("mtop.a$1.0"), nullptr);
    EXPECT_EQ(table->Size(), 1u);
}

TEST(ApiCacheTable, AKnownKeyGivesACopyOfItsConfig) {
    ApiCacheTable* table = ApiCacheTable::GetInstance();
    ApiCacheConfig config;
    config.blockName = "block";
    config.keepVersion = true;
    table->Insert("mtop.a$1.0", config);
    std::unique_ptr<ApiCacheConfig> found = table->Find("mtop.a$1.0");
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->blockName, "block");
    EXPECT_TRUE(found->keepVersion);
    // Keys are exact.
    EXPECT_EQ(table->Find("MTOP.A$1.0"), nullptr);
}

TEST(ApiCacheTable, ARememberedMissCanBeConfiguredLater) {
    ApiCacheTable* table = ApiCacheTable::GetInstance();
    EXPECT_EQ(table->Find("mtop.b$1.0"), nullptr);
    ApiCacheConfig config;
    config.blockName = "b";
    table->Insert("mtop.b$1.0", config);
    EXPECT_EQ(table->Size(), 1u);
    ASSERT_NE(table->Find("mtop.b$1.0"), nullptr);
}

TEST(ApiCacheTable, LookupsOfUnknownKeysDoNotGrowItWithoutBound) {
    ApiCacheTable* table = ApiCacheTable::GetInstance();
    const std::size_t tries = ApiCacheTable::kMaxUnknownKeys + 100;
    for (std::size_t i = 0; i < tries; ++i) {
        EXPECT_EQ(table->Find("mtop.unknown" + std::to_string(i) + "$1.0"), nullptr);
    }
    EXPECT_EQ(table->Size(), ApiCacheTable::kMaxUnknownKeys);
    // A configured key still finds its config past the bound.
    ApiCacheConfig config;
    config.blockName = "late";
    table->Insert("mtop.late$1.0", config);
    ASSERT_NE(table->Find("mtop.late$1.0"), nullptr);
    EXPECT_EQ(table->Find("mtop.late$1.0")->blockName, "late");
}
