#include "CurlExchange.h"

#include "CurlDecodedHeaders.h"

#include <cstring>
#include <new>

namespace quil {

namespace {

const char kOutOfMemory[] = "out of memory while receiving the answer";

bool StartsStatusLine(const char* data, std::size_t bytes) {
    return bytes >= 5 && std::memcmp(data, "HTTP/", 5) == 0;
}

}  // namespace

CurlExchange::CurlExchange(CURL* handle, const CurlHttpClientOptions& options, curl_slist* headers,
                           curl_slist* connectTo)
    : handle_(handle), options_(options), headers_(headers), connectTo_(connectTo) {
    errorBuffer_[0] = '\0';
}

std::size_t CurlExchange::OnBody(char* data, std::size_t size, std::size_t count, void* self) {
    auto* exchange = static_cast<CurlExchange*>(self);
    const std::size_t bytes = size * count;
    try {
        exchange->body_.insert(exchange->body_.end(), data, data + bytes);
    } catch (...) {
        // Nothing may unwind through libcurl; a short count makes it stop with a write error.
        exchange->callbackFailure_ = kOutOfMemory;
        return 0;
    }
    return bytes;
}

std::size_t CurlExchange::OnHeader(char* data, std::size_t size, std::size_t count, void* self) {
    auto* exchange = static_cast<CurlExchange*>(self);
    const std::size_t bytes = size * count;
    try {
        // A status line opens a new block: an interim 1xx answer or a proxy's answer before
        // the final one is dropped, so the block is the final answer's alone.
        if (StartsStatusLine(data, bytes)) exchange->header_.clear();
        std::vector<char>& block = exchange->header_;
        std::size_t kept = bytes;
        if (kept > 0 && data[kept - 1] == '\n') {
            // A bare LF from a lax server becomes CR LF, so every line ends the same way.
            --kept;
            if (kept > 0 && data[kept - 1] == '\r') --kept;
            block.insert(block.end(), data, data + kept);
            block.push_back('\r');
            block.push_back('\n');
        } else {
            block.insert(block.end(), data, data + bytes);
        }
    } catch (...) {
        exchange->callbackFailure_ = kOutOfMemory;
        return 0;
    }
    return bytes;
}

CURLcode CurlExchange::Configure(const HttpRequest& request) {
    CURLcode code = CURLE_OK;
    // Keeps the first failure; later settings are still tried, which is harmless.
    auto set = [&code](CURLcode result) {
        if (code == CURLE_OK) code = result;
    };
    set(curl_easy_setopt(handle_, CURLOPT_ERRORBUFFER, errorBuffer_));
    set(curl_easy_setopt(handle_, CURLOPT_URL, request.url.c_str()));
    // Signals cannot be used for time-outs in a process with many threads.
    set(curl_easy_setopt(handle_, CURLOPT_NOSIGNAL, 1L));
    set(curl_easy_setopt(handle_, CURLOPT_PROTOCOLS_STR, "http,https"));
    // HTTP/1.1 keeps header lines as written; HTTP/2 would lower-case names and change the
    // header block.
    set(curl_easy_setopt(handle_, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1)));
    set(curl_easy_setopt(handle_, CURLOPT_FOLLOWLOCATION, 0L));
    set(curl_easy_setopt(handle_, CURLOPT_CONNECTTIMEOUT_MS, options_.connectTimeoutMs));
    set(curl_easy_setopt(handle_, CURLOPT_TIMEOUT_MS, options_.totalTimeoutMs));
    set(curl_easy_setopt(handle_, CURLOPT_SSL_VERIFYPEER, options_.verifyTlsPeer ? 1L : 0L));
    set(curl_easy_setopt(handle_, CURLOPT_SSL_VERIFYHOST, options_.verifyTlsPeer ? 2L : 0L));
    if (connectTo_ != nullptr) set(curl_easy_setopt(handle_, CURLOPT_CONNECT_TO, connectTo_));
    // An empty proxy text turns proxies off, the environment's http_proxy included: the SDK
    // says whether a proxy is used.
    set(curl_easy_setopt(handle_, CURLOPT_PROXY, request.proxy.c_str()));
    set(curl_easy_setopt(handle_, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L));
    // Decoding needs this set; an empty text offers every encoding libcurl can decode, and the
    // header list holds back the offer when the options say so.
    const char* encoding = options_.acceptEncoding.empty() ? "" : options_.acceptEncoding.c_str();
    set(curl_easy_setopt(handle_, CURLOPT_ACCEPT_ENCODING, encoding));
    set(curl_easy_setopt(handle_, CURLOPT_HTTPHEADER, headers_));
    if (request.method == 1) {
        set(curl_easy_setopt(handle_, CURLOPT_POST, 1L));
        set(curl_easy_setopt(handle_, CURLOPT_POSTFIELDSIZE_LARGE,
                             static_cast<curl_off_t>(request.body.size())));
        set(curl_easy_setopt(handle_, CURLOPT_POSTFIELDS, request.body.data()));
    } else {
        set(curl_easy_setopt(handle_, CURLOPT_HTTPGET, 1L));
    }
    set(curl_easy_setopt(handle_, CURLOPT_WRITEFUNCTION, &CurlExchange::OnBody));
    set(curl_easy_setopt(handle_, CURLOPT_WRITEDATA, this));
    set(curl_easy_setopt(handle_, CURLOPT_HEADERFUNCTION, &CurlExchange::OnHeader));
    set(curl_easy_setopt(handle_, CURLOPT_HEADERDATA, this));
    return code;
}

void CurlExchange::Run(const HttpRequest& request, HttpResponse& response) {
    CURLcode code = Configure(request);
    if (code == CURLE_OK) code = curl_easy_perform(handle_);
    if (code != CURLE_OK) {
        response.statusCode = 0;
        response.header.clear();
        response.body.clear();
        if (!callbackFailure_.empty()) {
            response.errorMessage = callbackFailure_;
        } else if (errorBuffer_[0] != '\0') {
            response.errorMessage = errorBuffer_;
        } else {
            response.errorMessage = curl_easy_strerror(code);
        }
        return;
    }
    long status = 0;
    curl_easy_getinfo(handle_, CURLINFO_RESPONSE_CODE, &status);
    response.statusCode = static_cast<int>(status);
    // libcurl has decoded every coding the answer named (it fails the exchange on one it
    // cannot decode), so the lines that described the encoded body would mislead the host.
    CurlDecodedHeaders::Apply(header_);
    response.header.swap(header_);
    response.body.swap(body_);
}

}  // namespace quil
