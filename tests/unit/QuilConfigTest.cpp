#include "QuilConfig.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>

#include "FakeCookieStorage.h"
#include "FakeWebBrowserProxy.h"
#include "NetworkManager.h"
#include "QuilLogger.h"
#include "RecordingLog.h"
#include "RecordingStatistics.h"
#include "ScriptedHttpClient.h"
#include "StatisticsSlot.h"

using quil::test::FakeCookieStorage;
using quil::test::FakeWebBrowserProxy;
using quil::test::RecordingLog;
using quil::test::RecordingStatistics;
using quil::test::ScopedRecordingLog;

TEST(QuilConfig, GetInstanceReturnsOneObjectEveryTime) {
    QuilConfig* first = QuilConfig::GetInstance();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(QuilConfig::GetInstance(), first);
}

TEST(QuilConfig, FieldsStartAtTheirDefaults) {
    QuilConfig* config = QuilConfig::GetInstance();
    EXPECT_EQ(config->environment, 2);
    EXPECT_EQ(config->domainSetting, 1);
    EXPECT_EQ(config->onlineHost, "");
    EXPECT_EQ(config->preHost, "");
    EXPECT_EQ(config->dailyHost, "");
    EXPECT_EQ(config->appName, "");
    EXPECT_EQ(config->appKey, "");
    EXPECT_EQ(config->devId, "");
    EXPECT_EQ(config->appVersion, "");
    EXPECT_EQ(config->ttid, "");
    EXPECT_EQ(config->sid, "");
    EXPECT_EQ(config->features, 0);
    EXPECT_EQ(config->sslValue, "");
    EXPECT_EQ(config->proxy, "");
    EXPECT_EQ(config->utdid, "");
    EXPECT_EQ(config->uid, "");
    EXPECT_EQ(config->reservedText, "");
    EXPECT_EQ(config->cacheSwitch, 0);
    EXPECT_EQ(config->lat, "");
    EXPECT_EQ(config->lng, "");
    EXPECT_EQ(config->securityPathFile, std::wstring(L"..\\SafeGuard\\OruSafePath.dll"));
    EXPECT_EQ(config->authCode, "");
    EXPECT_TRUE(config->securityEnabled);
    EXPECT_TRUE(config->sidByUser.empty());
    EXPECT_TRUE(config->uidByUser.empty());
    EXPECT_EQ(config->webBrowserProxy.load(), nullptr);
    EXPECT_EQ(config->cookieStorage.load(), nullptr);
}

TEST(QuilConfig, SecurityPathDefaultIsTheBackslashedRelativeLiteral) {
    const std::wstring& path = QuilConfig::GetInstance()->securityPathFile;
    ASSERT_EQ(path.size(), 28u);
    EXPECT_EQ(path.substr(0, 3), L"..\\");
    EXPECT_EQ(path[12], L'\\');
}

TEST(QuilConfig, CacheSwitchIsPointerSized) {
    EXPECT_EQ(sizeof(QuilConfig::GetInstance()->cacheSwitch), sizeof(void*));
}

TEST(QuilConfig, RegisterStoresSidAndUidUnderTheAccount) {
    QuilConfig* config = QuilConfig::GetInstance();
    EXPECT_TRUE(config->RegisterMultiAccountSession("alice", "s1", "u1"));
    EXPECT_EQ(config->GetSid("alice"), "s1");
    EXPECT_EQ(config->GetUid("alice"), "u1");
    EXPECT_EQ(config->sidByUser, (std::map<std::string, std::string>{{"alice", "s1"}}));
    EXPECT_EQ(config->uidByUser, (std::map<std::string, std::string>{{"alice", "u1"}}));
}

TEST(QuilConfig, RegisterWithEmptySidReturnsFalseAndChangesNothing) {
    QuilConfig* config = QuilConfig::GetInstance();
    ASSERT_TRUE(config->RegisterMultiAccountSession("alice", "s1", "u1"));
    EXPECT_FALSE(config->RegisterMultiAccountSession("alice", "", "u2"));
    EXPECT_EQ(config->GetSid("alice"), "s1");
    EXPECT_EQ(config->GetUid("alice"), "u1");
    EXPECT_FALSE(config->RegisterMultiAccountSession("bob", "", "u3"));
    EXPECT_EQ(config->sidByUser.count("bob"), 0u);
    EXPECT_EQ(config->uidByUser.count("bob"), 0u);
}

