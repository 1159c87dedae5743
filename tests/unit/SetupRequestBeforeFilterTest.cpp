#include "SetupRequestBeforeFilter.h"

#include <gtest/gtest.h>

#include <memory>

#include "QuilConfig.h"
#include "QuilRequestImpl.h"
#include "RecordingLog.h"

using quil::test::LogLine;
using quil::test::ScopedRecordingLog;

namespace {

std::unique_ptr<QuilRequestImpl> MakeRequest(int id, const std::string& userInfo = "") {
    std::unique_ptr<QuilRequestImpl> request(new QuilRequestImpl("mtop.test.api", "1.0"));
    request->SetId(id);
    request->SetUserInfo(userInfo);
    return request;
}

}  // namespace

TEST(SetupRequestBeforeFilter, BearsItsNameInTheChain) {
    SetupRequestBeforeFilter filter;
    EXPECT_STREQ(filter.GetName(), "b_setup_request");
}

TEST(SetupRequestBeforeFilter, WithoutAForcedSessionItOnlyLogs) {
    ScopedRecordingLog log;
    QuilConfig* config = QuilConfig::GetInstance();
    config->sid = "";
    config->uid = "forced-uid";
    ASSERT_TRUE(config->RegisterMultiAccountSession("alice", "sid-a", "uid-a"));
    SetupRequestBeforeFilter filter;
    auto request = MakeRequest(3);
    FilterResult result;
    filter.HandleRequest(request.get(), &result);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(log->Messages(),
              (std::vector<std::string>{"handle setup request before filter, id: 3"}));
    EXPECT_EQ(log->Find("handle setup request before filter, id: 3").level, QUIL_LOG_VERBOSE);
    EXPECT_EQ(config->GetSid("Default"), "");
    EXPECT_EQ(config->GetSid("alice"), "sid-a");
    EXPECT_EQ(config->GetUid("alice"), "uid-a");
}

TEST(SetupRequestBeforeFilter, AForcedSessionIsRegisteredUnderDefaultForAnEmptyAccount) {
    ScopedRecordingLog log;
    QuilConfig* config = QuilConfig::GetInstance();
    config->sid = "forced-sid";
    config->uid = "forced-uid";
    SetupRequestBeforeFilter filter;
    auto request = MakeRequest(4);
    FilterResult result;
    filter.HandleRequest(request.get(), &result);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(config->GetSid("Default"), "forced-sid");
    EXPECT_EQ(config->GetUid("Default"), "forced-uid");
    EXPECT_EQ(log->Messages(),
              (std::vector<std::string>{
                  "handle setup request before filter, id: 4",
                  "request force register session, userInfo: Default sid: forced-sid, uid: "
                  "forced-uid"}));
    EXPECT_EQ(log->Lines()[1].level, QUIL_LOG_WARN);
    EXPECT_EQ(log->Lines()[1].function, "HandleRequest");
}

TEST(SetupRequestBeforeFilter, AForcedSessionIsRegisteredUnderTheRequestsAccount) {
    QuilConfig* config = QuilConfig::GetInstance();
    config->sid = "forced-sid";
    config->uid = "forced-uid";
    SetupRequestBeforeFilter filter;
    auto request = MakeRequest(5, "bob");
    FilterResult result;
    filter.HandleRequest(request.get(), &result);
    EXPECT_EQ(config->GetSid("bob"), "forced-sid");
    EXPECT_EQ(config->GetSid("Default"), "");
}

TEST(SetupRequestBeforeFilter, AnEmptyForcedUidDoesNotStopTheRegistration) {
    QuilConfig* config = QuilConfig::GetInstance();
    config->sid = "forced-sid";
    config->uid = "";
    ASSERT_TRUE(config->RegisterMultiAccountSession("carol", "old-sid", "old-uid"));
    SetupRequestBeforeFilter filter;
    auto request = MakeRequest(6, "carol");
    FilterResult result;
    filter.HandleRequest(request.get(), &result);
    EXPECT_EQ(config->GetSid("carol"), "forced-sid");
    EXPECT_EQ(config->GetUid("carol"), "");
}

TEST(SetupRequestBeforeFilter, EveryRequestRegistersTheForcedSessionAgain) {
    ScopedRecordingLog log;
    QuilConfig* config = QuilConfig::GetInstance();
    config->sid = "forced-sid";
    config->uid = "forced-uid";
    SetupRequestBeforeFilter filter;
    auto first = MakeRequest(7);
    FilterResult result;
    filter.HandleRequest(first.get(), &result);
    ASSERT_TRUE(config->LogoutMultiAccountSession(""));
    EXPECT_EQ(config->GetSid("Default"), "");
    auto second = MakeRequest(8);
    filter.HandleRequest(second.get(), &result);
    EXPECT_EQ(config->GetSid("Default"), "forced-sid");
    EXPECT_EQ(log->CountOf("request force register session, userInfo: Default sid: forced-sid, "
                           "uid: forced-uid"),
              2u);
}
