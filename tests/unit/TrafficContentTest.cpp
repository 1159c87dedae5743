// The traffic side of the signing bridge through the real loading path: ProcessContent with its
// rendezvous and its overlong-wait reports, the closed library's callback, cookies and version.
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <string>

#include "DelayedTaskQueue.h"
#include "QuilConfig.h"
#include "QuilSignImpl.h"
#include "SignBridgeFixture.h"
#include "WaitSlot.h"

namespace {

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

const std::chrono::milliseconds kReportLimit(100);

class TrafficContentTest : public quil::test::SignBridgeFixture {
protected:
    void StartQuietly() {
        CaptureStdout();
        sign()->Start();
        GetCapturedStdout();
        log->Clear();
    }
    std::unique_ptr<ActionResult> Process(int seqId, std::string content = "challenge") {
        return std::unique_ptr<ActionResult>(sign()->ProcessContent(seqId, content));
    }
    // Waits until every report task due by now plus limit has had its turn on the queue's
    // thread: a marker due later runs after them.
    static bool PassReportDeadline(std::chrono::milliseconds limit) {
        auto done = std::make_shared<std::promise<void>>();
        std::future<void> ran = done->get_future();
        DelayedTaskQueue::Instance().AddTask(
            [done] { done->set_value(); },
            DelayedTaskQueue::Now() + 2 * static_cast<int64_t>(limit.count()) * 1000000);
        return ran.wait_for(std::chrono::seconds(10)) == std::future_status::ready;
    }
    void SetVerdict(int mainAction, int subAction, const char* param) {
        control.SetInt("traffic.mainAction", mainAction);
        control.SetInt("traffic.subAction", subAction);
        control.SetText("traffic.param", param);
    }
};

TEST_F(TrafficContentTest, SecurityDisabledGivesEmptyResultsAtOnceAndCallsNothing) {
    StartQuietly();
    control.SetText("traffic.cookies", "a=b");
    control.SetText("traffic.version", "7.0");
    QuilConfig::GetInstance()->securityEnabled = false;
    auto result = Process(1);
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->mainAction, 0);
    EXPECT_EQ(result->subAction, 0);
    EXPECT_EQ(result->actionParam, "");
    std::string url = "https://gw.quil.example/";
    EXPECT_EQ(sign()->GetCookies(url), "");
    EXPECT_EQ(sign()->GetKolvaVersion(), "");
    EXPECT_EQ(control.Count("traffic.processContent"), 0);
    EXPECT_EQ(control.Count("traffic.getCookies"), 0);
    EXPECT_EQ(control.Count("traffic.getVersion"), 0);
    EXPECT_FALSE(log->Has("QUIL proccess content, seqId: 1"));
}

TEST_F(TrafficContentTest, ACallbackInsideTheProxyCallEndsTheCallWithoutAReport) {
    // The full report limit: a short one could pass while a loaded machine holds this thread
    // between queueing the report and taking it back.
    SetVerdict(3, 4, "https://verify.quil.example/?a=1");
    StartQuietly();
    auto result = Process(7, "content-7");
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->mainAction, 3);
    EXPECT_EQ(result->subAction, 4);
    EXPECT_EQ(result->actionParam, "https://verify.quil.example/?a=1");
    EXPECT_EQ(control.Texts("traffic.content"), std::vector<std::string>{"content-7"});
    EXPECT_EQ(control.Texts("traffic.sequenceId"), std::vector<std::string>{"7_processContent"});
    EXPECT_EQ(log->Messages(), (std::vector<std::string>{
                                   "QUIL proccess content, seqId: 7",
                                   "__QuilSecurityTrafficFilterCallback mainAction: 3 subAction: 4 "
                                   "sequenceId: 7_processContent actionParam: "
                                   "https://verify.quil.example/?a=1",
                                   "content: content-7 isAsync: 0 errorCode: 0"}));
    EXPECT_EQ(log->Find("content: content-7 isAsync: 0 errorCode: 0").level, QUIL_LOG_INFO);
    // The report task was taken off the queue: it can never run.
    EXPECT_EQ(DelayedTaskQueue::Instance().PendingCount(), 0u);
    EXPECT_EQ(statistics->CountOf("CommitCount", "kolvaTimeout"), 0u);
}

