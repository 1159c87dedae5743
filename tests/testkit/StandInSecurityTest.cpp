// The stand-in security library that the SDK's tests and the end-to-end runs sign with: its
// digest, its signatures through the loaded interfaces, and its run-time controls.
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "JsonUrlSign.h"
#include "QuilConfig.h"
#include "Sha256.h"
#include "SignComponentLoader.h"
#include "StandInControl.h"
#include "StandInSignature.h"
#include "TrafficFilter.h"
#include "UrlSign.h"

namespace {

using quil::standin::HmacSha256;
using quil::standin::Sha256;
using quil::standin::Signature;
using quil::standin::ToHex;

TEST(StandInDigest, Sha256MatchesKnownVectors) {
    EXPECT_EQ(ToHex(Sha256("")),
              "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(ToHex(Sha256("abc")),
              "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(ToHex(Sha256("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq")),
              "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
}

TEST(StandInDigest, HmacSha256MatchesKnownVectors) {
    EXPECT_EQ(ToHex(HmacSha256("Jefe", "what do ya want for nothing?")),
              "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843");
    // A key longer than the block is hashed first.
    EXPECT_EQ(ToHex(HmacSha256(std::string(131, '\xaa'),
                               "Test Using Larger Than Block-Size Key - Hash Key First")),
              "60e431591ee0b67f0d8a26aacbf5b77f8e0bc6213728c5140546040f0ee37f54");
}

class StandIn : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(control.Loaded());
        control.Reset();
        testing::internal::CaptureStdout();
        ASSERT_TRUE(json.Load());
        ASSERT_TRUE(url.Load());
        ASSERT_TRUE(traffic.Load());
        testing::internal::GetCapturedStdout();
    }
    void TearDown() override { control.Reset(); }

    quil::StandInControl control;
    JsonUrlSign json;
    UrlSign url;
    TrafficFilter traffic;
};

TEST_F(StandIn, JsonRoadAnswersAKeyedSignatureOfTheData) {
    const std::string line =
        R"({"api":"quil.test.api","appkey":"12345","authCode":"","data":"a&b&c","env":2})";
    uint32_t code = 99;
    const char* answer = json.proxy->Sign(line.c_str(), &code);
    ASSERT_NE(answer, nullptr);
    EXPECT_EQ(code, 0u);
    EXPECT_EQ(std::string(answer), R"({"x-standin-scheme":"hmac-sha256","x-standin-sign":")" +
                                       Signature("12345", "6.3", "a&b&c") + "\"}");
    json.proxy->Free(answer);
    EXPECT_EQ(control.Texts("jsonSign.input"), (std::vector<std::string>{line}));
    EXPECT_EQ(control.Count("jsonSign.free"), 1);
}

TEST_F(StandIn, RecordsCanBeTurnedOffWhileCountersGoOn) {
    control.SetInt("records.off", 1);
    const std::string line =
        R"({"api":"quil.test.api","appkey":"12345","authCode":"","data":"a","env":2})";
    uint32_t code = 99;
    const char* answer = json.proxy->Sign(line.c_str(), &code);
    ASSERT_NE(answer, nullptr);
    json.proxy->Free(answer);
    EXPECT_TRUE(control.Texts("jsonSign.input").empty());
    EXPECT_EQ(control.Count("jsonSign.sign"), 1);
    control.SetInt("records.off", 0);
    answer = json.proxy->Sign(line.c_str(), &code);
    ASSERT_NE(answer, nullptr);
    json.proxy->Free(answer);
    EXPECT_EQ(control.Texts("jsonSign.input"), (std::vector<std::string>{line}));
}

TEST_F(StandIn, JsonRoadFailsWithTheGivenCodeOrAnswersEmpty) {
    control.SetInt("jsonSign.fail", 1);
    control.SetInt("jsonSign.code", 16001);
    uint32_t code = 0;
    EXPECT_EQ(json.proxy->Sign(R"({"appkey":"k","data":"d"})", &code), nullptr);
    EXPECT_EQ(code, 16001u);
    control.SetInt("jsonSign.fail", 0);
    control.SetInt("jsonSign.empty", 1);
    const char* answer = json.proxy->Sign(R"({"appkey":"k","data":"d"})", &code);
    ASSERT_NE(answer, nullptr);
    EXPECT_EQ(std::string(answer), "{}");
    EXPECT_EQ(code, 0u);
    json.proxy->Free(answer);
}

TEST_F(StandIn, WideRoadWritesTheSignatureOfItsMethodIntoTheBuffer) {
    std::wstring buffer(1024, L'\0');
    const std::wstring data = L"u&x&y";
    data.copy(&buffer[0], data.size());
    int32_t capacity = 1024;
    ASSERT_NE(url.proxy->Sign(L"12345", 2, &buffer[0], &capacity), 0);
    const std::string expected = Signature("12345", "6.2/2", "u&x&y");
    EXPECT_EQ(std::wstring(buffer.c_str()), std::wstring(expected.begin(), expected.end()));
    EXPECT_NE(expected, Signature("12345", "6.2/1", "u&x&y"));
    EXPECT_EQ(control.Texts("urlSign.appKey"), (std::vector<std::string>{"12345"}));
    EXPECT_EQ(control.Texts("urlSign.data"), (std::vector<std::string>{"u&x&y"}));
    EXPECT_EQ(control.Texts("urlSign.method"), (std::vector<std::string>{"2"}));
    EXPECT_EQ(control.Texts("urlSign.capacity"), (std::vector<std::string>{"1024"}));
}

