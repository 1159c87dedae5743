#include "quil/CurlHttpClient.h"

#include <exception>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "CurlExchange.h"
#include "CurlHandlePool.h"
#include "CurlHeaderLines.h"

namespace quil {

struct CurlHttpClient::Shared {
    explicit Shared(const CurlHttpClientOptions& options)
        : pool(options.maxIdleHandles), connectTo(MakeCurlSlist(options.connectTo)) {}

    CurlHandlePool pool;
    // Read by every exchange, written by nobody after construction.
    const CurlSlist connectTo;
};

namespace {

// A response that owns request and carries only a failure text; null when even that cannot be
// allocated, in which case the caller keeps the request.
HttpResponse* FailureResponse(HttpRequest* request, const char* message) noexcept {
    try {
        auto response = std::make_unique<HttpResponse>();
        response->errorMessage = message;
        response->request = request;
        return response.release();
    } catch (...) {
        return nullptr;
    }
}

}  // namespace

CurlHttpClient::CurlHttpClient(CurlHttpClientOptions options)
    : options_(std::move(options)), shared_(std::make_unique<Shared>(options_)) {
    EnsureCurlGlobalInit();
}

CurlHttpClient::~CurlHttpClient() = default;

HttpResponse* CurlHttpClient::SendHttpRequest(HttpRequest* request) noexcept {
    if (request == nullptr) return nullptr;
    try {
        auto response = std::make_unique<HttpResponse>();
        Exchange(*request, *response);
        // Attached last: a response that is dropped on the way must not delete the request.
        response->request = request;
        return response.release();
    } catch (const std::bad_alloc&) {
        return FailureResponse(request, "out of memory");
    } catch (const std::exception& e) {
        return FailureResponse(request, e.what());
    } catch (...) {
        return FailureResponse(request, "unexpected failure in the curl transport");
    }
}

void CurlHttpClient::Exchange(const HttpRequest& request, HttpResponse& response) {
    if (request.method != 0 && request.method != 1) {
        response.errorMessage =
            "unsupported method " + std::to_string(request.method) + " (0 is GET, 1 is POST)";
        return;
    }
    std::vector<std::string> entries;
    std::string error;
    if (!CurlHeaderLines::Translate(request.header, !options_.acceptEncoding.empty(), entries,
                                    error)) {
        response.errorMessage = error;
        return;
    }
    const CurlSlist headers = MakeCurlSlist(entries);
    CurlHandleLease lease(shared_->pool);
    if (lease.Get() == nullptr) {
        response.errorMessage = "libcurl could not make a handle";
        return;
    }
    CurlExchange exchange(lease.Get(), options_, headers.get(), shared_->connectTo.get());
    exchange.Run(request, response);
}

}  // namespace quil