TEST_F(TrafficContentTest, AnAsyncLateCallbackIsReportedAsyncAndStillGivesItsVerdict) {
    ShortenLimits(kReportLimit);
    control.SetInt("traffic.mode", 2);
    control.SetInt("traffic.isAsync", 1);
    control.SetInt("traffic.errorCode", 9);
    SetVerdict(2, 5, "later");
    StartQuietly();
    std::future<std::unique_ptr<ActionResult>> pending =
        std::async(std::launch::async, [this] { return Process(8); });
    ASSERT_TRUE(
        quil::test::WaitForStatistics(statistics.statistics(), "CommitCount", "kolvaTimeout", 1));
    auto reports = statistics->Calls("CommitCount", "kolvaTimeout");
    ASSERT_EQ(reports.size(), 1u);
    EXPECT_EQ(reports[0].module, "quilsdk");
    EXPECT_EQ(reports[0].arg, "async");
    EXPECT_EQ(reports[0].value, 1.0);
    // The report does not end the wait.
    EXPECT_EQ(pending.wait_for(std::chrono::milliseconds(0)), std::future_status::timeout);

    EXPECT_EQ(control.FireHeldVerdicts(), 1);
    auto result = pending.get();
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->mainAction, 2);
    EXPECT_EQ(result->subAction, 5);
    EXPECT_EQ(result->actionParam, "later");
    EXPECT_TRUE(log->Has("content: challenge isAsync: 1 errorCode: 9", QUIL_LOG_INFO));
    EXPECT_FALSE(log->Has("processContent time limit exceeded"));
}

TEST_F(TrafficContentTest, ASyncJudgementWithoutVerdictIsReportedSync) {
    ShortenLimits(kReportLimit);
    control.SetInt("traffic.mode", 2);
    SetVerdict(1, 1, "x");
    StartQuietly();
    std::future<std::unique_ptr<ActionResult>> pending =
        std::async(std::launch::async, [this] { return Process(9); });
    ASSERT_TRUE(
        quil::test::WaitForStatistics(statistics.statistics(), "CommitCount", "kolvaTimeout", 1));
    EXPECT_EQ(statistics->Calls("CommitCount", "kolvaTimeout")[0].arg, "sync");
    EXPECT_EQ(control.FireHeldVerdicts(), 1);
    auto result = pending.get();
    EXPECT_EQ(result->mainAction, 1);
}

TEST_F(TrafficContentTest, AJudgementThatIsNeverAnsweredEndsAtTheWaitBoundAsAPass) {
    // The bound lies far beyond both reports, so a late verdict still counts for minutes.
    EXPECT_EQ(QuilSignImpl::kContentWaitLimitSeconds, 600);
    EXPECT_GE(QuilSignImpl::kContentWaitLimitSeconds, 5 * QuilSignImpl::kSyncContentReportSeconds);
    // The report keeps its full limit here: the wait's end does not depend on it.
    QuilSignImpl::SetContentWaitLimitForTesting(3 * kReportLimit);
    control.SetInt("traffic.mode", 2);  // held, and never fired
    SetVerdict(4, 0, "never");
    StartQuietly();
    auto result = Process(12);
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->mainAction, 0);
    EXPECT_EQ(result->subAction, 0);
    EXPECT_EQ(result->actionParam, "");
    EXPECT_TRUE(log->Has("processContent time limit exceeded", QUIL_LOG_WARN));
    EXPECT_TRUE(statistics->Calls("CommitCount", "kolvaTimeout").empty());
    // A verdict after the bound finds no caller and is dropped.
    EXPECT_EQ(control.FireHeldVerdicts(), 1);
}

