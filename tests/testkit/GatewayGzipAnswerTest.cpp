// The emulator as a gzip-enabled front: with gzipAnswers on, a gateway answer goes out
// gzip-encoded to a request that offers gzip, and plain to one that does not.
#include <gtest/gtest.h>
#include <zlib.h>

#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "AnswerCompression.h"
#include "GatewayEmulator.h"
#include "HandComposedCall.h"
#include "RawHttpConnection.h"

namespace quil {
namespace {

using test::HandComposedCall;
using test::RawHttpResponse;

constexpr char kAppKey[] = "app-key-1";

std::string Gunzip(const std::string& zipped) {
    z_stream stream{};
    EXPECT_EQ(inflateInit2(&stream, 15 + 16), Z_OK);
    std::string out(1 << 20, '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(zipped.data()));
    stream.avail_in = static_cast<uInt>(zipped.size());
    stream.next_out = reinterpret_cast<Bytef*>(&out[0]);
    stream.avail_out = static_cast<uInt>(out.size());
    EXPECT_EQ(inflate(&stream, Z_FINISH), Z_STREAM_END);
    out.resize(stream.total_out);
    inflateEnd(&stream);
    return out;
}

class GatewayGzipAnswer : public ::testing::Test {
protected:
    void SetUp() override {
        GatewayEmulatorOptions options;
        options.appKey = kAppKey;
        options.gzipAnswers = true;
        emulator_ = std::make_unique<GatewayEmulator>(options);
        ASSERT_TRUE(emulator_->Start(0));
    }

    RawHttpResponse Send(const std::vector<std::string>& extraLines) {
        HandComposedCall call;
        call.appKey = kAppKey;
        call.timestamp = static_cast<long long>(std::time(nullptr));
        call.host = "127.0.0.1:" + std::to_string(emulator_->Port());
        std::vector<std::string> lines = call.HeaderLines();
        lines.insert(lines.end(), extraLines.begin(), extraLines.end());
        RawHttpResponse response;
        EXPECT_TRUE(test::RoundTrip(emulator_->Port(), call.Wire(lines), &response));
        return response;
    }

    std::unique_ptr<GatewayEmulator> emulator_;
};

TEST_F(GatewayGzipAnswer, ARequestOfferingGzipGetsAGzipBody) {
    const RawHttpResponse response = Send({"Accept-Encoding: gzip, deflate"});
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(response.Header("Content-Encoding"), "gzip");
    EXPECT_EQ(response.Header("Vary"), "Accept-Encoding");
    EXPECT_NE(Gunzip(response.body).find("SUCCESS::call succeeded"), std::string::npos);
}

TEST_F(GatewayGzipAnswer, ARequestWithoutTheOfferGetsAPlainBody) {
    const RawHttpResponse response = Send({});
    EXPECT_EQ(response.status, 200);
    EXPECT_FALSE(response.HasHeader("Content-Encoding"));
    EXPECT_NE(response.body.find("SUCCESS::call succeeded"), std::string::npos);
}

TEST(AnswerCompression, TheOfferIsReadFromEveryAcceptEncodingLine) {
    ReceivedRequest request;
    EXPECT_FALSE(OffersGzip(request));
    request.headerLines = {"accept-encoding: deflate, GZIP;q=0.5"};
    EXPECT_TRUE(OffersGzip(request));
    request.headerLines = {"Accept-Encoding: gzip;q=0", "Accept-Encoding: br"};
    EXPECT_FALSE(OffersGzip(request));
    request.headerLines = {"Accept-Encoding: br", "Accept-Encoding: x-gzip, gzip"};
    EXPECT_TRUE(OffersGzip(request));
    request.headerLines = {"X-Accept-Encoding: gzip"};
    EXPECT_FALSE(OffersGzip(request));
}

}  // namespace
}  // namespace quil
