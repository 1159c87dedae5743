// What only the Windows build has: UTF-16 wide text from MultiByteToWideChar, PathAppendW's
// rules, and the closed library found beside the executable through backslash paths.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Platform.h"
#include "QuilConfig.h"
#include "QuilSecurityProxies.h"
#include "SignComponentLoader.h"
#include "StandInControl.h"

using namespace quil::platform;

namespace {

std::vector<uint32_t> Units(const std::wstring& text) {
    std::vector<uint32_t> units;
    for (wchar_t c : text) units.push_back(static_cast<uint32_t>(c));
    return units;
}

std::wstring Wide(const std::string& ascii) { return std::wstring(ascii.begin(), ascii.end()); }

}  // namespace

TEST(PlatformWindows, WideCharactersAreUtf16CodeUnits) { EXPECT_EQ(sizeof(wchar_t), 2u); }

TEST(PlatformWindows, Utf8ToWideTurnsCharactersAboveTheBasicPlaneIntoSurrogatePairs) {
    EXPECT_EQ(Units(Utf8ToWide("\xF0\x9F\x98\x80")), (std::vector<uint32_t>{0xD83D, 0xDE00}));
    EXPECT_EQ(Units(Utf8ToWide("\xF0\x90\x80\x80")), (std::vector<uint32_t>{0xD800, 0xDC00}));
    EXPECT_EQ(Units(Utf8ToWide("\xF4\x8F\xBF\xBF")), (std::vector<uint32_t>{0xDBFF, 0xDFFF}));
    // Basic-plane characters stay one unit each.
    EXPECT_EQ(Units(Utf8ToWide("a\xC3\xA9\xE2\x82\xAC")),
              (std::vector<uint32_t>{0x61, 0xE9, 0x20AC}));
}

TEST(PlatformWindows, Utf8ToWideRejectsEncodedSurrogatesEvenWhenTheyPair) {
    // A pair encoded half by half (CESU-8) is not UTF-8.
    EXPECT_EQ(Utf8ToWide("\xED\xA0\xBD\xED\xB8\x80"), L"");
    EXPECT_EQ(Utf8ToWide("x\xED\xB8\x80"), L"");
}

TEST(PlatformWindows, Utf8ToWideKeepsEmbeddedNulsAndTheWholeLength) {
    const std::string text("a\0b", 3);
    EXPECT_EQ(Units(Utf8ToWide(text)), (std::vector<uint32_t>{0x61, 0, 0x62}));
    const std::string many(5000, 'z');
    EXPECT_EQ(Utf8ToWide(many), std::wstring(5000, L'z'));
}

TEST(PlatformWindows, WideToUtf8JoinsSurrogatePairsAndReplacesALoneHalf) {
    EXPECT_EQ(WideToUtf8(std::wstring{wchar_t(0xD83D), wchar_t(0xDE00)}), "\xF0\x9F\x98\x80");
    EXPECT_EQ(WideToUtf8(std::wstring{L'a', wchar_t(0xD83D)}), "a\xEF\xBF\xBD");
}

TEST(PlatformWindows, ExecutableDirectoryIsADrivePathWithBackslashes) {
    const std::wstring directory = ExecutableDirectory();
    ASSERT_GE(directory.size(), 3u);
    EXPECT_EQ(directory.substr(1, 2), L":\\");
    EXPECT_EQ(directory.find(L'/'), std::wstring::npos);
    EXPECT_EQ(directory.substr(directory.size() - 4), L"\\bin");
}

TEST(PlatformWindows, AppendPathDropsLeadingBackslashesOfTheAddedPart) {
    std::wstring result;
    ASSERT_TRUE(AppendPath(L"C:\\host\\bin", L"\\SafeGuard\\OruSafePath.dll", &result));
    EXPECT_EQ(result, L"C:\\host\\bin\\SafeGuard\\OruSafePath.dll");
}

TEST(PlatformWindows, AppendPathWithADriveOrAShareReplacesTheBase) {
    std::wstring result;
    ASSERT_TRUE(AppendPath(L"C:\\host\\bin", L"D:\\safe\\OruSafePath.dll", &result));
    EXPECT_EQ(result, L"D:\\safe\\OruSafePath.dll");
    ASSERT_TRUE(AppendPath(L"C:\\host\\bin", L"\\\\server\\share\\OruSafePath.dll", &result));
    EXPECT_EQ(result, L"\\\\server\\share\\OruSafePath.dll");
}

TEST(PlatformWindows, AppendPathStopsParentFoldingAtTheDriveRoot) {
    std::wstring result;
    ASSERT_TRUE(AppendPath(L"C:\\bin", L"..\\..\\SafeGuard\\OruSafePath.dll", &result));
    EXPECT_EQ(result, L"C:\\SafeGuard\\OruSafePath.dll");
}

TEST(PlatformWindows, AppendPathFailsOnAWholePathLongerThanTheBufferInsteadOfCuttingIt) {
    std::wstring result = L"untouched";
    EXPECT_FALSE(AppendPath(L"C:\\host", L"D:\\" + std::wstring(300, L'a') + L".dll", &result));
    EXPECT_FALSE(AppendPath(L"C:\\" + std::wstring(300, L'a'), L"OruSafePath.dll", &result));
    EXPECT_EQ(result, L"untouched");
}

TEST(PlatformWindows, DefaultSecurityPathResolvesWithBackslashesBesideTheExecutable) {
    std::wstring path;
    ASSERT_TRUE(AppendPath(ExecutableDirectory(), L"..\\SafeGuard\\OruSafePath.dll", &path));
    EXPECT_EQ(path.find(L'/'), std::wstring::npos);
    EXPECT_EQ(path, Wide(quil::StandInControl::DefaultPathFile()));
}

TEST(PlatformWindows, LoaderOpensThePathComponentThroughTheRelativeBackslashPath) {
    quil::StandInControl control;
    ASSERT_TRUE(control.Loaded());
    control.Reset();
    ISecurityPathProxy* proxy = nullptr;
    LibraryHandle handle = nullptr;
    ASSERT_TRUE(LoadSignComponent(L"..\\SafeGuard\\OruSafePath.dll", kSecurityPathProxyNumber,
                                  &proxy, &handle));
    EXPECT_NE(proxy, nullptr);
    EXPECT_NE(handle, nullptr);
    // The same loaded copy that the control opened by its full path answers.
    EXPECT_EQ(control.RequestedNumbers(), (std::vector<int>{kSecurityPathProxyNumber}));
    std::vector<wchar_t> buffer(1024, L'\0');
    const wchar_t* names[] = {L"OruSafeProxy.dll"};
    ASSERT_NE(proxy->GetSDKDirectoryPath(buffer.data(), 1024, names, 1), 0);
    EXPECT_EQ(std::wstring(buffer.data()), Wide(quil::StandInControl::DefaultDirectory()));
    control.Reset();
}
