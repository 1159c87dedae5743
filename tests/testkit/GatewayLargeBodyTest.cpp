// The gateway emulator takes realistic payloads: a signed form body of 16 MiB is read whole,
// verified and answered; only a body over the emulator's limit is refused with 413.
#include <gtest/gtest.h>
#include <json/json.h>

#include <ctime>
#include <memory>
#include <string>

#include "EmulatorHttpServer.h"
#include "GatewayEmulator.h"
#include "HandComposedCall.h"
#include "RawHttpConnection.h"

namespace quil {
namespace {

using test::HandComposedCall;
using test::RawHttpConnection;
using test::RawHttpResponse;

constexpr char kAppKey[] = "app-key-1";

class GatewayLargeBody : public ::testing::Test {
protected:
    void SetUp() override {
        GatewayEmulatorOptions options;
        options.appKey = kAppKey;
        emulator_ = std::make_unique<GatewayEmulator>(options);
        ASSERT_TRUE(emulator_->Start(0));
    }

    HandComposedCall Call(const std::string& data) const {
        HandComposedCall call;
        call.appKey = kAppKey;
        call.timestamp = static_cast<long long>(std::time(nullptr));
        call.host = "127.0.0.1:" + std::to_string(emulator_->Port());
        call.data = data;
        return call;
    }

    std::unique_ptr<GatewayEmulator> emulator_;
};

std::string RetOf(const std::string& body) {
    Json::Value value;
    Json::CharReaderBuilder builder;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    EXPECT_TRUE(reader->parse(body.data(), body.data() + body.size(), &value, nullptr))
        << body.substr(0, 200);
    return value["ret"][0].asString();
}

TEST_F(GatewayLargeBody, ASixteenMebibyteFormBodyIsReadVerifiedAndAnswered) {
    // Letters only, so the encoded form body is as long as the data itself.
    const std::string data = "{\"blob\":\"" + std::string(16u * 1024u * 1024u, 'x') + "\"}";
    const HandComposedCall call = Call(data);
    ASSERT_GT(call.Body().size(), 16u * 1024u * 1024u);
    RawHttpResponse response;
    ASSERT_TRUE(test::RoundTrip(emulator_->Port(), call.Wire(), &response));
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(RetOf(response.body), "SUCCESS::call succeeded");
    ASSERT_EQ(emulator_->RequestCount(), 1u);
    EXPECT_EQ(emulator_->Requests().back().body, call.Body());
    EXPECT_EQ(emulator_->Requests().back().answerCode, "SUCCESS");
}

TEST_F(GatewayLargeBody, ABodyOverTheLimitIsAnswered413AndNotHandled) {
    const std::string body(EmulatorHttpServer::kMaxBodyBytes + 1, 'x');
    RawHttpConnection connection;
    ASSERT_TRUE(connection.Connect(emulator_->Port()));
    ASSERT_TRUE(connection.Send(
        "POST /gw/quil.test.echo/1.0/ HTTP/1.1\r\nHost: 127.0.0.1\r\n"
        "Content-Type: application/x-www-form-urlencoded;charset=utf-8\r\nContent-Length: " +
        std::to_string(body.size()) + "\r\n\r\n" + body));
    RawHttpResponse response;
    ASSERT_TRUE(connection.ReadResponse(&response, 30000));
    EXPECT_EQ(response.status, 413);
    EXPECT_EQ(emulator_->RequestCount(), 0u);
}

}  // namespace
}  // namespace quil
