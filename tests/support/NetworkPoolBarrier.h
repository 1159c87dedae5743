// A host transport for tests that need the network pool quiet: it passes every send on to an
// inner client, except its own barrier sends, which Drain queues on the pool. A barrier send
// waits until all five are inside the client at once; since the pool takes tasks in order and
// has five workers, every send queued before them (and its completion, which runs on the same
// worker) has then finished. The test owns it and keeps it registered while sends may run.
#pragma once

#include <chrono>
#include <memory>
#include <mutex>

#include "IHttpClient.h"
#include "TestSync.h"

namespace quil {
namespace test {

class NetworkPoolBarrier : public IHttpClient {
public:
    // inner is not owned and must outlive this client.
    explicit NetworkPoolBarrier(IHttpClient* inner);

    HttpResponse* SendHttpRequest(HttpRequest* request) override;

    // Queues five barrier sends on NetworkManager's pool and waits (within the limit) until
    // they have all completed. True when the pool was drained.
    bool Drain(std::chrono::milliseconds limit = kWaitLimit);

    // The URL that marks a barrier send.
    static constexpr const char* kBarrierUrl = "barrier://pool";

private:
    IHttpClient* inner_;
    std::mutex mutex_;  // guards arrived_
    std::shared_ptr<Latch> arrived_;
};

}  // namespace test
}  // namespace quil