TEST_F(TrafficContentTest, AVerdictFromAnotherThreadEndsTheWait) {
    control.SetInt("traffic.mode", 1);
    control.SetInt("traffic.delayMs", 20);
    SetVerdict(6, 7, "p");
    StartQuietly();
    auto result = Process(10);
    EXPECT_EQ(result->mainAction, 6);
    EXPECT_EQ(result->subAction, 7);
    EXPECT_EQ(result->actionParam, "p");
}

TEST_F(TrafficContentTest, ANullActionParamGivesAnEmptyParamAndNoFailure) {
    control.SetInt("traffic.nullParam", 1);
    SetVerdict(4, 2, "unused");
    StartQuietly();
    auto result = Process(11);
    EXPECT_EQ(result->mainAction, 4);
    EXPECT_EQ(result->subAction, 2);
    EXPECT_EQ(result->actionParam, "");
    EXPECT_TRUE(
        log->Has("__QuilSecurityTrafficFilterCallback mainAction: 4 subAction: 2 "
                 "sequenceId: 11_processContent actionParam: ",
                 QUIL_LOG_INFO));
    EXPECT_FALSE(log->Has("processContent time limit exceeded"));
}

TEST_F(TrafficContentTest, ANullSequenceIdIsIgnoredAndWakesNobody) {
    WaitSlot* slot = WaitSlotRegistry::AcquireWaitSlot("12_processContent");
    __QuilSecurityTrafficFilterCallback(1, 2, nullptr, "x");
    {
        std::lock_guard<std::mutex> lock(slot->mutex);
        EXPECT_EQ(slot->state, 0);
    }
    EXPECT_EQ(WaitSlotRegistry::ReadWaitSlot(slot), "");
    EXPECT_EQ(log->Count(), 0u);
    WaitSlotRegistry::ReleaseWaitSlot("12_processContent");
}

TEST_F(TrafficContentTest, TheCallbackPostsItsVerdictAsACompactLineWithItsLineFeed) {
    WaitSlot* slot = WaitSlotRegistry::AcquireWaitSlot("13_processContent");
    __QuilSecurityTrafficFilterCallback(-1, 3, "13_processContent", "a\"b");
    EXPECT_EQ(WaitSlotRegistry::ReadWaitSlot(slot),
              "{\"actionParam\":\"a\\\"b\",\"mainAction\":-1,\"subAction\":3}\n");
    WaitSlotRegistry::ReleaseWaitSlot("13_processContent");
}

TEST_F(TrafficContentTest, ACallbackForAKeyThatHasGoneIsDropped) {
    __QuilSecurityTrafficFilterCallback(1, 1, "14_processContent", "x");
    EXPECT_TRUE(
        log->Has("__QuilSecurityTrafficFilterCallback mainAction: 1 subAction: 1 "
                 "sequenceId: 14_processContent actionParam: x"));
    EXPECT_FALSE(WaitSlotRegistry::PostWaitSlot("14_processContent", "x"));
}

TEST_F(TrafficContentTest, AnUnreadableVerdictGivesZerosAndTheTimeLimitLine) {
    control.SetInt("traffic.mode", 2);
    StartQuietly();
    std::future<std::unique_ptr<ActionResult>> pending =
        std::async(std::launch::async, [this] { return Process(15); });
    ASSERT_TRUE(control.WaitForCount("traffic.processContent", 1, 10000));
    EXPECT_TRUE(WaitSlotRegistry::PostWaitSlot("15_processContent", "not json"));
    auto result = pending.get();
    EXPECT_EQ(result->mainAction, 0);
    EXPECT_EQ(result->subAction, 0);
    EXPECT_EQ(result->actionParam, "");
    EXPECT_TRUE(log->Has("processContent time limit exceeded", QUIL_LOG_WARN));
}

