// Settings of a quil::CurlHttpClient, fixed when the client is constructed.
// A plain record: the host fills it on one thread and hands a copy to the client.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace quil {

struct CurlHttpClientOptions {
    // Longest wait for the TCP (and TLS) connection, in milliseconds; 0 means libcurl's
    // built-in limit of 300 seconds.
    long connectTimeoutMs = 10000;
    // Longest time for a whole exchange, connection included, in milliseconds; 0 means none.
    long totalTimeoutMs = 30000;
    // Whether the server's TLS certificate and host name are checked. Turn off only for tests
    // against a server with a self-made certificate.
    bool verifyTlsPeer = true;
    // Connection redirections in libcurl's "host:port:address:port" form (CURLOPT_CONNECT_TO):
    // a request for host:port is sent to address:port, with URL and Host left unchanged.
    // For example "dispatch.quil.example:80:127.0.0.1:8080".
    std::vector<std::string> connectTo;
    // The Accept-Encoding value offered when the request's own lines carry none. An empty text
    // offers nothing. A compressed answer (gzip, deflate, and whatever else this libcurl
    // decodes) is handed over decoded either way, and its header block then carries no
    // Content-Encoding line (nor the Content-Length of the compressed bytes).
    std::string acceptEncoding = "gzip, deflate";
    // Most idle connection handles kept between calls. Each keeps its open connections, so
    // this bounds how many callers at once find a warm connection.
    std::size_t maxIdleHandles = 8;
};

}  // namespace quil
