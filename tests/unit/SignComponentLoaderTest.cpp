// The closed library's loader, through the real loading path: the stand-in security library
// built into the SafeGuard folder beside bin/, opened by the wrappers exactly as a host would.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "FakeWebBrowserProxy.h"
#include "JsonUrlSign.h"
#include "QuilConfig.h"
#include "SecurityComponents.h"
#include "SelfProtect.h"
#include "SignComponentLoader.h"
#include "StandInControl.h"
#include "TrafficFilter.h"
#include "UrlSign.h"

namespace {

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

const std::string kLoadError = "Load OruSafePath.dll error\n";
const std::string kDirectoryError =
    "GetSDKDirectoryPath error,please make sure the SDK is installed\n";

std::wstring Wide(const std::string& text) { return std::wstring(text.begin(), text.end()); }

std::string Directory() { return quil::StandInControl::DefaultDirectory(); }

// The platform's separator: the path append joins with it.
const std::string kSeparator = quil::StandInControl::Separator();

std::string FullPathLine() {
    return "The full path to OruSafeProxy.dll is:\n[" + Directory() + kSeparator +
           "OruSafeProxy.dll]\n";
}

std::string InstallPathLine(const std::string& directory) {
    return "SecuritySDK install path: " + directory + "\n";
}

class SignComponentLoader : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(control.Loaded()) << "stand-in not found in " << Directory();
        control.Reset();
        QuilConfig* config = QuilConfig::GetInstance();
        config->securityPathFile = L"..\\SafeGuard\\OruSafePath.dll";
        config->securityEnabled = true;
        config->webBrowserProxy = nullptr;
    }
    void TearDown() override { control.Reset(); }

    quil::StandInControl control;
};

TEST_F(SignComponentLoader, NoFileAtSecurityPathPrintsLoadErrorForEachLoadAndLeavesAllNull) {
    QuilConfig::GetInstance()->securityPathFile = L"..\\SafeGuard\\Missing.dll";
    SecurityComponents components;
    CaptureStdout();
    components.Load();
    EXPECT_EQ(GetCapturedStdout(), kLoadError + kLoadError + kLoadError + InstallPathLine(""));
    EXPECT_EQ(components.selfProtect.proxy, nullptr);
    EXPECT_EQ(components.jsonUrlSign.proxy, nullptr);
    EXPECT_EQ(components.jsonUrlSign.errorCode, nullptr);
    EXPECT_EQ(components.urlSign.proxy, nullptr);
    EXPECT_EQ(components.urlSign.errorCode, nullptr);
    EXPECT_EQ(components.trafficFilter.proxy, nullptr);
    EXPECT_EQ(components.trafficFilter.errorCode, nullptr);
    EXPECT_TRUE(control.RequestedNumbers().empty());
}

TEST_F(SignComponentLoader, EmptySecurityPathFallsBackOnTheLiteralDefault) {
    QuilConfig::GetInstance()->securityPathFile = L"";
    UrlSign urlSign;
    CaptureStdout();
    EXPECT_TRUE(urlSign.Load());
    EXPECT_EQ(GetCapturedStdout(), FullPathLine());
    EXPECT_NE(urlSign.proxy, nullptr);
    EXPECT_EQ(control.Count("path.getDirectory"), 1);
}

TEST_F(SignComponentLoader, DefaultPathResolvesBesideTheExecutableFolder) {
    std::wstring path;
    ASSERT_TRUE(quil::platform::AppendPath(quil::platform::ExecutableDirectory(),
                                           kDefaultSecurityPathFile, &path));
    EXPECT_EQ(path, Wide(quil::StandInControl::DefaultPathFile()));
}

TEST_F(SignComponentLoader, AnAbsoluteSecurityPathIsUsedAsItStands) {
    QuilConfig::GetInstance()->securityPathFile = Wide(quil::StandInControl::DefaultPathFile());
    JsonUrlSign jsonUrlSign;
    CaptureStdout();
    EXPECT_TRUE(jsonUrlSign.Load());
    EXPECT_EQ(GetCapturedStdout(), FullPathLine());
    EXPECT_NE(jsonUrlSign.proxy, nullptr);
}

