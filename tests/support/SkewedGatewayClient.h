// A host transport that judges timestamps as the gateway does: its clock runs a fixed number
// of seconds ahead of the local one, and a request whose "x-t" is further than the tolerance
// from it is answered "FAIL_SYS_REQUEST_EXPIRED" with the server time in "x-systime"; any
// other request succeeds. Thread-safe; the test owns it and keeps it alive while sends run.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "IHttpClient.h"

namespace quil {
namespace test {

class SkewedGatewayClient : public IHttpClient {
public:
    explicit SkewedGatewayClient(int64_t aheadSeconds, int64_t toleranceSeconds = 60)
        : ahead_(aheadSeconds), tolerance_(toleranceSeconds) {}

    HttpResponse* SendHttpRequest(HttpRequest* request) override;

    std::size_t Expired() const { return expired_.load(); }
    std::size_t Succeeded() const { return succeeded_.load(); }

private:
    const int64_t ahead_;
    const int64_t tolerance_;
    std::atomic<std::size_t> expired_{0};
    std::atomic<std::size_t> succeeded_{0};
};

}  // namespace test
}  // namespace quil
