// One HTTP exchange as the library hands it to the host's IHttpClient.
// Ownership: whoever builds it with new owns it until it is handed to an HttpResponse, which
// then owns and deletes it. Not thread-safe; one thread fills it before it is sent.
#pragma once

#include <string>
#include <vector>

#include "QuilExport.h"

class HttpResponse;

// Completion of an asynchronous send. The callee takes ownership of the response.
typedef void (*HttpRequestCallback)(HttpResponse* response, void* context);

class QUIL_API HttpRequest {
public:
    HttpRequest() = default;
    virtual ~HttpRequest() = default;

    // Id of the QuilRequest this exchange serves; -1 for the dispatch request.
    int requestId = -1;
    // 0 GET, 1 POST. The default 4 stands for neither; every composer sets it.
    int method = 4;
    // The full URL.
    std::string url;
    // The request body.
    std::string body;
    // Name of the pool task of an asynchronous send; the request id in decimal for a call.
    std::string cancelKey;
    // One complete header line per entry, without line end, e.g. "Connection:close".
    std::vector<std::string> header;
    // Completion of an asynchronous send; every asynchronous request carries one.
    HttpRequestCallback callback = nullptr;
    // Second argument of callback.
    void* callbackContext = nullptr;
    // TLS value from QuilConfig for a request that uses TLS; what the client does with it is
    // the client's business.
    std::string sslValue;
    // Proxy from QuilConfig; empty means no proxy.
    std::string proxy;
};
