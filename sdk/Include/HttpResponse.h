// The host's answer to one HttpRequest.
// Ownership: an HttpResponse owns its request and deletes it; whoever receives the response
// deletes it. A host's IHttpClient builds it with new and sets request to the very
// HttpRequest it was handed. Not thread-safe.
#pragma once

#include <string>
#include <vector>

#include "HttpRequest.h"
#include "QuilExport.h"

class QUIL_API HttpResponse {
public:
    HttpResponse() = default;
    virtual ~HttpResponse() { delete request; }

    HttpResponse(const HttpResponse&) = delete;
    HttpResponse& operator=(const HttpResponse&) = delete;

    // The request answered; owned, deleted by the destructor.
    HttpRequest* request = nullptr;
    // Cleared at construction; nothing in the library reads it.
    bool flag = false;
    // The body as received, not NUL-terminated.
    std::vector<char> body;
    // The raw header block: lines ended by CR LF, the status line among them.
    std::vector<char> header;
    // The HTTP status; 0 where there was no answer.
    int statusCode = 0;
    // The transport's error text when the exchange failed.
    std::string errorMessage;
};