TEST_F(StandIn, WideRoadFailureLeavesItsCodeForGetLastError) {
    control.SetInt("urlSign.fail", 1);
    control.SetInt("urlSign.code", 70012);
    wchar_t buffer[16] = L"data";
    int32_t capacity = 16;
    EXPECT_EQ(url.proxy->Sign(L"k", 1, buffer, &capacity), 0);
    EXPECT_EQ(url.errorCode->GetLastError(), 70012);
}

TEST_F(StandIn, AHangEndsWhenReleased) {
    control.SetInt("jsonSign.hangMs", -1);
    std::atomic<bool> done{false};
    std::thread signer([&] {
        uint32_t code = 0;
        const char* answer = json.proxy->Sign(R"({"appkey":"k","data":"d"})", &code);
        json.proxy->Free(answer);
        done = true;
    });
    ASSERT_TRUE(control.WaitForCount("jsonSign.hangMs.entered", 1, 5000));
    EXPECT_FALSE(done);
    control.ReleaseHangs();
    signer.join();
    EXPECT_TRUE(done);
}

// Collects verdicts delivered to the callback, from any thread.
struct Verdicts {
    std::mutex mutex;  // guards texts
    std::condition_variable arrived;
    std::vector<std::string> texts;
};
Verdicts* verdicts = nullptr;

void RecordVerdict(int mainAction, int subAction, const char* sequenceId, const char* actionParam) {
    std::lock_guard<std::mutex> lock(verdicts->mutex);
    verdicts->texts.push_back(std::to_string(mainAction) + "/" + std::to_string(subAction) + "/" +
                              (sequenceId ? sequenceId : "(null)") + "/" +
                              (actionParam ? actionParam : "(null)"));
    verdicts->arrived.notify_all();
}

TEST_F(StandIn, TrafficVerdictInsideTheCallWithOutValues) {
    Verdicts seen;
    verdicts = &seen;
    control.SetInt("traffic.mainAction", 3);
    control.SetInt("traffic.subAction", 4);
    control.SetText("traffic.param", "p");
    control.SetInt("traffic.isAsync", 1);
    control.SetInt("traffic.errorCode", 9);
    uint32_t isAsync = 0;
    uint32_t errorCode = 0;
    traffic.proxy->ProcessContent("content", "1_processContent", &RecordVerdict, &isAsync,
                                  &errorCode);
    EXPECT_EQ(seen.texts, (std::vector<std::string>{"3/4/1_processContent/p"}));
    EXPECT_EQ(isAsync, 1u);
    EXPECT_EQ(errorCode, 9u);
    EXPECT_EQ(control.Texts("traffic.content"), (std::vector<std::string>{"content"}));
    verdicts = nullptr;
}

TEST_F(StandIn, HeldTrafficVerdictArrivesFromAnotherThreadWhenFired) {
    Verdicts seen;
    verdicts = &seen;
    control.SetInt("traffic.mode", 2);
    control.SetInt("traffic.nullParam", 1);
    uint32_t isAsync = 0;
    uint32_t errorCode = 0;
    traffic.proxy->ProcessContent("c", "7_processContent", &RecordVerdict, &isAsync, &errorCode);
    EXPECT_TRUE(seen.texts.empty());
    EXPECT_EQ(control.FireHeldVerdicts(), 1);
    EXPECT_EQ(seen.texts, (std::vector<std::string>{"0/0/7_processContent/(null)"}));
    verdicts = nullptr;
}

TEST_F(StandIn, LaterTrafficVerdictComesFromAnotherThread) {
    Verdicts seen;
    verdicts = &seen;
    control.SetInt("traffic.mode", 1);
    control.SetInt("traffic.nullSequence", 1);
    uint32_t isAsync = 0;
    uint32_t errorCode = 0;
    traffic.proxy->ProcessContent("c", "8_processContent", &RecordVerdict, &isAsync, &errorCode);
    {
        std::unique_lock<std::mutex> lock(seen.mutex);
        ASSERT_TRUE(seen.arrived.wait_for(lock, std::chrono::seconds(5),
                                          [&] { return !seen.texts.empty(); }));
    }
    control.Reset();  // joins the delivering thread
    EXPECT_EQ(seen.texts, (std::vector<std::string>{"0/0/(null)/"}));
    verdicts = nullptr;
}

TEST_F(StandIn, CookiesAndVersionAreGivenOnlyWhenSet) {
    char* text = nullptr;
    int32_t length = 0;
    EXPECT_EQ(traffic.proxy->GetCookies("https://a.example/", 0, &text, &length), 0);
    EXPECT_EQ(text, nullptr);
    control.SetText("traffic.cookies", "a=1; b=2");
    control.SetText("traffic.version", "kv-9");
    ASSERT_NE(traffic.proxy->GetCookies("https://a.example/", 0, &text, &length), 0);
    EXPECT_EQ(std::string(text), "a=1; b=2");
    EXPECT_EQ(length, 8);
    traffic.proxy->FreeBuffer(text);
    traffic.proxy->GetVersion(&text, &length);
    EXPECT_EQ(std::string(text), "kv-9");
    traffic.proxy->FreeBuffer(text);
    EXPECT_EQ(control.Count("traffic.allocated"), control.Count("traffic.freeBuffer"));
    EXPECT_EQ(control.Texts("traffic.cookieUrl"),
              (std::vector<std::string>{"https://a.example/", "https://a.example/"}));
}

}  // namespace
