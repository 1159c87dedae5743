// Realistic payloads end to end: a 5 MB body is signed, sent through the curl adapter and taken
// by the emulator; an answer compressed by a gzip-enabled front reaches the host decoded, with
// headers that describe the decoded body (no Content-Encoding a host could act on twice).
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "E2eHost.h"

namespace quil {
namespace test {
namespace {

TEST(Payload, AFiveMegabytePostIsSignedSentAndAnswered) {
    E2eHost host;
    ASSERT_TRUE(host.Start());
    const std::string blob(5u * 1024u * 1024u, 'x');
    QuilRequest* request = QuilRequest::Create("e2e.upload", "1.0");
    request->AddData("blob", blob);
    ResponsePtr response = host.Call(request);
    ASSERT_NE(response, nullptr);
    ASSERT_NE(response->GetRetInfo(), nullptr);
    EXPECT_EQ(response->GetStatusCode(), 200);
    EXPECT_EQ(response->GetRetInfo()->retCode, "SUCCESS");
    EXPECT_TRUE(response->IsSuccess());
    ASSERT_EQ(host.Gateway().RequestCount(), 1u);
    const ReceivedRequest received = host.Gateway().Requests().back();
    EXPECT_EQ(received.method, "POST");
    // "data=" and the encoded JSON around the letters, which need no encoding.
    EXPECT_GT(received.body.size(), blob.size());
    EXPECT_NE(received.body.find(blob), std::string::npos);
    EXPECT_EQ(received.answerCode, "SUCCESS");
}

TEST(Payload, AGzipAnswerReachesTheHostDecodedWithoutItsEncodingHeader) {
    GatewayEmulatorOptions options;
    options.gzipAnswers = true;
    E2eHost host(options);
    ASSERT_TRUE(host.Start());
    QuilRequest* request = QuilRequest::Create("e2e.echo", "1.0");
    request->AddData("greeting", std::string("hello"));
    ResponsePtr response = host.Call(request);
    ASSERT_NE(response, nullptr);
    ASSERT_NE(response->GetRetInfo(), nullptr);
    // What the adapter asked for.
    ASSERT_EQ(host.Gateway().RequestCount(), 1u);
    EXPECT_EQ(host.Gateway().Requests().back().Header("Accept-Encoding"), "gzip, deflate");
    // The answer was compressed (its Vary line says so), and the host reads it decoded.
    EXPECT_EQ(response->GetRetInfo()->retCode, "SUCCESS");
    EXPECT_TRUE(response->IsSuccess());
    EXPECT_NE(response->GetBody().find("\"greeting\":\"hello\""), std::string::npos)
        << response->GetBody();
    // Exactly these names: no Content-Encoding, no Content-Length of the compressed bytes.
    const std::map<std::string, std::string> headers = response->GetHeaders();
    std::vector<std::string> names;
    for (const auto& header : headers) {
        names.push_back(header.first);
    }
    EXPECT_EQ(names, (std::vector<std::string>{"Content-Type", "Keep-Alive", "Vary", "s-rt"}));
    EXPECT_EQ(headers.at("Vary"), "Accept-Encoding");
}

}  // namespace
}  // namespace test
}  // namespace quil