TEST(QuilConfig, RegisterAcceptsAnEmptyUid) {
    QuilConfig* config = QuilConfig::GetInstance();
    EXPECT_TRUE(config->RegisterMultiAccountSession("alice", "s1", ""));
    EXPECT_EQ(config->GetSid("alice"), "s1");
    ASSERT_EQ(config->uidByUser.count("alice"), 1u);
    EXPECT_EQ(config->uidByUser.at("alice"), "");
}

TEST(QuilConfig, RegisterAgainOverwritesBothValues) {
    QuilConfig* config = QuilConfig::GetInstance();
    ASSERT_TRUE(config->RegisterMultiAccountSession("alice", "s1", "u1"));
    EXPECT_TRUE(config->RegisterMultiAccountSession("alice", "s2", "u2"));
    EXPECT_EQ(config->GetSid("alice"), "s2");
    EXPECT_EQ(config->GetUid("alice"), "u2");
    EXPECT_EQ(config->sidByUser.size(), 1u);
    EXPECT_EQ(config->uidByUser.size(), 1u);
}

TEST(QuilConfig, EmptyAccountIsStoredAsDefault) {
    QuilConfig* config = QuilConfig::GetInstance();
    EXPECT_TRUE(config->RegisterMultiAccountSession("", "s1", "u1"));
    EXPECT_EQ(config->sidByUser.count(""), 0u);
    EXPECT_EQ(config->sidByUser.at("Default"), "s1");
    EXPECT_EQ(config->uidByUser.at("Default"), "u1");
    EXPECT_EQ(config->GetSid("Default"), "s1");
    EXPECT_EQ(config->GetUid("Default"), "u1");
}

TEST(QuilConfig, DefaultAccountIsReadThroughTheEmptyKey) {
    QuilConfig* config = QuilConfig::GetInstance();
    ASSERT_TRUE(config->RegisterMultiAccountSession("Default", "s1", "u1"));
    EXPECT_EQ(config->GetSid(""), "s1");
    EXPECT_EQ(config->GetUid(""), "u1");
}

TEST(QuilConfig, AccountsAreKeptApart) {
    QuilConfig* config = QuilConfig::GetInstance();
    ASSERT_TRUE(config->RegisterMultiAccountSession("alice", "sa", "ua"));
    ASSERT_TRUE(config->RegisterMultiAccountSession("bob", "sb", "ub"));
    EXPECT_EQ(config->GetSid("alice"), "sa");
    EXPECT_EQ(config->GetSid("bob"), "sb");
    EXPECT_EQ(config->GetUid("alice"), "ua");
    EXPECT_EQ(config->GetUid("bob"), "ub");
}

TEST(QuilConfig, AccountKeysAreCaseSensitive) {
    QuilConfig* config = QuilConfig::GetInstance();
    ASSERT_TRUE(config->RegisterMultiAccountSession("Alice", "s1", "u1"));
    EXPECT_EQ(config->GetSid("alice"), "");
    ASSERT_TRUE(config->RegisterMultiAccountSession("default", "s2", "u2"));
    EXPECT_EQ(config->GetSid(""), "");
}

TEST(QuilConfig, GetSidAndGetUidOfAnUnknownAccountAreEmpty) {
    QuilConfig* config = QuilConfig::GetInstance();
    EXPECT_EQ(config->GetSid("nobody"), "");
    EXPECT_EQ(config->GetUid("nobody"), "");
    EXPECT_EQ(config->GetSid(""), "");
    EXPECT_EQ(config->GetUid(""), "");
}

TEST(QuilConfig, LogoutRemovesBothAndReturnsTrue) {
    QuilConfig* config = QuilConfig::GetInstance();
    ASSERT_TRUE(config->RegisterMultiAccountSession("alice", "s1", "u1"));
    EXPECT_TRUE(config->LogoutMultiAccountSession("alice"));
    EXPECT_EQ(config->GetSid("alice"), "");
    EXPECT_EQ(config->GetUid("alice"), "");
    EXPECT_TRUE(config->sidByUser.empty());
    EXPECT_TRUE(config->uidByUser.empty());
}

TEST(QuilConfig, LogoutOfAnUnknownAccountReturnsFalse) {
    QuilConfig* config = QuilConfig::GetInstance();
    ASSERT_TRUE(config->RegisterMultiAccountSession("alice", "s1", "u1"));
    EXPECT_FALSE(config->LogoutMultiAccountSession("bob"));
    EXPECT_EQ(config->GetSid("alice"), "s1");
}

