// quil::CurlHttpClient: a ready-made IHttpClient over libcurl, for hosts of the SDK.
// The host owns it and registers it with QuilConfig::RegisterHttpClient; it must outlive every
// call. SendHttpRequest may be called from any number of threads at once.
#pragma once

#include <memory>

#include "IHttpClient.h"
#include "quil/CurlExport.h"
#include "quil/CurlHttpClientOptions.h"

namespace quil {

class QUIL_CURL_API CurlHttpClient : public IHttpClient {
public:
    // Initialises libcurl once per process. Never throws for bad option values: a bad
    // connect-to entry makes every exchange fail with libcurl's message instead.
    explicit CurlHttpClient(CurlHttpClientOptions options = CurlHttpClientOptions());
    // Precondition: no call is in progress.
    ~CurlHttpClient() override;

    CurlHttpClient(const CurlHttpClient&) = delete;
    CurlHttpClient& operator=(const CurlHttpClient&) = delete;

    // Blocks until the exchange is over. Returns a new HttpResponse that owns request, with
    // status 0, an empty body and an errorMessage when the exchange failed. Returns null only
    // for a null request, or when not even a failure response can be allocated; the caller
    // then keeps the request. Never throws.
    HttpResponse* SendHttpRequest(HttpRequest* request) noexcept override;

    // The options this client was built with.
    const CurlHttpClientOptions& Options() const { return options_; }

private:
    // What every exchange shares: the idle handles and the connect-to list.
    struct Shared;

    void Exchange(const HttpRequest& request, HttpResponse& response);

    const CurlHttpClientOptions options_;
    std::unique_ptr<Shared> shared_;
};

}  // namespace quil
