// A cpp-httplib server on 127.0.0.1 and a free port, for tests: register handlers on Server(),
// then Start(). It counts the TCP connections its requests came over (distinct client
// ports). The destructor stops it and joins its thread. Thread-safe after Start().
#pragma once

#include <httplib.h>

#include <cstddef>
#include <mutex>
#include <set>
#include <string>
#include <thread>

namespace quil {
namespace test {

class LocalHttpServer {
public:
    LocalHttpServer();
    ~LocalHttpServer();

    LocalHttpServer(const LocalHttpServer&) = delete;
    LocalHttpServer& operator=(const LocalHttpServer&) = delete;

    // Handlers are registered here before Start.
    httplib::Server& Server() { return server_; }
    // Binds 127.0.0.1 on a free port and serves on a thread of its own.
    void Start();
    int Port() const { return port_; }
    // "http://127.0.0.1:<port>" followed by path.
    std::string Url(const std::string& path) const;
    // How many connections the requests so far came over.
    std::size_t Connections() const;

private:
    httplib::Server server_;
    int port_ = 0;
    // Guards clientPorts_.
    mutable std::mutex mutex_;
    std::set<int> clientPorts_;
    std::thread thread_;
};

}  // namespace test
}  // namespace quil
