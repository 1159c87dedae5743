#include "LocalHttpServer.h"

#include <stdexcept>

namespace quil {
namespace test {

LocalHttpServer::LocalHttpServer() {
    // Without these a reused connection stalls on Nagle's delay, and every fifth request
    // closes its connection, which would spoil a count of connections.
    server_.set_tcp_nodelay(true);
    server_.set_keep_alive_max_count(100000);
    server_.set_pre_routing_handler([this](const httplib::Request& request, httplib::Response&) {
        std::lock_guard<std::mutex> lock(mutex_);
        clientPorts_.insert(request.remote_port);
        return httplib::Server::HandlerResponse::Unhandled;
    });
}

LocalHttpServer::~LocalHttpServer() {
    if (thread_.joinable()) {
        server_.stop();
        thread_.join();
    }
}

void LocalHttpServer::Start() {
    port_ = server_.bind_to_any_port("127.0.0.1");
    if (port_ <= 0) throw std::runtime_error("cannot bind 127.0.0.1");
    // The socket already listens, so clients may connect before this thread runs.
    thread_ = std::thread([this] { server_.listen_after_bind(); });
}

std::string LocalHttpServer::Url(const std::string& path) const {
    return "http://127.0.0.1:" + std::to_string(port_) + path;
}

std::size_t LocalHttpServer::Connections() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return clientPorts_.size();
}

}  // namespace test
}  // namespace quil
