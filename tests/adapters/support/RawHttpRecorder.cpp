#include "RawHttpRecorder.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <stdexcept>

namespace quil {
namespace test {

namespace {

// The Content-Length of a request head, 0 when it has none.
std::size_t ContentLength(const std::string& head) {
    std::size_t start = head.find("\r\n");
    while (start != std::string::npos && start + 2 < head.size()) {
        const std::size_t end = head.find("\r\n", start + 2);
        const std::string line = head.substr(start + 2, end - start - 2);
        std::string lower;
        for (char c : line) lower += static_cast<char>((c >= 'A' && c <= 'Z') ? c + 32 : c);
        if (lower.rfind("content-length:", 0) == 0) {
            return static_cast<std::size_t>(std::strtoul(line.c_str() + 15, nullptr, 10));
        }
        start = end;
    }
    return 0;
}

bool SendAll(int fd, const std::string& data) {
    std::size_t sent = 0;
    while (sent < data.size()) {
        const ssize_t n = ::send(fd, data.data() + sent, data.size() - sent, MSG_NOSIGNAL);
        if (n <= 0) return false;
        sent += static_cast<std::size_t>(n);
    }
    return true;
}

}  // namespace

RawHttpRecorder::RawHttpRecorder() {
    listenFd_ = ::socket(AF_INET, SOCK_STREAM, 0);
    if (listenFd_ < 0) throw std::runtime_error("socket failed");
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = 0;
    if (::bind(listenFd_, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 ||
        ::listen(listenFd_, 64) != 0) {
        ::close(listenFd_);
        throw std::runtime_error("bind or listen failed");
    }
    socklen_t length = sizeof(address);
    ::getsockname(listenFd_, reinterpret_cast<sockaddr*>(&address), &length);
    port_ = ntohs(address.sin_port);
    acceptThread_ = std::thread([this] { AcceptLoop(); });
}

RawHttpRecorder::~RawHttpRecorder() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
        // Shutting a socket down wakes the thread blocked on it.
        for (int fd : connectionFds_) ::shutdown(fd, SHUT_RDWR);
    }
    ::shutdown(listenFd_, SHUT_RDWR);
    acceptThread_.join();
    ::close(listenFd_);
    // The accept thread has ended, so no thread is added any more.
    for (std::thread& thread : connectionThreads_) thread.join();
    for (int fd : connectionFds_) ::close(fd);
}

void RawHttpRecorder::SetReply(const std::string& reply) {
    std::lock_guard<std::mutex> lock(mutex_);
    reply_ = reply;
}

std::vector<std::string> RawHttpRecorder::WaitForRequests(std::size_t count) {
    std::unique_lock<std::mutex> lock(mutex_);
    arrived_.wait_for(lock, std::chrono::seconds(5), [&] { return requests_.size() >= count; });
    return requests_;
}

std::size_t RawHttpRecorder::AcceptedConnections() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return accepted_;
}

void RawHttpRecorder::AcceptLoop() {
    for (;;) {
        const int fd = ::accept(listenFd_, nullptr, nullptr);
        std::lock_guard<std::mutex> lock(mutex_);
        if (fd < 0) {
            if (stopping_ || errno != EINTR) return;
            continue;
        }
        if (stopping_) {
            ::close(fd);
            return;
        }
        ++accepted_;
        connectionFds_.push_back(fd);
        connectionThreads_.emplace_back([this, fd] { Serve(fd); });
    }
}

void RawHttpRecorder::Serve(int fd) {
    std::string pending;
    char buffer[4096];
    for (;;) {
        // One request: the head up to the empty line, then Content-Length bytes of body.
        std::size_t headEnd;
        while ((headEnd = pending.find("\r\n\r\n")) == std::string::npos) {
            const ssize_t n = ::recv(fd, buffer, sizeof(buffer), 0);
            if (n <= 0) return;
            pending.append(buffer, static_cast<std::size_t>(n));
        }
        const std::size_t total = headEnd + 4 + ContentLength(pending.substr(0, headEnd + 2));
        while (pending.size() < total) {
            const ssize_t n = ::recv(fd, buffer, sizeof(buffer), 0);
            if (n <= 0) return;
            pending.append(buffer, static_cast<std::size_t>(n));
        }
        std::string reply;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            requests_.push_back(pending.substr(0, total));
            reply = reply_;
        }
        arrived_.notify_all();
        pending.erase(0, total);
        if (!SendAll(fd, reply)) return;
    }
}

}  // namespace test
}  // namespace quil
