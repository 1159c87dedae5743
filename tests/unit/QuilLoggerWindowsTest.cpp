// The logger cuts a Windows source path after its last backslash, as the compiler of a Windows
// build hands it over in __FILE__.
#include <gtest/gtest.h>

#include "QuilLogger.h"
#include "RecordingLog.h"

namespace {
void LogFromAWindowsSourcePath();
}  // namespace

TEST(QuilLoggerWindows, FileNameOfAWindowsSourcePathIsCutAfterTheLastBackslash) {
    quil::test::ScopedRecordingLog log;
    LogFromAWindowsSourcePath();
    ASSERT_EQ(log->Count(), 1u);
    const quil::test::LogLine line = log->Lines()[0];
    EXPECT_EQ(line.file, "FilterManager.cpp");
    EXPECT_EQ(line.function, "LogFromAWindowsSourcePath");
    EXPECT_EQ(line.line, 39);
    EXPECT_EQ(line.message, "from windows");
    EXPECT_EQ(line.level, QUIL_LOG_INFO);
}

namespace {
// Last in the file: from here on the compiler names this source as a Windows build would.
#line 39 "C:\\build\\quilsdk\\sdk\\Filter\\FilterManager.cpp"
void LogFromAWindowsSourcePath() { QUIL_LOG(QUIL_LOG_INFO, "from %s", "windows"); }
}  // namespace