TEST(QuilConfig, LogoutTwiceReturnsFalseTheSecondTime) {
    QuilConfig* config = QuilConfig::GetInstance();
    ASSERT_TRUE(config->RegisterMultiAccountSession("alice", "s1", "u1"));
    EXPECT_TRUE(config->LogoutMultiAccountSession("alice"));
    EXPECT_FALSE(config->LogoutMultiAccountSession("alice"));
}

TEST(QuilConfig, LogoutWithoutSidLeavesAnOrphanUidUntouched) {
    // The user id map is not looked at when the session id is missing.
    QuilConfig* config = QuilConfig::GetInstance();
    config->uidByUser["alice"] = "u1";
    EXPECT_FALSE(config->LogoutMultiAccountSession("alice"));
    EXPECT_EQ(config->uidByUser.at("alice"), "u1");
}

TEST(QuilConfig, LogoutWithoutUidRemovesTheSidButReturnsFalse) {
    QuilConfig* config = QuilConfig::GetInstance();
    config->sidByUser["alice"] = "s1";
    EXPECT_FALSE(config->LogoutMultiAccountSession("alice"));
    EXPECT_EQ(config->sidByUser.count("alice"), 0u);
    EXPECT_EQ(config->GetSid("alice"), "");
}

TEST(QuilConfig, LogoutOfTheEmptyAccountEndsTheDefaultSession) {
    QuilConfig* config = QuilConfig::GetInstance();
    ASSERT_TRUE(config->RegisterMultiAccountSession("Default", "s1", "u1"));
    EXPECT_TRUE(config->LogoutMultiAccountSession(""));
    EXPECT_EQ(config->GetSid("Default"), "");
}

TEST(QuilConfig, LogoutLeavesOtherAccountsAlone) {
    QuilConfig* config = QuilConfig::GetInstance();
    ASSERT_TRUE(config->RegisterMultiAccountSession("alice", "sa", "ua"));
    ASSERT_TRUE(config->RegisterMultiAccountSession("bob", "sb", "ub"));
    EXPECT_TRUE(config->LogoutMultiAccountSession("alice"));
    EXPECT_EQ(config->GetSid("bob"), "sb");
    EXPECT_EQ(config->GetUid("bob"), "ub");
}

TEST(QuilConfig, RegistryOperationsWriteNoLogLines) {
    ScopedRecordingLog log;
    QuilConfig* config = QuilConfig::GetInstance();
    config->RegisterMultiAccountSession("alice", "s1", "u1");
    config->RegisterMultiAccountSession("alice", "", "u1");
    config->GetSid("alice");
    config->GetUid("alice");
    config->LogoutMultiAccountSession("alice");
    config->LogoutMultiAccountSession("alice");
    EXPECT_EQ(log->Count(), 0u) << ::testing::PrintToString(log->Messages());
}

TEST(QuilConfig, RegisterQuilLogSetsTheSink) {
    RecordingLog log;
    QuilConfig::GetInstance()->RegisterQuilLog(&log);
    EXPECT_EQ(QuilLogger::Sink(), &log);
    QuilLogger::Write(QUIL_LOG_INFO, "a\\b.cpp", "F", 3, "line %d", 1);
    EXPECT_TRUE(log.Has("line 1", QUIL_LOG_INFO));
    QuilConfig::GetInstance()->RegisterQuilLog(nullptr);
}

TEST(QuilConfig, RegisterQuilLogWithNullSwitchesLoggingOff) {
    RecordingLog log;
    QuilConfig* config = QuilConfig::GetInstance();
    config->RegisterQuilLog(&log);
    config->RegisterQuilLog(nullptr);
    EXPECT_EQ(QuilLogger::Sink(), nullptr);
    QuilLogger::Write(QUIL_LOG_FATAL, "f.cpp", "F", 1, "dropped");
    EXPECT_EQ(log.Count(), 0u);
}

TEST(QuilConfig, SetQuilLogLevelDropsLinesBelowIt) {
    RecordingLog log;
    QuilConfig* config = QuilConfig::GetInstance();
    config->RegisterQuilLog(&log);
    config->SetQuilLogLevel(QUIL_LOG_WARN);
    EXPECT_EQ(QuilLogger::MinimumLevel(), 2);
    QuilLogger::Write(QUIL_LOG_INFO, "f.cpp", "F", 1, "info");
    QuilLogger::Write(QUIL_LOG_WARN, "f.cpp", "F", 2, "warn");
    EXPECT_EQ(log.Messages(), std::vector<std::string>{"warn"});
    config->SetQuilLogLevel(QUIL_LOG_VERBOSE);
    EXPECT_EQ(QuilLogger::MinimumLevel(), 0);
    config->RegisterQuilLog(nullptr);
}

