#include "RemoteLogin.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "LoginHandler.h"
#include "RecordingLog.h"
#include "RecordingRemoteLogin.h"

using quil::test::RecordingMultiLogin;
using quil::test::RecordingSingleLogin;
using quil::test::ScopedRecordingLog;

namespace {

using Calls = std::vector<std::string>;

// A flow registered with the library stays registered for the process: each test of this file
// runs in a process of its own, so the objects live in static storage.
RecordingMultiLogin& Multi() {
    static RecordingMultiLogin multi;
    return multi;
}

RecordingSingleLogin& Single() {
    static RecordingSingleLogin single;
    return single;
}

}  // namespace

TEST(RemoteLogin, WithoutAFlowLoginLogsAndReturns) {
    ScopedRecordingLog log;
    RemoteLogin::login("alice");
    EXPECT_TRUE(log->Has("RemoteLogin need login, but iRemoteLogin is null", QUIL_LOG_WARN));
    EXPECT_EQ(log->Count(), 1u);
}

TEST(RemoteLogin, WithoutAFlowEverySessionCountsAsValid) {
    ScopedRecordingLog log;
    EXPECT_TRUE(RemoteLogin::isSessionValid("alice"));
    EXPECT_TRUE(
        log->Has("RemoteLogin need validate session, but iRemoteLogin is null", QUIL_LOG_WARN));
}

TEST(RemoteLogin, WithoutAFlowThereIsNoContext) {
    ScopedRecordingLog log;
    EXPECT_EQ(RemoteLogin::getLoginContext("alice"), nullptr);
    EXPECT_TRUE(log->Has("RemoteLogin get logContext, but iRemoteLogin is null", QUIL_LOG_WARN));
}

TEST(RemoteLogin, NullIsIgnoredSoAFlowCanBeReplacedButNotRemoved) {
    RemoteLogin::setLoginImpl(nullptr);
    EXPECT_EQ(RemoteLogin::Impl(), nullptr);
    RemoteLogin::setLoginImpl(&Single());
    RemoteLogin::setLoginImpl(nullptr);
    EXPECT_EQ(RemoteLogin::Impl(), &Single());
    RemoteLogin::setLoginImpl(&Multi());
    EXPECT_EQ(RemoteLogin::Impl(), &Multi());
}

TEST(RemoteLogin, AMultiAccountFlowIsAskedAboutTheAccount) {
    RemoteLogin::setLoginImpl(&Multi());
    Multi().SetSessionValid(false);
    ScopedRecordingLog log;
    EXPECT_FALSE(RemoteLogin::isSessionValid("alice"));
    EXPECT_EQ(Multi().Calls(), (Calls{"isLogining(alice)", "isSessionValid(alice)"}));
    EXPECT_TRUE(log->Has("multiAccountRemoteLogin validating...", QUIL_LOG_INFO));
}

TEST(RemoteLogin, AnEmptyAccountIsAskedAsDefault) {
    RemoteLogin::setLoginImpl(&Multi());
    EXPECT_TRUE(RemoteLogin::isSessionValid(""));
    RemoteLogin::login("");
    EXPECT_EQ(Multi().Calls(), (Calls{"isLogining(Default)", "isSessionValid(Default)",
                                      "isLogining(Default)", "login(Default)"}));
    ASSERT_EQ(Multi().Listeners().size(), 1u);
    EXPECT_EQ(Multi().Listeners()[0], LoginHandler::GetHandler("Default"));
}

TEST(RemoteLogin, WhileALoginRunsTheSessionIsInvalidWithoutAskingTheHost) {
    RemoteLogin::setLoginImpl(&Multi());
    Multi().SetLogining(true);
    Multi().SetSessionValid(true);
    ScopedRecordingLog log;
    EXPECT_FALSE(RemoteLogin::isSessionValid("alice"));
    EXPECT_EQ(Multi().Calls(), (Calls{"isLogining(alice)"}));
    EXPECT_TRUE(log->Has("RemoteLogin is logging", QUIL_LOG_INFO));
}