TEST_F(SignComponentLoader, UrlSignBindsErrorCodeAndProxyAndStartsIt) {
    UrlSign urlSign;
    CaptureStdout();
    EXPECT_TRUE(urlSign.Load());
    EXPECT_EQ(GetCapturedStdout(), FullPathLine());
    EXPECT_NE(urlSign.proxy, nullptr);
    EXPECT_NE(urlSign.proxyLibrary, nullptr);
    EXPECT_NE(urlSign.errorCode, nullptr);
    EXPECT_NE(urlSign.errorCodeLibrary, nullptr);
    EXPECT_EQ(control.Count("urlSign.start"), 1);
    EXPECT_EQ(control.RequestedNumbers(), (std::vector<int>{272, 273, 277}));
}

TEST_F(SignComponentLoader, PathComponentIsGivenTheFiveFileNamesInOrderAndCapacity1024) {
    JsonUrlSign jsonUrlSign;
    CaptureStdout();
    jsonUrlSign.Load();
    GetCapturedStdout();
    EXPECT_EQ(control.Texts("path.fileName"),
              (std::vector<std::string>{"OruSafeProxy.dll", "SignBox.dll", "RqSign.dll",
                                        "Report.dll", "NetCore.dll"}));
    EXPECT_EQ(control.Texts("path.capacity"), (std::vector<std::string>{"1024"}));
    EXPECT_EQ(control.RequestedNumbers(), (std::vector<int>{272, 273, 297}));
    EXPECT_EQ(control.Count("jsonSign.start"), 1);
}

TEST_F(SignComponentLoader, SecurityDisabledNeverAsksForTheTrafficFilter) {
    QuilConfig::GetInstance()->securityEnabled = false;
    SecurityComponents components;
    CaptureStdout();
    components.Load();
    EXPECT_EQ(GetCapturedStdout(), FullPathLine() + FullPathLine());
    EXPECT_EQ(control.RequestedNumbers(), (std::vector<int>{272, 272, 273, 297, 273, 277}));
    EXPECT_EQ(components.trafficFilter.proxy, nullptr);
    EXPECT_EQ(control.Count("traffic.start"), 0);
}

TEST_F(SignComponentLoader, SecurityEnabledLoadsInOrderJsonThenUrlThenTraffic) {
    SecurityComponents components;
    CaptureStdout();
    components.Load();
    EXPECT_EQ(GetCapturedStdout(),
              FullPathLine() + FullPathLine() + InstallPathLine(Directory()) + FullPathLine());
    EXPECT_EQ(control.RequestedNumbers(),
              (std::vector<int>{272, 272, 272, 273, 297, 273, 277, 273, 299}));
    EXPECT_NE(components.trafficFilter.proxy, nullptr);
    EXPECT_EQ(control.Count("traffic.start"), 1);
    EXPECT_EQ(components.selfProtect.proxy, nullptr);
}

TEST_F(SignComponentLoader, WithoutBrowserProxyNothingIsRegisteredAndNoStartLine) {
    TrafficFilter trafficFilter;
    CaptureStdout();
    EXPECT_TRUE(trafficFilter.Load());
    EXPECT_EQ(GetCapturedStdout(), InstallPathLine(Directory()) + FullPathLine());
    EXPECT_EQ(control.Count("traffic.register"), 0);
    EXPECT_EQ(control.Count("traffic.start"), 1);
}

TEST_F(SignComponentLoader, BrowserProxyIsRegisteredAndItsResultPrinted) {
    quil::test::FakeWebBrowserProxy browser;
    QuilConfig::GetInstance()->RegisterWKWebBrowserProxy(&browser);
    control.SetInt("traffic.registerResult", 7);
    control.SetInt("traffic.registerOut", 4000000000LL);
    TrafficFilter trafficFilter;
    CaptureStdout();
    EXPECT_TRUE(trafficFilter.Load());
    EXPECT_EQ(GetCapturedStdout(),
              InstallPathLine(Directory()) + FullPathLine() +
                  "START SECURITY traffic-filter-proxy: 7, register webbrowser proxy: "
                  "4000000000\n");
    EXPECT_EQ(control.Texts("traffic.browserProxy"),
              (std::vector<std::string>{std::to_string(
                  reinterpret_cast<uintptr_t>(static_cast<IWKWebBrowserProxy*>(&browser)))}));
}