TEST(QuilConfig, RegisterCookieStorageStoresThePointer) {
    FakeCookieStorage storage("c=1");
    QuilConfig* config = QuilConfig::GetInstance();
    config->RegisterCookieStorage(&storage);
    EXPECT_EQ(config->cookieStorage.load(), &storage);
}

TEST(QuilConfig, RegisterCookieStorageIgnoresNull) {
    FakeCookieStorage storage;
    QuilConfig* config = QuilConfig::GetInstance();
    config->RegisterCookieStorage(&storage);
    config->RegisterCookieStorage(nullptr);
    EXPECT_EQ(config->cookieStorage.load(), &storage);
}

TEST(QuilConfig, RegisterCookieStorageReplacesAnEarlierOne) {
    FakeCookieStorage first;
    FakeCookieStorage second;
    QuilConfig* config = QuilConfig::GetInstance();
    config->RegisterCookieStorage(&first);
    config->RegisterCookieStorage(&second);
    EXPECT_EQ(config->cookieStorage.load(), &second);
}

TEST(QuilConfig, RegisterWKWebBrowserProxyStoresThePointer) {
    FakeWebBrowserProxy proxy;
    QuilConfig* config = QuilConfig::GetInstance();
    config->RegisterWKWebBrowserProxy(&proxy);
    EXPECT_EQ(config->webBrowserProxy.load(), &proxy);
}

TEST(QuilConfig, RegisterWKWebBrowserProxyIgnoresNull) {
    FakeWebBrowserProxy proxy;
    QuilConfig* config = QuilConfig::GetInstance();
    config->RegisterWKWebBrowserProxy(nullptr);
    EXPECT_EQ(config->webBrowserProxy.load(), nullptr);
    config->RegisterWKWebBrowserProxy(&proxy);
    config->RegisterWKWebBrowserProxy(nullptr);
    EXPECT_EQ(config->webBrowserProxy.load(), &proxy);
}

TEST(QuilConfig, RegisterUTStatisticsFillsTheStatisticsSlot) {
    RecordingStatistics statistics;
    QuilConfig::GetInstance()->RegisterUTStatistics(&statistics);
    EXPECT_EQ(StatisticsSlot::GetStatistics(), &statistics);
    QuilConfig::GetInstance()->RegisterUTStatistics(nullptr);
}

TEST(QuilConfig, RegisterUTStatisticsStoresNullToo) {
    RecordingStatistics statistics;
    QuilConfig* config = QuilConfig::GetInstance();
    config->RegisterUTStatistics(&statistics);
    config->RegisterUTStatistics(nullptr);
    EXPECT_EQ(StatisticsSlot::GetStatistics(), nullptr);
}

namespace {

// Sends one request straight through the network manager and tells whether a response came.
bool SendsThroughTheManager() {
    auto* request = new HttpRequest();
    request->url = "http://gw.example/gw/a/1.0/";
    std::unique_ptr<HttpResponse> response(
        NetworkManager::GetInstance()->SendSyncHttpRequest(request));
    if (!response) {
        delete request;  // without a client the caller keeps the request
        return false;
    }
    return true;
}

}  // namespace

TEST(QuilConfig, RegisterHttpClientHandsTheClientToTheNetworkManager) {
    quil::test::ScriptedHttpClient client;
    QuilConfig::GetInstance()->RegisterHttpClient(&client);
    EXPECT_TRUE(SendsThroughTheManager());
    ASSERT_EQ(client.SendCount(), 1u);
    EXPECT_EQ(client.Requests()[0].url, "http://gw.example/gw/a/1.0/");
}

TEST(QuilConfig, RegisterHttpClientIgnoresNull) {
    quil::test::ScriptedHttpClient client;
    QuilConfig* config = QuilConfig::GetInstance();
    config->RegisterHttpClient(&client);
    config->RegisterHttpClient(nullptr);
    EXPECT_TRUE(SendsThroughTheManager());
    EXPECT_EQ(client.SendCount(), 1u);
}

TEST(QuilConfig, RegisterHttpClientWithNullAloneLeavesNoClient) {
    QuilConfig::GetInstance()->RegisterHttpClient(nullptr);
    EXPECT_FALSE(SendsThroughTheManager());
}