TEST(RemoteLogin, LoginStartsTheAccountsLoginWithItsHandler) {
    RemoteLogin::setLoginImpl(&Multi());
    ScopedRecordingLog log;
    RemoteLogin::login("alice");
    EXPECT_EQ(Multi().Calls(), (Calls{"isLogining(alice)", "login(alice)"}));
    EXPECT_TRUE(log->Has("multiAccountRemoteLogin logging...", QUIL_LOG_INFO));
    ASSERT_EQ(Multi().Listeners().size(), 1u);
    EXPECT_EQ(Multi().Listeners()[0], LoginHandler::GetHandler("alice"));
}

TEST(RemoteLogin, ALoginThatRunsStartsNothingAndAddsNoListener) {
    RemoteLogin::setLoginImpl(&Multi());
    Multi().SetLogining(true);
    ScopedRecordingLog log;
    RemoteLogin::login("alice");
    EXPECT_EQ(Multi().Calls(), (Calls{"isLogining(alice)"}));
    EXPECT_TRUE(Multi().Listeners().empty());
    EXPECT_TRUE(log->Has("RemoteLogin is logging", QUIL_LOG_INFO));
    EXPECT_FALSE(log->Has("multiAccountRemoteLogin logging..."));
}

TEST(RemoteLogin, AMultiAccountFlowGivesTheAccountsContext) {
    RemoteLogin::setLoginImpl(&Multi());
    LoginContext context;
    context.sid = "s1";
    Multi().SetContext(&context);
    ScopedRecordingLog log;
    EXPECT_EQ(RemoteLogin::getLoginContext("alice"), &context);
    EXPECT_EQ(Multi().Calls(), (Calls{"getLoginContext(alice)"}));
    EXPECT_TRUE(log->Has("multiAccountRemoteLogin get logContext...", QUIL_LOG_INFO));
}

TEST(RemoteLogin, ASingleAccountFlowIgnoresTheAccount) {
    RemoteLogin::setLoginImpl(&Single());
    LoginContext context;
    Single().SetContext(&context);
    Single().SetSessionValid(false);
    ScopedRecordingLog log;
    EXPECT_FALSE(RemoteLogin::isSessionValid("alice"));
    EXPECT_EQ(RemoteLogin::getLoginContext("bob"), &context);
    EXPECT_EQ(Single().Calls(), (Calls{"isLogining()", "isSessionValid()", "getLoginContext()"}));
    EXPECT_TRUE(log->Has("iRemoteLogin validating...", QUIL_LOG_INFO));
    EXPECT_TRUE(log->Has("iRemoteLogin get logContext...", QUIL_LOG_INFO));
}

TEST(RemoteLogin, ASingleAccountLoginStillReportsToTheAccountsHandler) {
    RemoteLogin::setLoginImpl(&Single());
    ScopedRecordingLog log;
    RemoteLogin::login("alice");
    EXPECT_EQ(Single().Calls(), (Calls{"isLogining()", "login()"}));
    EXPECT_TRUE(log->Has("iRemoteLogin logging...", QUIL_LOG_INFO));
    ASSERT_EQ(Single().Listeners().size(), 1u);
    EXPECT_EQ(Single().Listeners()[0], LoginHandler::GetHandler("alice"));
    EXPECT_NE(Single().Listeners()[0], LoginHandler::GetHandler("Default"));
}

TEST(RemoteLogin, ASingleAccountLoginThatRunsStartsNothing) {
    RemoteLogin::setLoginImpl(&Single());
    Single().SetLogining(true);
    RemoteLogin::login("alice");
    EXPECT_FALSE(RemoteLogin::isSessionValid("alice"));
    EXPECT_EQ(Single().Calls(), (Calls{"isLogining()", "isLogining()"}));
}

TEST(RemoteLogin, ThePlainFormsOfAMultiAccountFlowMeanTheEmptyAccount) {
    const IRemoteLogin& plain = Multi();
    LoginContext context;
    Multi().SetContext(&context);
    EXPECT_TRUE(plain.isSessionValid());
    EXPECT_FALSE(plain.isLogining());
    EXPECT_EQ(plain.getLoginContext(), &context);
    plain.login(LoginHandler::GetHandler("x"));
    EXPECT_EQ(Multi().Calls(),
              (Calls{"isSessionValid()", "isLogining()", "getLoginContext()", "login()"}));
}
