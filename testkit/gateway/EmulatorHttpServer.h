// The gateway emulator's HTTP server: cpp-httplib's request parser and writer over connections
// that it serves itself, so that it can count accepted connections, record each request's
// header lines exactly as received, close a connection without answering, and stop promptly.
// Binds 127.0.0.1 only. Start and Shutdown from one owning thread; the responder is called on
// connection threads, concurrently.
#pragma once

#include <httplib.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <thread>

#include "EmulatorAnswer.h"
#include "ReceivedRequest.h"
#include "RequestJournal.h"

namespace quil {

class EmulatorHttpServer : public httplib::Server {
public:
    // Decides the answer to a received request; may fill the request's signInput.
    using Responder = std::function<EmulatorAnswer(ReceivedRequest&)>;

    // journal is not owned and must outlive the server.
    EmulatorHttpServer(Responder responder, RequestJournal& journal);
    ~EmulatorHttpServer() override;

    // Binds 127.0.0.1:port (0 lets the system pick) and serves on a thread of its own. Returns
    // the bound port, or -1 when the port cannot be had. Call once.
    int Start(int port);
    // Wakes delayed answers, shuts every open connection and joins every thread. Idempotent.
    void Shutdown();

    uint64_t AcceptedConnections() const { return accepted_.load(); }

    // The largest request body taken; a larger one is answered 413 and not kept.
    static constexpr std::size_t kMaxBodyBytes = 32u * 1024u * 1024u;

private:
    bool process_and_close_socket(socket_t sock) override;

    void Handle(const std::string& body, httplib::Response& response);
    void WaitUnlessStopping(int delayMs);
    bool Register(socket_t sock);
    void Unregister(socket_t sock);

    Responder responder_;
    RequestJournal& journal_;
    std::thread listener_;
    std::atomic<uint64_t> accepted_{0};

    // Guards connections_ and stopping_; stopping_ is signalled on stopped_ under it.
    std::mutex mutex_;
    std::condition_variable stopped_;
    std::set<socket_t> connections_;
    bool stopping_ = false;
};

}  // namespace quil
