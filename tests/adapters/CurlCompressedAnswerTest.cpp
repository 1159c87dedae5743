// How the curl transport handles compressed answers, against a loopback server that sends
// exact bytes. It offers "gzip, deflate" (unless told otherwise), hands over the decoded body,
// and hands over a header block that describes that body: without the Content-Encoding line
// and without the Content-Length of the encoded bytes, so a host never decodes twice.
#include <gtest/gtest.h>
#include <zlib.h>

#include <memory>
#include <string>
#include <vector>

#include "HttpRequest.h"
#include "HttpResponse.h"
#include "RawHttpRecorder.h"
#include "quil/CurlHttpClient.h"

namespace {

using quil::CurlHttpClient;
using quil::CurlHttpClientOptions;
using quil::test::RawHttpRecorder;

const std::string kPlain =
    "{\"ret\":[\"SUCCESS::ok\"],\"data\":{\"k\":\"\xe5\x80\xbc\"}}" + std::string(3000, 'q');

std::string Text(const std::vector<char>& bytes) { return std::string(bytes.begin(), bytes.end()); }

// gzip (windowBits 15 + 16) or zlib-wrapped deflate (15) of plain.
std::string Compress(const std::string& plain, int windowBits) {
    z_stream stream{};
    EXPECT_EQ(
        deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, windowBits, 8, Z_DEFAULT_STRATEGY),
        Z_OK);
    std::string out(deflateBound(&stream, plain.size()) + 32, '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(plain.data()));
    stream.avail_in = static_cast<uInt>(plain.size());
    stream.next_out = reinterpret_cast<Bytef*>(&out[0]);
    stream.avail_out = static_cast<uInt>(out.size());
    EXPECT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
    out.resize(stream.total_out);
    deflateEnd(&stream);
    return out;
}

std::unique_ptr<HttpResponse> Get(CurlHttpClient& client, int port,
                                  const std::vector<std::string>& header = {}) {
    auto* request = new HttpRequest();
    request->method = 0;
    request->url = "http://127.0.0.1:" + std::to_string(port) + "/gw/a/1.0/";
    request->header = header;
    std::unique_ptr<HttpResponse> response(client.SendHttpRequest(request));
    EXPECT_NE(response, nullptr);
    return response;
}

TEST(CurlCompressedAnswer, AGzipAnswerIsDecodedAndItsHeadersDescribeTheDecodedBody) {
    RawHttpRecorder server;
    const std::string zipped = Compress(kPlain, 15 + 16);
    server.SetReply(
        "HTTP/1.1 200 OK\r\nServer: nginx\r\nContent-Type: application/json\r\n"
        "Content-Length: " +
        std::to_string(zipped.size()) +
        "\r\nContent-Encoding: gzip\r\nVary: Accept-Encoding\r\n"
        "x-retcode: SUCCESS\r\n\r\n" +
        zipped);
    CurlHttpClient client;
    auto response = Get(client, server.Port(), {"host:h.example"});
    // What it asks for.
    const std::vector<std::string> requests = server.WaitForRequests(1);
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(
        requests[0],
        "GET /gw/a/1.0/ HTTP/1.1\r\nAccept-Encoding: gzip, deflate\r\nhost:h.example\r\n\r\n");
    // What the host then reads.
    EXPECT_EQ(response->statusCode, 200);
    EXPECT_EQ(Text(response->body), kPlain);
    EXPECT_EQ(Text(response->header),
              "HTTP/1.1 200 OK\r\nServer: nginx\r\nContent-Type: application/json\r\n"
              "Vary: Accept-Encoding\r\nx-retcode: SUCCESS\r\n\r\n");
}

TEST(CurlCompressedAnswer, AChunkedGzipAnswerKeepsItsTransferEncodingLine) {
    RawHttpRecorder server;
    const std::string zipped = Compress(kPlain, 15 + 16);
    const std::size_t half = zipped.size() / 2;
    auto chunk = [](const std::string& bytes) {
        char size[32];
        std::snprintf(size, sizeof size, "%zx\r\n", bytes.size());
        return std::string(size) + bytes + "\r\n";
    };
    server.SetReply(
        "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\ncontent-encoding: GZIP\r\n\r\n" +
        chunk(zipped.substr(0, half)) + chunk(zipped.substr(half)) + "0\r\n\r\n");
    CurlHttpClient client;
    auto response = Get(client, server.Port());
    EXPECT_EQ(response->statusCode, 200);
    EXPECT_EQ(Text(response->body), kPlain);
    // The chunks are a matter of the connection and were taken apart by libcurl as always.
    EXPECT_EQ(Text(response->header), "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n");
}

TEST(CurlCompressedAnswer, ADeflateAnswerIsDecodedToo) {
    RawHttpRecorder server;
    const std::string packed = Compress(kPlain, 15);
    server.SetReply("HTTP/1.1 200 OK\r\nContent-Encoding: deflate\r\nContent-Length: " +
                    std::to_string(packed.size()) + "\r\n\r\n" + packed);
    CurlHttpClient client;
    auto response = Get(client, server.Port());
    EXPECT_EQ(response->statusCode, 200);
    EXPECT_EQ(Text(response->body), kPlain);
    EXPECT_EQ(Text(response->header), "HTTP/1.1 200 OK\r\n\r\n");
}

TEST(CurlCompressedAnswer, WithNoEncodingOfferedAGzipAnswerIsStillDecoded) {
    RawHttpRecorder server;
    const std::string zipped = Compress(kPlain, 15 + 16);
    server.SetReply("HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Length: " +
                    std::to_string(zipped.size()) + "\r\n\r\n" + zipped);
    CurlHttpClientOptions options;
    options.acceptEncoding = "";
    CurlHttpClient client(options);
    auto response = Get(client, server.Port(), {"host:h.example"});
    const std::vector<std::string> requests = server.WaitForRequests(1);
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0], "GET /gw/a/1.0/ HTTP/1.1\r\nhost:h.example\r\n\r\n");
    EXPECT_EQ(response->statusCode, 200);
    EXPECT_EQ(Text(response->body), kPlain);
    EXPECT_EQ(Text(response->header), "HTTP/1.1 200 OK\r\n\r\n");
}

