#include "RawHttpConnection.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>

namespace quil {
namespace test {

namespace {

std::string Lower(std::string text) {
    for (char& c : text) {
        if (c >= 'A' && c <= 'Z') {
            c = static_cast<char>(c - 'A' + 'a');
        }
    }
    return text;
}

}  // namespace

std::string RawHttpResponse::Header(const std::string& name) const {
    for (const auto& header : headers) {
        if (Lower(header.first) == Lower(name)) {
            return header.second;
        }
    }
    return std::string();
}

bool RawHttpResponse::HasHeader(const std::string& name) const {
    for (const auto& header : headers) {
        if (Lower(header.first) == Lower(name)) {
            return true;
        }
    }
    return false;
}

RawHttpConnection::~RawHttpConnection() { Close(); }

void RawHttpConnection::Close() {
    if (sock_ >= 0) {
        ::close(sock_);
        sock_ = -1;
    }
    pending_.clear();
}

bool RawHttpConnection::Connect(int port) {
    Close();
    sock_ = ::socket(AF_INET, SOCK_STREAM, 0);
    if (sock_ < 0) {
        return false;
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(sock_, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
        Close();
        return false;
    }
    return true;
}

bool RawHttpConnection::Send(const std::string& bytes) {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t n = ::send(sock_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            return false;
        }
        sent += static_cast<std::size_t>(n);
    }
    return true;
}

bool RawHttpConnection::Receive(int timeoutMs) {
    pollfd entry{};
    entry.fd = sock_;
    entry.events = POLLIN;
    if (::poll(&entry, 1, timeoutMs) <= 0) {
        return false;
    }
    char chunk[8192];
    const ssize_t n = ::recv(sock_, chunk, sizeof(chunk), 0);
    if (n <= 0) {
        return false;
    }
    pending_.append(chunk, static_cast<std::size_t>(n));
    return true;
}

bool RawHttpConnection::ReadResponse(RawHttpResponse* response, int timeoutMs) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    const auto remaining = [&] {
        return static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                    deadline - std::chrono::steady_clock::now())
                                    .count());
    };
    std::size_t headEnd;
    while ((headEnd = pending_.find("\r\n\r\n")) == std::string::npos) {
        if (remaining() <= 0 || !Receive(remaining())) {
            return false;
        }
    }
    *response = RawHttpResponse();
    const std::string head = pending_.substr(0, headEnd + 2);
    std::size_t start = 0;
    bool first = true;
    while (start < head.size()) {
        const std::size_t end = head.find("\r\n", start);
        const std::string line = head.substr(start, end - start);
        start = end + 2;
        if (first) {
            response->statusLine = line;
            response->status = std::atoi(line.substr(line.find(' ') + 1).c_str());
            first = false;
            continue;
        }
        const std::size_t colon = line.find(':');
        std::string value = line.substr(colon + 1);
        while (!value.empty() && value.front() == ' ') {
            value.erase(0, 1);
        }
        response->headers.emplace_back(line.substr(0, colon), value);
    }
    pending_.erase(0, headEnd + 4);
    std::size_t length = 0;
    if (response->HasHeader("Content-Length")) {
        length = std::strtoul(response->Header("Content-Length").c_str(), nullptr, 10);
    }
    while (pending_.size() < length) {
        if (remaining() <= 0 || !Receive(remaining())) {
            return false;
        }
    }
    response->body = pending_.substr(0, length);
    pending_.erase(0, length);
    return true;
}

bool RawHttpConnection::ClosedWithoutAnswer(int timeoutMs) {
    if (!pending_.empty()) {
        return false;
    }
    pollfd entry{};
    entry.fd = sock_;
    entry.events = POLLIN;
    if (::poll(&entry, 1, timeoutMs) <= 0) {
        return false;
    }
    char byte = 0;
    const ssize_t n = ::recv(sock_, &byte, 1, 0);
    return n == 0 || (n < 0 && errno == ECONNRESET);
}

bool RoundTrip(int port, const std::string& bytes, RawHttpResponse* response) {
    RawHttpConnection connection;
    return connection.Connect(port) && connection.Send(bytes) && connection.ReadResponse(response);
}

}  // namespace test
}  // namespace quil
