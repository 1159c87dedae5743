#include "NetworkPoolBarrier.h"

#include <string>

#include "HttpCompletionRecorder.h"
#include "NetworkManager.h"

namespace quil {
namespace test {

namespace {
// The network pool's fixed number of workers.
constexpr int kPoolWorkers = 5;
}  // namespace

NetworkPoolBarrier::NetworkPoolBarrier(IHttpClient* inner) : inner_(inner) {}

HttpResponse* NetworkPoolBarrier::SendHttpRequest(HttpRequest* request) {
    if (request == nullptr || request->url != kBarrierUrl) {
        return inner_->SendHttpRequest(request);
    }
    std::shared_ptr<Latch> arrived;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        arrived = arrived_;
    }
    if (arrived) {
        arrived->CountDown();
        arrived->Wait();
    }
    HttpResponse* response = new HttpResponse();
    response->request = request;
    return response;
}

bool NetworkPoolBarrier::Drain(std::chrono::milliseconds limit) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        arrived_ = std::make_shared<Latch>(kPoolWorkers);
    }
    // The recorder must outlive the completions: when they do not all come in time, it is left
    // alive for the stragglers (the test fails anyway).
    auto* recorder = new HttpCompletionRecorder();
    NetworkManager* manager = NetworkManager::GetInstance();
    for (int i = 0; i < kPoolWorkers; ++i) {
        manager->SendAsyncHttpRequest(recorder->NewRequest(kBarrierUrl, "barrier"));
    }
    if (!recorder->WaitFor(kPoolWorkers, limit)) return false;
    delete recorder;
    return true;
}

}  // namespace test
}  // namespace quil
