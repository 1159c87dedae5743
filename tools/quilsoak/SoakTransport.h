// SoakTransport: the soak host's IHttpClient. It hands every exchange to the curl adapter and
// keeps the ids of the calls whose exchange is on the network, so that the soak can withdraw
// calls that really are in flight. Called by the library's threads, concurrently.
#pragma once

#include <cstdint>
#include <mutex>
#include <random>
#include <set>

#include "IHttpClient.h"
#include "quil/CurlHttpClient.h"

namespace quil::soak {

class SoakTransport : public IHttpClient {
public:
    explicit SoakTransport(const CurlHttpClientOptions& options) : curl_(options) {}

    HttpResponse* SendHttpRequest(HttpRequest* request) override;

    // The id of some call on the network now (drawn with random), or -1 when none is.
    int AnyOnNetwork(std::mt19937_64& random) const;
    // Exchanges on the network now.
    std::size_t OnNetwork() const;
    uint64_t Exchanges() const;

private:
    CurlHttpClient curl_;
    // Guards onNetwork_ and exchanges_.
    mutable std::mutex mutex_;
    std::multiset<int> onNetwork_;
    uint64_t exchanges_ = 0;
};

}  // namespace quil::soak
