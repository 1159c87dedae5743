#include "QuilLogger.h"

#include <gtest/gtest.h>

#include <string>

#include "RecordingLog.h"

using quil::test::RecordingLog;

namespace {

class QuilLoggerTest : public ::testing::Test {
protected:
    void SetUp() override {
        QuilLogger::SetMinimumLevel(0);
        QuilLogger::SetSink(&log_);
    }
    void TearDown() override { QuilLogger::SetSink(nullptr); }
    RecordingLog log_;
};

}  // namespace

TEST(QuilLoggerDefaults, StartsWithNoSinkAndLevelZero) {
    EXPECT_EQ(QuilLogger::Sink(), nullptr);
    EXPECT_EQ(QuilLogger::MinimumLevel(), 0);
    EXPECT_FALSE(QuilLogger::IsEnabled(QUIL_LOG_FATAL));
}

TEST(QuilLoggerDefaults, WritingWithoutASinkFormatsNothing) {
    int written = -1;
    QuilLogger::Write(QUIL_LOG_ERROR, __FILE__, __func__, __LINE__, "abc%n", &written);
    EXPECT_EQ(written, -1);
}

TEST_F(QuilLoggerTest, HandsLevelFileFunctionLineAndMessageToTheSink) {
    int line = __LINE__ + 1;
    QUIL_LOG(QUIL_LOG_WARN, "value %d of %s", 7, "seven");
    ASSERT_EQ(log_.Count(), 1u);
    quil::test::LogLine entry = log_.Lines()[0];
    EXPECT_EQ(entry.level, QUIL_LOG_WARN);
    EXPECT_EQ(entry.file, "QuilLoggerTest.cpp");
    EXPECT_EQ(entry.function, "TestBody");
    EXPECT_EQ(entry.line, line);
    EXPECT_EQ(entry.message, "value 7 of seven");
}

TEST_F(QuilLoggerTest, WritesBelowTheMinimumLevelAreDroppedUnformatted) {
    QuilLogger::SetMinimumLevel(QUIL_LOG_ERROR);
    int written = -1;
    QuilLogger::Write(QUIL_LOG_WARN, __FILE__, __func__, __LINE__, "abc%n", &written);
    EXPECT_EQ(written, -1);
    EXPECT_EQ(log_.Count(), 0u);
    QuilLogger::Write(QUIL_LOG_ERROR, __FILE__, __func__, __LINE__, "abc%n", &written);
    EXPECT_EQ(written, 3);
    EXPECT_TRUE(log_.Has("abc", QUIL_LOG_ERROR));
}

TEST_F(QuilLoggerTest, ATextOf4095BytesPassesWhole) {
    std::string text(4095, 'x');
    QUIL_LOG(QUIL_LOG_INFO, "%s", text.c_str());
    EXPECT_EQ(log_.Lines().at(0).message, text);
}

TEST_F(QuilLoggerTest, ATextOf4096BytesIsCutTo4095AndDots) {
    std::string text(4095, 'x');
    text += 'y';
    QUIL_LOG(QUIL_LOG_INFO, "%s", text.c_str());
    EXPECT_EQ(log_.Lines().at(0).message, std::string(4095, 'x') + "...");
}

TEST_F(QuilLoggerTest, AVeryLongTextIsCutTo4095AndDots) {
    std::string text(100000, 'z');
    QUIL_LOG(QUIL_LOG_INFO, "%s!", text.c_str());
    EXPECT_EQ(log_.Lines().at(0).message, std::string(4095, 'z') + "...");
}

TEST_F(QuilLoggerTest, FilePathIsCutAfterTheLastSeparator) {
    QuilLogger::Write(1, "C:\\work\\sdk\\Core\\src\\QuilServiceImpl.cpp", "SyncCall", 12, "a");
    QuilLogger::Write(1, "/home/dev/sdk/Filter/FilterManager.cpp", "DoBefore", 13, "b");
    QuilLogger::Write(1, "mixed/dir\\NetworkManager.cpp", "SendSyncHttpRequest", 14, "c");
    QuilLogger::Write(1, "Bare.cpp", "Bare", 15, "d");
    std::vector<quil::test::LogLine> lines = log_.Lines();
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines[0].file, "QuilServiceImpl.cpp");
    EXPECT_EQ(lines[1].file, "FilterManager.cpp");
    EXPECT_EQ(lines[2].file, "NetworkManager.cpp");
    EXPECT_EQ(lines[3].file, "Bare.cpp");
}

namespace {
void DomainDispatch() { QUIL_LOG(QUIL_LOG_INFO, "dispatching"); }
}  // namespace

TEST_F(QuilLoggerTest, FunctionNameIsThePlainName) {
    DomainDispatch();
    EXPECT_EQ(log_.Find("dispatching").function, "DomainDispatch");
}

TEST_F(QuilLoggerTest, AsNamesTheGivenFunction) {
    QUIL_LOG_AS("ExecuteHttpRequest", QUIL_LOG_INFO, "sent");
    EXPECT_EQ(log_.Find("sent").function, "ExecuteHttpRequest");
}

TEST_F(QuilLoggerTest, ANullSinkStopsWriting) {
    QUIL_LOG(QUIL_LOG_INFO, "first");
    QuilLogger::SetSink(nullptr);
    int written = -1;
    QuilLogger::Write(QUIL_LOG_FATAL, __FILE__, __func__, __LINE__, "x%n", &written);
    EXPECT_EQ(written, -1);
    EXPECT_EQ(log_.Messages(), std::vector<std::string>{"first"});
}
