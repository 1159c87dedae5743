#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "FakeCookieStorage.h"
#include "HttpRequestComposer.h"
#include "QuilConfig.h"
#include "QuilRequestImpl.h"
#include "QuilResponseAssembler.h"
#include "RecordingLog.h"
#include "TestSync.h"
#include "UTDataSet.h"

using quil::test::FakeCookieStorage;
using quil::test::Gate;
using quil::test::ScopedRecordingLog;

// Several calls compose and assemble at once while the host changes the session of their
// account: each session line is whole, and nothing is shared unguarded.
TEST(HttpRequestComposerConcurrency, CallsComposeWhileTheSessionChanges) {
    QuilConfig* config = QuilConfig::GetInstance();
    config->environment = 0;
    config->appKey = "app";
    FakeCookieStorage storage("c=1");
    config->RegisterCookieStorage(&storage);
    ScopedRecordingLog log;

    constexpr int kThreads = 4;
    constexpr int kRounds = 100;
    Gate start;
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            ASSERT_TRUE(start.Pass());
            for (int i = 0; i < kRounds; ++i) {
                auto* request = new QuilRequestImpl("quil.test.api", "1.0");
                request->SetId(t * kRounds + i + 1);
                request->SetNeedLogin(true);
                request->SetTimestamp(1700000000);
                UTDataSet::GetInstance()->CreateMetricsEntity(request);
                std::unique_ptr<HttpRequest> http(
                    HttpRequestComposer::GetHttpRequest(request, nullptr));
                std::string input;
                HttpRequestComposer::GetOriginalSignUrl(input, request, true);
                // The sid and the uid are read one after the other, so a change between the
                // two reads may leave one of them; each line present is whole.
                const std::vector<std::string>& lines = http->header;
                bool whole =
                    lines.size() >= 10 && lines.size() <= 12 && lines.back() == "Cookie:c=1";
                for (const std::string& line : lines) {
                    if (line.rfind("x-sid:", 0) == 0 && line != "x-sid:sid") whole = false;
                    if (line.rfind("x-uid:", 0) == 0 && line != "x-uid:uid") whole = false;
                }
                if (!whole) ++wrong;
                HttpResponse answer;
                const std::string body = "{\"ret\":[\"SUCCESS::ok\"]}";
                answer.statusCode = 200;
                answer.body.assign(body.begin(), body.end());
                std::unique_ptr<QuilResponse> response(
                    QuilResponseAssembler::GetQuilResponse(&answer, request));
                if (response->GetRetInfo()->retCode != "SUCCESS") ++wrong;
                UTDataSet::GetInstance()->CusumeMetricsEntity(request);
            }
        });
    }
    start.Open();
    for (int i = 0; i < 200; ++i) {
        config->RegisterMultiAccountSession("", "sid", "uid");
        config->LogoutMultiAccountSession("");
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(wrong.load(), 0);
    EXPECT_EQ(storage.Urls().size(), static_cast<size_t>(kThreads * kRounds));
    EXPECT_EQ(UTDataSet::GetInstance()->Size(), 0u);
}
