// The byte stream of one accepted connection, handed to cpp-httplib's request parser. It keeps
// every byte the parser consumes for the current request, so the emulator can record the
// header lines exactly as they came, and it can be muted so that nothing more is written (a
// connection closed without an answer). Used by the one thread that serves the connection.
#pragma once

#include <httplib.h>

#include <string>

namespace quil {

class RecordingSocketStream : public httplib::Stream {
public:
    // sock stays owned by the caller. Time-outs bound each wait for the peer.
    RecordingSocketStream(socket_t sock, int readTimeoutMs, int writeTimeoutMs);

    bool is_readable() const override;
    bool is_writable() const override;
    ssize_t read(char* ptr, size_t size) override;
    ssize_t write(const char* ptr, size_t size) override;
    void get_remote_ip_and_port(std::string& ip, int& port) const override;
    void get_local_ip_and_port(std::string& ip, int& port) const override;
    socket_t socket() const override { return sock_; }

    // Waits up to timeoutMs for the first byte of a next request. False on time-out, end of
    // stream or error.
    bool WaitForRequest(int timeoutMs);
    // Starts the record of a new request.
    void BeginRequest() { consumed_.clear(); }
    // The bytes consumed since BeginRequest.
    const std::string& Consumed() const { return consumed_; }
    // Nothing is written from now on; every write fails.
    void Mute() { muted_ = true; }

private:
    bool Fill(int timeoutMs);

    socket_t sock_;
    int readTimeoutMs_;
    int writeTimeoutMs_;
    std::string buffer_;  // received, not yet consumed: buffer_[begin_, end)
    std::size_t begin_ = 0;
    std::string consumed_;
    bool muted_ = false;
};

}  // namespace quil