TEST(CurlCompressedAnswer, AnIdentityAnswerKeepsItsLength) {
    RawHttpRecorder server;
    server.SetReply("HTTP/1.1 200 OK\r\nContent-Encoding: identity\r\nContent-Length: 2\r\n\r\nok");
    CurlHttpClient client;
    auto response = Get(client, server.Port());
    EXPECT_EQ(response->statusCode, 200);
    EXPECT_EQ(Text(response->body), "ok");
    EXPECT_EQ(Text(response->header), "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n");
}

TEST(CurlCompressedAnswer, ACodingLibcurlCannotDecodeIsAFailureResponse) {
    RawHttpRecorder server;
    server.SetReply(
        "HTTP/1.1 200 OK\r\nContent-Encoding: x-unknown\r\nContent-Length: 4\r\n\r\nabcd");
    CurlHttpClient client;
    auto response = Get(client, server.Port());
    EXPECT_EQ(response->statusCode, 0);
    EXPECT_TRUE(response->header.empty());
    EXPECT_TRUE(response->body.empty());
    EXPECT_EQ(response->errorMessage.rfind("Unrecognized content encoding type", 0), 0u)
        << response->errorMessage;
}

TEST(CurlCompressedAnswer, AGzipBodyThatIsCorruptIsAFailureResponse) {
    RawHttpRecorder server;
    server.SetReply(
        "HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Length: 8\r\n\r\nnot-gzip");
    CurlHttpClient client;
    auto response = Get(client, server.Port());
    EXPECT_EQ(response->statusCode, 0);
    EXPECT_TRUE(response->body.empty());
    EXPECT_FALSE(response->errorMessage.empty());
}

}  // namespace
