// A bare HTTP/1.1 client over one plain TCP connection to 127.0.0.1, for testing the gateway
// emulator without any client library in between: it sends exactly the bytes it is given and
// reads answers by Content-Length. One thread at a time.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace quil {
namespace test {

struct RawHttpResponse {
    int status = 0;
    std::string statusLine;
    std::vector<std::pair<std::string, std::string>> headers;  // in received order
    std::string body;

    // The value of the first header with this name (compared without case), "" if none.
    std::string Header(const std::string& name) const;
    bool HasHeader(const std::string& name) const;
};

class RawHttpConnection {
public:
    RawHttpConnection() = default;
    ~RawHttpConnection();
    RawHttpConnection(const RawHttpConnection&) = delete;
    RawHttpConnection& operator=(const RawHttpConnection&) = delete;

    bool Connect(int port);
    bool Send(const std::string& bytes);
    // Reads one whole answer within timeoutMs. False when the connection ends first.
    bool ReadResponse(RawHttpResponse* response, int timeoutMs = 5000);
    // True when the peer closes the connection within timeoutMs without sending a byte.
    bool ClosedWithoutAnswer(int timeoutMs = 5000);
    void Close();

private:
    bool Receive(int timeoutMs);

    int sock_ = -1;
    std::string pending_;
};

// Sends bytes on a fresh connection and reads one answer.
bool RoundTrip(int port, const std::string& bytes, RawHttpResponse* response);

}  // namespace test
}  // namespace quil
