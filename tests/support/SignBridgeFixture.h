// A test fixture for the signing bridge through the real loading path: the stand-in security
// library in the build's SafeGuard folder, reset before and after each test, a recording log and
// statistics sink, and a configuration that points at the stand-in. Teardown releases every
// hang and drains both signing pools, so no task is inside the stand-in when the process ends.
// Header-only: only test executables, which link the stand-in's control, include it.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>

#include "QuilConfig.h"
#include "QuilSignImpl.h"
#include "RecordingLog.h"
#include "RecordingStatistics.h"
#include "StandInControl.h"
#include "ThreadPool.h"

namespace quil {
namespace test {

// Runs a marker task on pool and waits (up to seconds) until it has run: every task queued
// before it has then run too, since the pools run their tasks in order on one thread.
bool DrainPool(ThreadPool* pool, int seconds = 10);

// Waits, up to seconds, until the sink has recorded count calls of operation/point.
bool WaitForStatistics(RecordingStatistics& statistics, const std::string& operation,
                       const std::string& point, std::size_t count, int seconds = 10);

class SignBridgeFixture : public testing::Test {
protected:
    static constexpr const char* kAppKey = "21646297";
    static constexpr const char* kAuthCode = "auth-7";

    void SetUp() override;
    void TearDown() override;

    // Stops every hang of the stand-in, those in progress and those of tasks still queued.
    void EndHangs() {
        for (const char* name : {"jsonSign.hangMs", "urlSign.hangMs", "traffic.hangMs"}) {
            control.SetInt(name, 0);
        }
        control.ReleaseHangs();
    }
    // Points the configuration at a path component that does not exist.
    static void UseMissingLibrary();
    // Shortens every time limit of the bridge to limit.
    static void ShortenLimits(std::chrono::milliseconds limit);

    QuilSignImpl* sign() { return QuilSignImpl::GetInstance(); }

    ScopedRecordingLog log;
    ScopedRecordingStatistics statistics;
    StandInControl control;
};

inline bool DrainPool(ThreadPool* pool, int seconds) {
    auto done = std::make_shared<std::promise<void>>();
    std::future<void> ran = done->get_future();
    pool->AddTask([done] { done->set_value(); }, "drain");
    return ran.wait_for(std::chrono::seconds(seconds)) == std::future_status::ready;
}

inline bool WaitForStatistics(RecordingStatistics& statistics, const std::string& operation,
                              const std::string& point, std::size_t count, int seconds) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    while (statistics.CountOf(operation, point) < count) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

inline void SignBridgeFixture::SetUp() {
    ASSERT_TRUE(control.Loaded()) << "stand-in not found in " << StandInControl::DefaultDirectory();
    control.Reset();
    QuilConfig* config = QuilConfig::GetInstance();
    config->appKey = kAppKey;
    config->authCode = kAuthCode;
    config->environment = 0;
    config->securityPathFile = L"..\\SafeGuard\\OruSafePath.dll";
    config->securityEnabled = true;
    config->webBrowserProxy = nullptr;
}

inline void SignBridgeFixture::TearDown() {
    EndHangs();
    EXPECT_TRUE(DrainPool(sign()->SignPool63()));
    EXPECT_TRUE(DrainPool(sign()->SignPool62()));
    control.Reset();
}

inline void SignBridgeFixture::UseMissingLibrary() {
    QuilConfig::GetInstance()->securityPathFile = L"..\\SafeGuard\\Missing.dll";
}

inline void SignBridgeFixture::ShortenLimits(std::chrono::milliseconds limit) {
    QuilSignImpl::SetTimeLimitsForTesting(limit, limit, limit);
}

}  // namespace test
}  // namespace quil