TEST_F(SignComponentLoader, FailingDirectoryLookupPrintsItsErrorAndLoadsNothing) {
    control.SetInt("path.fail", 1);
    SecurityComponents components;
    CaptureStdout();
    components.Load();
    EXPECT_EQ(GetCapturedStdout(),
              kDirectoryError + kDirectoryError + kDirectoryError + InstallPathLine(""));
    EXPECT_EQ(components.jsonUrlSign.proxy, nullptr);
    EXPECT_EQ(components.urlSign.proxy, nullptr);
    EXPECT_EQ(components.trafficFilter.proxy, nullptr);
    EXPECT_EQ(control.RequestedNumbers(), (std::vector<int>{272, 272, 272}));
}

TEST_F(SignComponentLoader, RefusedPathInterfacePrintsLoadError) {
    control.SetInt("refuseInterface", 272);
    UrlSign urlSign;
    CaptureStdout();
    EXPECT_FALSE(urlSign.Load());
    EXPECT_EQ(GetCapturedStdout(), kLoadError);
}

TEST_F(SignComponentLoader, RefusedErrorCodeStopsTheLoadBeforeTheProxy) {
    control.SetInt("refuseInterface", 273);
    UrlSign urlSign;
    CaptureStdout();
    EXPECT_FALSE(urlSign.Load());
    EXPECT_EQ(GetCapturedStdout(), FullPathLine() + "Get IErrorCode error\n");
    EXPECT_EQ(urlSign.errorCode, nullptr);
    EXPECT_EQ(urlSign.errorCodeLibrary, nullptr);
    EXPECT_EQ(urlSign.proxy, nullptr);
    EXPECT_EQ(control.RequestedNumbers(), (std::vector<int>{272, 273}));
}

TEST_F(SignComponentLoader, RefusedUrlSignInterfaceKeepsTheErrorCode) {
    control.SetInt("refuseInterface", 277);
    UrlSign urlSign;
    CaptureStdout();
    EXPECT_FALSE(urlSign.Load());
    EXPECT_EQ(GetCapturedStdout(), FullPathLine() + "Get IUrlSignProxy error\n");
    EXPECT_NE(urlSign.errorCode, nullptr);
    EXPECT_EQ(urlSign.proxy, nullptr);
    EXPECT_EQ(urlSign.proxyLibrary, nullptr);
    EXPECT_EQ(control.Count("urlSign.start"), 0);
}

TEST_F(SignComponentLoader, RefusedJsonSignInterfacePrintsTheUrlSignWords) {
    control.SetInt("refuseInterface", 297);
    JsonUrlSign jsonUrlSign;
    CaptureStdout();
    EXPECT_FALSE(jsonUrlSign.Load());
    EXPECT_EQ(GetCapturedStdout(), FullPathLine() + "Get IUrlSignProxy error\n");
    EXPECT_EQ(jsonUrlSign.proxy, nullptr);
}

TEST_F(SignComponentLoader, RefusedTrafficInterfacePrintsTrafficError) {
    control.SetInt("refuseInterface", 299);
    TrafficFilter trafficFilter;
    CaptureStdout();
    EXPECT_FALSE(trafficFilter.Load());
    EXPECT_EQ(GetCapturedStdout(),
              InstallPathLine(Directory()) + FullPathLine() + "Get TrafficFIlter error\n");
    EXPECT_EQ(trafficFilter.proxy, nullptr);
    EXPECT_EQ(control.Count("traffic.start"), 0);
}

TEST_F(SignComponentLoader, AnAnswerWithoutPointerCountsAsRefused) {
    control.SetInt("queryInterface.nullPointer", 1);
    UrlSign urlSign;
    CaptureStdout();
    EXPECT_FALSE(urlSign.Load());
    EXPECT_EQ(GetCapturedStdout(), kLoadError);
}

