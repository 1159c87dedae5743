// Many threads signing and judging traffic at once through the real loading path; run under
// ThreadSanitizer as well.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "DelayedTaskQueue.h"
#include "QuilSignImpl.h"
#include "SignBridgeFixture.h"
#include "StandInSignature.h"

namespace {

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

class QuilSignImplConcurrency : public quil::test::SignBridgeFixture {};

TEST_F(QuilSignImplConcurrency, FirstCallsFromManyThreadsSeeOneInstance) {
    std::vector<QuilSignImpl*> seen(8, nullptr);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < seen.size(); ++i) {
        threads.emplace_back([&seen, i] { seen[i] = QuilSignImpl::GetInstance(); });
    }
    for (auto& thread : threads) thread.join();
    for (QuilSignImpl* one : seen) EXPECT_EQ(one, seen[0]);
}

TEST_F(QuilSignImplConcurrency, ManyThreadsSigningOnBothRoadsEachGetTheirOwnSignature) {
    CaptureStdout();
    sign()->Start();
    constexpr int kThreads = 6;
    constexpr int kEach = 8;
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([this, t, &wrong] {
            for (int i = 0; i < kEach; ++i) {
                const int seqId = t * 100 + i + 1;
                std::string data = "seq=" + std::to_string(seqId);
                std::string api = "mtop.quil.test";
                std::unique_ptr<SignResult> json(sign()->Sign6_3(seqId, data, api));
                if (!json ||
                    json->signMap["x-standin-sign"] !=
                        quil::standin::Signature(kAppKey, quil::standin::kLabelJson, data)) {
                    ++wrong;
                }
                std::unique_ptr<SignResult> wide(sign()->Sign6_2(seqId, data, 1));
                if (!wide || wide->sign != quil::standin::Signature(
                                               kAppKey, quil::standin::kLabelUrlMethod1, data)) {
                    ++wrong;
                }
            }
        });
    }
    for (auto& thread : threads) thread.join();
    GetCapturedStdout();
    EXPECT_EQ(wrong.load(), 0);
    EXPECT_EQ(control.Count("jsonSign.sign"), kThreads * kEach);
    EXPECT_EQ(control.Count("urlSign.sign"), kThreads * kEach);
}

TEST_F(QuilSignImplConcurrency, SigningWhileTheBridgeStartsIsRaceFree) {
    CaptureStdout();
    std::thread starter([this] { sign()->Start(); });
    std::vector<std::thread> signers;
    for (int t = 0; t < 3; ++t) {
        signers.emplace_back([this, t] {
            std::string data = "x";
            std::string api = "mtop.quil.test";
            std::unique_ptr<SignResult> json(sign()->Sign6_3(t + 1, data, api));
            std::unique_ptr<SignResult> wide(sign()->Sign6_2(t + 1, data, 1));
            EXPECT_NE(json, nullptr);
            EXPECT_NE(wide, nullptr);
        });
    }
    starter.join();
    for (auto& thread : signers) thread.join();
    GetCapturedStdout();
}

TEST_F(QuilSignImplConcurrency, ManyJudgementsWithVerdictsFromOtherThreadsEachGetTheirOwn) {
    control.SetInt("traffic.mode", 1);
    control.SetInt("traffic.delayMs", 5);
    control.SetInt("traffic.mainAction", 2);
    // Every judgement's verdict carries its own content: one delivered to another caller fails.
    control.SetInt("traffic.paramIsContent", 1);
    CaptureStdout();
    sign()->Start();
    GetCapturedStdout();
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 6; ++t) {
        threads.emplace_back([this, t, &wrong] {
            for (int i = 0; i < 4; ++i) {
                std::string content = "c" + std::to_string(t) + "-" + std::to_string(i);
                std::unique_ptr<ActionResult> result(
                    sign()->ProcessContent(t * 10 + i + 1, content));
                if (result->mainAction != 2 ||
                    result->actionParam != "c" + std::to_string(t) + "-" + std::to_string(i)) {
                    ++wrong;
                }
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(wrong.load(), 0);
    // The stand-in counts a callback once it has returned, which may be after the wake-up.
    EXPECT_TRUE(control.WaitForCount("traffic.callback", 24, 10000));
}

TEST_F(QuilSignImplConcurrency, ManyThreadsAddAndRemoveDelayedTasks) {
    DelayedTaskQueue queue;
    std::atomic<int> ran{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&queue, &ran] {
            for (int i = 0; i < 50; ++i) {
                const int32_t id = queue.AddTask([&ran] { ++ran; }, DelayedTaskQueue::Now());
                queue.RemoveTask(id);
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_LE(ran.load(), 200);
}

}  // namespace
