#include "RecordingSocketStream.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace quil {

namespace {

constexpr std::size_t kReceiveChunk = 16384;

bool WaitFor(socket_t sock, short events, int timeoutMs) {
    pollfd entry{};
    entry.fd = sock;
    entry.events = events;
    for (;;) {
        const int ready = ::poll(&entry, 1, timeoutMs);
        if (ready < 0 && errno == EINTR) {
            continue;
        }
        return ready > 0;
    }
}

void AddressOf(const sockaddr_storage& address, std::string& ip, int& port) {
    char text[INET6_ADDRSTRLEN] = {0};
    if (address.ss_family == AF_INET) {
        const auto* v4 = reinterpret_cast<const sockaddr_in*>(&address);
        ::inet_ntop(AF_INET, &v4->sin_addr, text, sizeof(text));
        port = ntohs(v4->sin_port);
    } else if (address.ss_family == AF_INET6) {
        const auto* v6 = reinterpret_cast<const sockaddr_in6*>(&address);
        ::inet_ntop(AF_INET6, &v6->sin6_addr, text, sizeof(text));
        port = ntohs(v6->sin6_port);
    } else {
        port = 0;
    }
    ip = text;
}

}  // namespace

RecordingSocketStream::RecordingSocketStream(socket_t sock, int readTimeoutMs, int writeTimeoutMs)
    : sock_(sock), readTimeoutMs_(readTimeoutMs), writeTimeoutMs_(writeTimeoutMs) {}

bool RecordingSocketStream::is_readable() const {
    return begin_ < buffer_.size() || WaitFor(sock_, POLLIN, readTimeoutMs_);
}

bool RecordingSocketStream::is_writable() const {
    return !muted_ && WaitFor(sock_, POLLOUT, writeTimeoutMs_);
}

bool RecordingSocketStream::Fill(int timeoutMs) {
    if (begin_ < buffer_.size()) {
        return true;
    }
    buffer_.clear();
    begin_ = 0;
    if (!WaitFor(sock_, POLLIN, timeoutMs)) {
        return false;
    }
    char chunk[kReceiveChunk];
    for (;;) {
        const ssize_t received = ::recv(sock_, chunk, sizeof(chunk), 0);
        if (received < 0 && errno == EINTR) {
            continue;
        }
        if (received <= 0) {
            return false;
        }
        buffer_.assign(chunk, static_cast<std::size_t>(received));
        return true;
    }
}

bool RecordingSocketStream::WaitForRequest(int timeoutMs) { return Fill(timeoutMs); }

ssize_t RecordingSocketStream::read(char* ptr, size_t size) {
    if (size == 0) {
        return 0;
    }
    if (!Fill(readTimeoutMs_)) {
        return -1;
    }
    const std::size_t count = std::min(size, buffer_.size() - begin_);
    std::memcpy(ptr, buffer_.data() + begin_, count);
    consumed_.append(buffer_, begin_, count);
    begin_ += count;
    return static_cast<ssize_t>(count);
}

ssize_t RecordingSocketStream::write(const char* ptr, size_t size) {
    if (muted_) {
        return -1;
    }
    if (!WaitFor(sock_, POLLOUT, writeTimeoutMs_)) {
        return -1;
    }
    for (;;) {
        const ssize_t sent = ::send(sock_, ptr, size, MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) {
            continue;
        }
        return sent;
    }
}

void RecordingSocketStream::get_remote_ip_and_port(std::string& ip, int& port) const {
    sockaddr_storage address{};
    socklen_t length = sizeof(address);
    if (::getpeername(sock_, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        ip.clear();
        port = 0;
        return;
    }
    AddressOf(address, ip, port);
}

void RecordingSocketStream::get_local_ip_and_port(std::string& ip, int& port) const {
    sockaddr_storage address{};
    socklen_t length = sizeof(address);
    if (::getsockname(sock_, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        ip.clear();
        port = 0;
        return;
    }
    AddressOf(address, ip, port);
}

}  // namespace quil
