// A loopback HTTP/1.1 server for tests that records every request byte for byte (request line,
// header lines, body) and the number of TCP connections it accepted, and answers each request
// with one fixed reply. Binds 127.0.0.1 on a free port; the destructor stops it and joins its
// threads. Thread-safe.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace quil {
namespace test {

class RawHttpRecorder {
public:
    RawHttpRecorder();
    ~RawHttpRecorder();

    RawHttpRecorder(const RawHttpRecorder&) = delete;
    RawHttpRecorder& operator=(const RawHttpRecorder&) = delete;

    int Port() const { return port_; }
    // The complete bytes sent for every later request (status line, headers, body).
    void SetReply(const std::string& reply);
    // Waits up to five seconds until count requests have arrived; returns what arrived.
    std::vector<std::string> WaitForRequests(std::size_t count);
    std::size_t AcceptedConnections() const;

private:
    void AcceptLoop();
    void Serve(int fd);

    int listenFd_ = -1;
    int port_ = 0;
    // Guards everything below.
    mutable std::mutex mutex_;
    std::condition_variable arrived_;
    std::string reply_ = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok";
    std::vector<std::string> requests_;
    std::vector<int> connectionFds_;
    std::vector<std::thread> connectionThreads_;
    std::size_t accepted_ = 0;
    bool stopping_ = false;
    std::thread acceptThread_;
};

}  // namespace test
}  // namespace quil
