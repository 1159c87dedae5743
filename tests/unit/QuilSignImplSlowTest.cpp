// The signing bridge's real five-second limit, with no shortening: these tests take seconds by
// design.
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>

#include "QuilSignImpl.h"
#include "SignBridgeFixture.h"

namespace {

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

class QuilSignImplSlow : public quil::test::SignBridgeFixture {};

TEST_F(QuilSignImplSlow, AHungJsonRoadIsGivenUpAfterFiveSeconds) {
    control.SetInt("jsonSign.hangMs", -1);
    CaptureStdout();
    sign()->Start();
    GetCapturedStdout();
    std::string data = "a=1";
    std::string api = "mtop.quil.test";
    const auto begin = std::chrono::steady_clock::now();
    std::unique_ptr<SignResult> result(sign()->Sign6_3(1, data, api));
    const auto waited = std::chrono::steady_clock::now() - begin;
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->errorCode, "-1");
    EXPECT_GE(waited, std::chrono::seconds(QuilSignImpl::kSignTimeLimitSeconds));
    EXPECT_LT(waited, std::chrono::seconds(QuilSignImpl::kSignTimeLimitSeconds + 5));
    EXPECT_TRUE(log->Has("urlSign time limit exceeded, version 6.3", QUIL_LOG_WARN));
}

TEST_F(QuilSignImplSlow, AnAnswerInsideTheFiveSecondsIsTaken) {
    control.SetInt("urlSign.hangMs", 2000);
    CaptureStdout();
    sign()->Start();
    std::string data = "a=1";
    std::unique_ptr<SignResult> result(sign()->Sign6_2(2, data, 1));
    GetCapturedStdout();
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->errorCode, "0");
    EXPECT_FALSE(result->sign.empty());
}

}  // namespace
