// The header block of a decoded answer: which lines go, which stay, byte for byte.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "CurlDecodedHeaders.h"

namespace {

using quil::CurlDecodedHeaders;

std::string Applied(const std::string& block) {
    std::vector<char> bytes(block.begin(), block.end());
    CurlDecodedHeaders::Apply(bytes);
    return std::string(bytes.begin(), bytes.end());
}

TEST(CurlDecodedHeaders, WithoutContentEncodingNothingChanges) {
    const std::string block = "HTTP/1.1 200 OK\r\nContent-Length: 10\r\nA: b\r\n\r\n";
    EXPECT_EQ(Applied(block), block);
    EXPECT_EQ(Applied(""), "");
}

TEST(CurlDecodedHeaders, AGzipCodingTakesItsLineAndTheLengthOut) {
    EXPECT_EQ(Applied("HTTP/1.1 200 OK\r\ncontent-length: 31\r\nA: b\r\n"
                      "CONTENT-ENCODING:gzip\r\nC: d\r\n\r\n"),
              "HTTP/1.1 200 OK\r\nA: b\r\nC: d\r\n\r\n");
}

TEST(CurlDecodedHeaders, EveryEncodingAndLengthLineGoesWhenOneNamesACoding) {
    EXPECT_EQ(Applied("HTTP/1.1 200 OK\r\nContent-Encoding: identity\r\nContent-Length: 5\r\n"
                      "Content-Encoding:  deflate , gzip\r\nContent-Length: 5\r\n\r\n"),
              "HTTP/1.1 200 OK\r\n\r\n");
}

TEST(CurlDecodedHeaders, IdentityAloneKeepsTheLength) {
    EXPECT_EQ(Applied("HTTP/1.1 200 OK\r\nContent-Encoding: Identity\r\nContent-Length: 2\r\n\r\n"),
              "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n");
    EXPECT_EQ(Applied("HTTP/1.1 200 OK\r\nContent-Encoding:\r\nContent-Length: 2\r\n\r\n"),
              "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n");
}

TEST(CurlDecodedHeaders, LinesThatOnlyLookAlikeStay) {
    const std::string block =
        "HTTP/1.1 200 OK\r\nX-Content-Encoding: gzip\r\nContent-Encodings: br\r\n"
        "Content-Length-X: 1\r\n\r\n";
    EXPECT_EQ(Applied(block), block);
}

TEST(CurlDecodedHeaders, AStatusLineWithAColonIsNeverTakenForAHeader) {
    EXPECT_EQ(Applied("HTTP/1.1 200 Content-Encoding: gzip\r\nContent-Encoding: gzip\r\n\r\n"),
              "HTTP/1.1 200 Content-Encoding: gzip\r\n\r\n");
}

}  // namespace