TEST_F(SignComponentLoader, SecondLoadStartsAgainWithoutAskingAgain) {
    UrlSign urlSign;
    CaptureStdout();
    EXPECT_TRUE(urlSign.Load());
    IUrlSignProxy* first = urlSign.proxy;
    EXPECT_TRUE(urlSign.Load());
    EXPECT_EQ(GetCapturedStdout(), FullPathLine() + FullPathLine());
    EXPECT_EQ(urlSign.proxy, first);
    EXPECT_EQ(control.Count("urlSign.start"), 2);
    EXPECT_EQ(control.RequestedNumbers(), (std::vector<int>{272, 272, 273, 277}));
}

TEST_F(SignComponentLoader, ASecurityPathLongerThanAPathBufferFailsTheLoad) {
    QuilConfig::GetInstance()->securityPathFile = L"/" + std::wstring(300, L'a') + L".dll";
    UrlSign urlSign;
    CaptureStdout();
    EXPECT_FALSE(urlSign.Load());
    EXPECT_EQ(GetCapturedStdout(), kLoadError);
}

TEST_F(SignComponentLoader, ADirectoryTooLongForAPathBufferLeavesThePathEmpty) {
    const std::string longDirectory = "/" + std::string(300, 'd');
    control.SetText("path.directory", longDirectory.c_str());
    UrlSign urlSign;
    CaptureStdout();
    EXPECT_FALSE(urlSign.Load());
    EXPECT_EQ(GetCapturedStdout(),
              "The full path to OruSafeProxy.dll is:\n[]\nGet IErrorCode error\n");
    EXPECT_EQ(urlSign.errorCode, nullptr);
}

TEST_F(SignComponentLoader, ADirectoryFillingTheWholeBufferIsReadNoFurther) {
    control.SetInt("path.fillBuffer", 1);
    UrlSign urlSign;
    CaptureStdout();
    EXPECT_FALSE(urlSign.Load());
    // 1023 characters are read; with the file name they exceed a path, so the path is empty.
    EXPECT_EQ(GetCapturedStdout(),
              "The full path to OruSafeProxy.dll is:\n[]\nGet IErrorCode error\n");
}

TEST_F(SignComponentLoader, ADirectoryWithoutTheProxyFileFailsOnTheErrorCode) {
    const std::string directory = kSeparator + "nonexistent" + kSeparator + "safeguard";
    control.SetText("path.directory", directory.c_str());
    JsonUrlSign jsonUrlSign;
    CaptureStdout();
    EXPECT_FALSE(jsonUrlSign.Load());
    EXPECT_EQ(GetCapturedStdout(), "The full path to OruSafeProxy.dll is:\n[" + directory +
                                       kSeparator + "OruSafeProxy.dll]\nGet IErrorCode error\n");
}

TEST_F(SignComponentLoader, StopStopsEachBoundProxyAndTrafficOnlyWhenEnabled) {
    SecurityComponents components;
    CaptureStdout();
    components.Load();
    GetCapturedStdout();
    components.Stop();
    EXPECT_EQ(control.Count("jsonSign.stop"), 1);
    EXPECT_EQ(control.Count("urlSign.stop"), 1);
    EXPECT_EQ(control.Count("traffic.stop"), 1);
    QuilConfig::GetInstance()->securityEnabled = false;
    components.Stop();
    EXPECT_EQ(control.Count("jsonSign.stop"), 2);
    EXPECT_EQ(control.Count("urlSign.stop"), 2);
    EXPECT_EQ(control.Count("traffic.stop"), 1);
    EXPECT_NE(components.trafficFilter.proxy, nullptr);
}

TEST_F(SignComponentLoader, StopWithNothingLoadedCallsNothing) {
    QuilConfig::GetInstance()->securityPathFile = L"..\\SafeGuard\\Missing.dll";
    SecurityComponents components;
    CaptureStdout();
    components.Load();
    GetCapturedStdout();
    components.Stop();
    EXPECT_EQ(control.Count("jsonSign.stop") + control.Count("urlSign.stop") +
                  control.Count("traffic.stop"),
              0);
}

TEST_F(SignComponentLoader, SelfProtectStaysNullAndPrintsNothing) {
    SelfProtect selfProtect;
    CaptureStdout();
    EXPECT_FALSE(selfProtect.Load());
    EXPECT_EQ(GetCapturedStdout(), "");
    EXPECT_EQ(selfProtect.proxy, nullptr);
}

}  // namespace
