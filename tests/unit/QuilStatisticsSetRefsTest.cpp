#include "QuilStatisticsSetRefs.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

TEST(QuilStatisticsSetRefs, DimensionSetShowsTheNamesInOrder) {
    std::vector<std::string> names{"api", "version"};
    QuilDimensionSetRef set(&names);
    ASSERT_EQ(set.Count(), 2);
    EXPECT_STREQ(set.GetName(0), "api");
    EXPECT_STREQ(set.GetName(1), "version");
}

TEST(QuilStatisticsSetRefs, MeasureSetShowsTheNamesInOrder) {
    std::vector<std::string> names{"timeUsed"};
    QuilMeasureSetRef set(&names);
    ASSERT_EQ(set.Count(), 1);
    EXPECT_STREQ(set.GetName(0), "timeUsed");
}

TEST(QuilStatisticsSetRefs, ValueSetsShowNamesAndValuesInOrder) {
    QuilDimensionValueSetRef::Values texts{{"api", "a.b"}, {"isSync", "true"}};
    QuilMeasureValueSetRef::Values numbers{{"serverRT", 0.0}, {"requestBodySize", 17.0}};
    QuilDimensionValueSetRef dimensions(&texts);
    QuilMeasureValueSetRef measures(&numbers);
    ASSERT_EQ(dimensions.Count(), 2);
    EXPECT_STREQ(dimensions.GetName(1), "isSync");
    EXPECT_STREQ(dimensions.GetValue(1), "true");
    ASSERT_EQ(measures.Count(), 2);
    EXPECT_STREQ(measures.GetName(1), "requestBodySize");
    EXPECT_EQ(measures.GetValue(1), 17.0);
}

TEST(QuilStatisticsSetRefs, AnIndexOutOfRangeGivesEmptyTextAndZero) {
    std::vector<std::string> names{"a"};
    QuilDimensionValueSetRef::Values texts{{"k", "v"}};
    QuilMeasureValueSetRef::Values numbers{{"m", 3.0}};
    QuilDimensionSetRef dimensionNames(&names);
    QuilMeasureSetRef measureNames(&names);
    QuilDimensionValueSetRef dimensions(&texts);
    QuilMeasureValueSetRef measures(&numbers);
    EXPECT_STREQ(dimensionNames.GetName(-1), "");
    EXPECT_STREQ(dimensionNames.GetName(1), "");
    EXPECT_STREQ(measureNames.GetName(5), "");
    EXPECT_STREQ(dimensions.GetName(1), "");
    EXPECT_STREQ(dimensions.GetValue(-3), "");
    EXPECT_STREQ(measures.GetName(1), "");
    EXPECT_EQ(measures.GetValue(1), 0.0);
}

TEST(QuilStatisticsSetRefs, EmptyVectorsCountZero) {
    std::vector<std::string> names;
    QuilDimensionValueSetRef::Values texts;
    QuilDimensionSetRef set(&names);
    QuilDimensionValueSetRef values(&texts);
    EXPECT_EQ(set.Count(), 0);
    EXPECT_EQ(values.Count(), 0);
    EXPECT_STREQ(set.GetName(0), "");
}
