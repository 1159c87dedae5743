#include "EmulatorHttpServer.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>

#include "ConnectionThreads.h"
#include "RecordingSocketStream.h"

namespace quil {

namespace {

constexpr char kLoopback[] = "127.0.0.1";
// Generous, so that a client's pool keeps its connections and benchmarks measure reuse.
constexpr std::size_t kKeepAliveMaxCount = 100000;
constexpr time_t kKeepAliveTimeoutSeconds = 120;
constexpr time_t kReadWriteTimeoutSeconds = 10;
constexpr auto kStartLimit = std::chrono::seconds(5);

// The connection the current thread serves; the handler runs on that thread.
struct ConnectionContext {
    uint64_t id = 0;
    uint64_t requestIndex = 0;
    RecordingSocketStream* stream = nullptr;
    bool closeNow = false;
};

thread_local ConnectionContext* tCurrentConnection = nullptr;

bool SameName(const std::string& a, const char* b) { return AsciiLower(a) == b; }

}  // namespace

EmulatorHttpServer::EmulatorHttpServer(Responder responder, RequestJournal& journal)
    : responder_(std::move(responder)), journal_(journal) {
    set_tcp_nodelay(true);
    set_keep_alive_max_count(kKeepAliveMaxCount);
    set_keep_alive_timeout(kKeepAliveTimeoutSeconds);
    set_read_timeout(kReadWriteTimeoutSeconds);
    set_write_timeout(kReadWriteTimeoutSeconds);
    // Address reuse only: the library's default also sets SO_REUSEPORT, which would let a
    // second server share a port that is taken and split the connections between them.
    set_socket_options([](socket_t sock) {
        const int on = 1;
        ::setsockopt(sock, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
    });
    new_task_queue = [] { return new ConnectionThreads(); };
    // A larger body is answered 413 (its bytes are read and dropped, not kept).
    set_payload_max_length(kMaxBodyBytes);
    Get(".*", [this](const httplib::Request& request, httplib::Response& response) {
        Handle(request.body, response);
    });
    // The library's own body reading answers 413 to any form-encoded body over 8,192 bytes,
    // which is what the SDK posts; reading the body here takes it up to kMaxBodyBytes.
    Post(".*", [this](const httplib::Request&, httplib::Response& response,
                      const httplib::ContentReader& reader) {
        std::string body;
        const bool read = reader([&body](const char* data, std::size_t length) {
            body.append(data, length);
            return true;
        });
        if (!read) {
            // The library has set the status already: 413 over the limit, 400 for a body cut
            // short or malformed.
            return;
        }
        Handle(body, response);
    });
}

EmulatorHttpServer::~EmulatorHttpServer() { Shutdown(); }

int EmulatorHttpServer::Start(int port) {
    int bound = -1;
    if (port == 0) {
        bound = bind_to_any_port(kLoopback);
    } else if (bind_to_port(kLoopback, port)) {
        bound = port;
    }
    if (bound <= 0) {
        return -1;
    }
    listener_ = std::thread([this] { listen_after_bind(); });
    // stop() acts only on a running server: wait until the listening loop has begun.
    const auto deadline = std::chrono::steady_clock::now() + kStartLimit;
    while (!is_running() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return bound;
}

void EmulatorHttpServer::Shutdown() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
        for (socket_t sock : connections_) {
            ::shutdown(sock, SHUT_RDWR);
        }
    }
    stopped_.notify_all();
    stop();
    if (listener_.joinable()) {
        listener_.join();
    }
}

bool EmulatorHttpServer::Register(socket_t sock) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (stopping_) {
        return false;
    }
    connections_.insert(sock);
    return true;
}

void EmulatorHttpServer::Unregister(socket_t sock) {
    std::lock_guard<std::mutex> lock(mutex_);
    connections_.erase(sock);
}

void EmulatorHttpServer::WaitUnlessStopping(int delayMs) {
    std::unique_lock<std::mutex> lock(mutex_);
    stopped_.wait_for(lock, std::chrono::milliseconds(delayMs), [this] { return stopping_; });
}

bool EmulatorHttpServer::process_and_close_socket(socket_t sock) {
    ConnectionContext context;
    context.id = ++accepted_;
    if (!Register(sock)) {
        ::close(sock);
        return false;
    }
    const int on = 1;
    ::setsockopt(sock, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
    RecordingSocketStream stream(sock, static_cast<int>(read_timeout_sec_ * 1000),
                                 static_cast<int>(write_timeout_sec_ * 1000));
    context.stream = &stream;
    tCurrentConnection = &context;
    const std::function<void(httplib::Request&)> noSetup;
    std::size_t served = 0;
    while (stream.WaitForRequest(static_cast<int>(keep_alive_timeout_sec_ * 1000))) {
        stream.BeginRequest();
        ++context.requestIndex;
        bool closeAfter = ++served >= keep_alive_max_count_;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            closeAfter = closeAfter || stopping_;
        }
        bool closedByClient = false;
        const bool written = process_request(stream, closeAfter, closedByClient, noSetup);
        if (!written || closedByClient || closeAfter || context.closeNow) {
            break;
        }
    }
    tCurrentConnection = nullptr;
    Unregister(sock);
    ::shutdown(sock, SHUT_RDWR);
    ::close(sock);
    return true;
}

void EmulatorHttpServer::Handle(const std::string& body, httplib::Response& response) {
    ConnectionContext* context = tCurrentConnection;
    if (context == nullptr) {
        response.status = 500;
        return;
    }
    ReceivedRequest received;
    const std::string& consumed = context->stream->Consumed();
    const std::size_t headEnd = consumed.find("\r\n\r\n");
    ParseRequestHead(headEnd == std::string::npos ? consumed : consumed.substr(0, headEnd + 4),
                     &received);
    received.body = body;
    received.connection = context->id;
    received.indexOnConnection = context->requestIndex;

    EmulatorAnswer answer = responder_(received);
    received.answerCode = answer.code;
    journal_.Add(std::move(received));

    if (answer.delayMs > 0) {
        WaitUnlessStopping(answer.delayMs);
    }
    if (!answer.raw.empty()) {
        context->stream->write(answer.raw.data(), answer.raw.size());
    }
    if (answer.closeWithoutAnswer || !answer.raw.empty()) {
        context->stream->Mute();
        context->closeNow = true;
        return;
    }
    response.status = answer.status;
    std::string contentType;
    for (const auto& header : answer.headers) {
        if (SameName(header.first, "content-type")) {
            contentType = header.second;
        } else {
            response.set_header(header.first.c_str(), header.second);
        }
    }
    response.body = std::move(answer.body);
    if (!contentType.empty()) {
        response.set_header("Content-Type", contentType);
    }
}

}  // namespace quil
