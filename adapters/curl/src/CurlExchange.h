// One HTTP exchange on one libcurl easy handle: sets the handle up from an HttpRequest, runs
// it, and collects status, the final header block and the body. Used by one thread only.
#pragma once

#include <curl/curl.h>

#include <cstddef>
#include <string>
#include <vector>

#include "HttpRequest.h"
#include "HttpResponse.h"
#include "quil/CurlHttpClientOptions.h"

namespace quil {

class CurlExchange {
public:
    // handle: checked out for this exchange, with default options. headers and connectTo stay
    // alive until Run returns (either may be null).
    CurlExchange(CURL* handle, const CurlHttpClientOptions& options, curl_slist* headers,
                 curl_slist* connectTo);

    CurlExchange(const CurlExchange&) = delete;
    CurlExchange& operator=(const CurlExchange&) = delete;

    // Runs request (method 0 or 1) and fills every field of response but `request`. On a
    // failure response has status 0, no header and no body, and libcurl's text as
    // errorMessage. Throws std::bad_alloc.
    void Run(const HttpRequest& request, HttpResponse& response);

private:
    static std::size_t OnBody(char* data, std::size_t size, std::size_t count, void* self);
    static std::size_t OnHeader(char* data, std::size_t size, std::size_t count, void* self);
    CURLcode Configure(const HttpRequest& request);

    CURL* const handle_;
    const CurlHttpClientOptions& options_;
    curl_slist* const headers_;
    curl_slist* const connectTo_;
    char errorBuffer_[CURL_ERROR_SIZE];
    std::vector<char> header_;
    std::vector<char> body_;
    // Set when a callback could not take the data; explains libcurl's write error.
    std::string callbackFailure_;
};

}  // namespace quil
