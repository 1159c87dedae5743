#include "Platform.h"

#include <gtest/gtest.h>

#include "NativePaths.h"

using namespace quil::platform;
using quil::test::kNativeRoot;
using quil::test::NativeJoin;
using quil::test::NativePath;

namespace {
std::wstring Wide(const std::string& ascii) { return std::wstring(ascii.begin(), ascii.end()); }
}  // namespace

TEST(Platform, OpeningAMissingLibraryFailsCleanly) {
    EXPECT_EQ(OpenLibrary(NativePath({L"nonexistent", L"folder", L"Missing.dll"})), nullptr);
    EXPECT_EQ(OpenLibrary(L""), nullptr);
    EXPECT_EQ(FindLibraryEntry(nullptr, "QueryInterface"), nullptr);
    CloseLibrary(nullptr);
}

TEST(Platform, OpensATestLibraryAndFindsItsEntry) {
    LibraryHandle library =
        OpenLibrary(NativeJoin(Wide(QUIL_TEST_FIXTURE_DIR), L"QuilLoadable.dll"));
    ASSERT_NE(library, nullptr);
    auto answer = reinterpret_cast<int (*)()>(FindLibraryEntry(library, "QuilLoadableAnswer"));
    ASSERT_NE(answer, nullptr);
    EXPECT_EQ(answer(), 42);
    EXPECT_EQ(FindLibraryEntry(library, "NoSuchEntry"), nullptr);
    CloseLibrary(library);
}

TEST(Platform, ExecutableDirectoryIsTheTestBinaryFolder) {
    EXPECT_EQ(ExecutableDirectory(), NativeJoin(Wide(QUIL_TEST_BINARY_DIR), L"bin"));
}

TEST(Platform, AppendPathReadsBackslashAsSeparatorAndFoldsParent) {
    std::wstring result;
    ASSERT_TRUE(AppendPath(NativePath({L"opt", L"host", L"bin"}), L"..\\SafeGuard\\OruSafePath.dll",
                           &result));
    EXPECT_EQ(result, NativePath({L"opt", L"host", L"SafeGuard", L"OruSafePath.dll"}));
}

TEST(Platform, AppendPathWithAnAbsolutePathReplacesTheBase) {
    std::wstring result;
    const std::wstring absolute = NativePath({L"srv", L"safe", L"OruSafePath.dll"});
    ASSERT_TRUE(AppendPath(NativePath({L"opt", L"host", L"bin"}), absolute, &result));
    EXPECT_EQ(result, absolute);
}

TEST(Platform, AppendPathFailsWhenTheResultDoesNotFitTheBuffer) {
    std::wstring result = L"untouched";
    std::wstring base = NativePath({std::wstring(250, L'a')});
    EXPECT_FALSE(AppendPath(base, L"OruSafePath.dll", &result));
    EXPECT_EQ(result, L"untouched");
    // 259 characters plus the terminator fit exactly: the root, the folder, a separator, "c".
    const std::size_t root = std::wstring(kNativeRoot).size();
    std::wstring fits = NativePath({std::wstring(259 - root - 2, L'b')});
    ASSERT_TRUE(AppendPath(fits, L"c", &result));
    EXPECT_EQ(result.size(), 259u);
    // One more character does not.
    EXPECT_FALSE(AppendPath(fits, L"cd", &result));
}

TEST(Platform, Utf8ToWideConvertsAsciiAndMultiByte) {
    EXPECT_EQ(Utf8ToWide("abc"), L"abc");
    EXPECT_EQ(Utf8ToWide(""), L"");
    // e-acute (2 bytes), euro sign (3 bytes), an emoji (4 bytes).
    std::wstring converted = Utf8ToWide("\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
    ASSERT_EQ(converted.size(), sizeof(wchar_t) == 2 ? 4u : 3u);
    EXPECT_EQ(static_cast<uint32_t>(converted[0]), 0xE9u);
    EXPECT_EQ(static_cast<uint32_t>(converted[1]), 0x20ACu);
    if (sizeof(wchar_t) == 4) {
        EXPECT_EQ(static_cast<uint32_t>(converted[2]), 0x1F600u);
    }
}

TEST(Platform, Utf8ToWideGivesEmptyForInvalidInput) {
    EXPECT_EQ(Utf8ToWide("ab\xFF"), L"");            // a byte that never starts a sequence
    EXPECT_EQ(Utf8ToWide("\xC3"), L"");              // truncated sequence
    EXPECT_EQ(Utf8ToWide("\xC0\xAF"), L"");          // overlong "/"
    EXPECT_EQ(Utf8ToWide("\xED\xA0\x80"), L"");      // a UTF-16 surrogate
    EXPECT_EQ(Utf8ToWide("\xF4\x90\x80\x80"), L"");  // above U+10FFFF
    EXPECT_EQ(Utf8ToWide("a\xE2\x82"), L"");         // truncated at the end
}

TEST(Platform, WideToUtf8RoundTrips) {
    std::string text = "caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80";
    EXPECT_EQ(WideToUtf8(Utf8ToWide(text)), text);
}

TEST(Platform, ClocksMoveForwardAndAgree) {
    int64_t before = MonotonicNanoseconds();
    int64_t after = MonotonicNanoseconds();
    EXPECT_LE(before, after);
    EXPECT_LE(MonotonicMilliseconds(), MonotonicNanoseconds() / 1000000 + 1);
    double mark = TimeMarkMilliseconds();
    EXPECT_EQ(mark, static_cast<double>(static_cast<int64_t>(mark)));  // whole milliseconds
    EXPECT_GT(WallClockSeconds(), 1700000000);
}

TEST(Platform, CallOnceRunsTheInitialisationOnce) {
    OnceFlag flag;
    int runs = 0;
    for (int i = 0; i < 3; ++i) CallOnce(flag, [&] { ++runs; });
    EXPECT_EQ(runs, 1);
}