TEST_F(TrafficContentTest, WithoutTheTrafficComponentTheCallReturnsAtOnceAsAnUnansweredWait) {
    ShortenLimits(kReportLimit);
    UseMissingLibrary();
    StartQuietly();
    auto result = Process(16, "content-16");
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->mainAction, 0);
    EXPECT_EQ(result->subAction, 0);
    EXPECT_EQ(result->actionParam, "");
    EXPECT_EQ(log->Messages(),
              (std::vector<std::string>{"QUIL proccess content, seqId: 16",
                                        "content: content-16 isAsync: 0 errorCode: 0",
                                        "processContent time limit exceeded"}));
    EXPECT_EQ(log->Find("processContent time limit exceeded").level, QUIL_LOG_WARN);
    ASSERT_TRUE(PassReportDeadline(kReportLimit));
    EXPECT_EQ(statistics->CountOf("CommitCount", "kolvaTimeout"), 0u);
    EXPECT_FALSE(WaitSlotRegistry::PostWaitSlot("16_processContent", "x"));
}

TEST_F(TrafficContentTest, GetCookiesCopiesTheTextGivesItBackAndLogs) {
    control.SetText("traffic.cookies", "cna=abc; t=1");
    StartQuietly();
    std::string url = "https://gw.quil.example/gw/mtop.a/1.0/";
    EXPECT_EQ(sign()->GetCookies(url), "cna=abc; t=1");
    EXPECT_EQ(control.Texts("traffic.cookieUrl"), std::vector<std::string>{url});
    EXPECT_EQ(control.Texts("traffic.cookieFlags"), std::vector<std::string>{"0"});
    EXPECT_EQ(control.Count("traffic.freeBuffer"), 1);
    EXPECT_TRUE(
        log->Has("get cookies from kolva, url: " + url + ", result: cna=abc; t=1", QUIL_LOG_INFO));
}

TEST_F(TrafficContentTest, GetCookiesWithNothingToGiveIsEmptyAndSilent) {
    StartQuietly();
    std::string url = "https://gw.quil.example/";
    EXPECT_EQ(sign()->GetCookies(url), "");
    EXPECT_EQ(control.Count("traffic.getCookies"), 1);
    EXPECT_EQ(control.Count("traffic.freeBuffer"), 0);
    EXPECT_EQ(log->FindPrefix("get cookies from kolva").message, "");
}

TEST_F(TrafficContentTest, GetCookiesWithoutTheTrafficComponentIsEmpty) {
    UseMissingLibrary();
    StartQuietly();
    std::string url = "https://gw.quil.example/";
    EXPECT_EQ(sign()->GetCookies(url), "");
}

TEST_F(TrafficContentTest, GetKolvaVersionCallsTheProxyOnceHoweverOftenAsked) {
    control.SetText("traffic.version", "6.5.90");
    StartQuietly();
    EXPECT_EQ(sign()->GetKolvaVersion(), "6.5.90");
    EXPECT_EQ(sign()->GetKolvaVersion(), "6.5.90");
    EXPECT_EQ(sign()->GetKolvaVersion(), "6.5.90");
    EXPECT_EQ(control.Count("traffic.getVersion"), 1);
    EXPECT_EQ(control.Count("traffic.freeBuffer"), 1);
    EXPECT_EQ(log->CountOf("get kolva version: 6.5.90"), 1u);
    EXPECT_EQ(log->Find("get kolva version: 6.5.90").level, QUIL_LOG_INFO);
}

TEST_F(TrafficContentTest, AnEmptyVersionReadOnceStaysEmpty) {
    StartQuietly();
    EXPECT_EQ(sign()->GetKolvaVersion(), "");
    EXPECT_TRUE(log->Has("get kolva version: ", QUIL_LOG_INFO));
    control.SetText("traffic.version", "6.5.90");
    EXPECT_EQ(sign()->GetKolvaVersion(), "");
    EXPECT_EQ(control.Count("traffic.getVersion"), 1);
}

TEST_F(TrafficContentTest, AVersionAskedBeforeStartStaysEmptyAfterIt) {
    control.SetText("traffic.version", "6.5.90");
    EXPECT_EQ(sign()->GetKolvaVersion(), "");
    StartQuietly();
    EXPECT_EQ(sign()->GetKolvaVersion(), "");
    EXPECT_EQ(control.Count("traffic.getVersion"), 0);
}

}  // namespace
