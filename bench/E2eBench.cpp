// End to end against the gateway emulator on 127.0.0.1, the same bytes on the wire: synchronous
// calls through the SDK and the curl adapter against raw libcurl on one reused handle (p50,
// p99, ratio of p50s), then asynchronous calls through the SDK against raw libcurl on five
// threads (calls per second, ratio). Both sides alternate in blocks within this one run.
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "BenchStats.h"
#include "GatewayEmulator.h"
#include "QuilSDK.h"
#include "RawCurl.h"
#include "quil/CurlHttpClient.h"

namespace {

using Clock = std::chrono::steady_clock;
using quil::bench::RawCurl;
using quil::bench::WireRequest;

constexpr int kRawThreads = 5;

double MicrosecondsSince(Clock::time_point start) {
    return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
}

// The curl adapter, plus a copy of the first request it carries: the raw side sends exactly it.
class CapturingClient : public IHttpClient {
public:
    HttpResponse* SendHttpRequest(HttpRequest* request) override {
        if (!captured_.load(std::memory_order_acquire)) {
            std::lock_guard<std::mutex> lock(mutex_);
            if (!captured_.load(std::memory_order_relaxed)) {
                wire_.url = request->url;
                wire_.headerLines = request->header;
                wire_.body = request->body;
                wire_.post = request->method == 1;
                captured_.store(true, std::memory_order_release);
            }
        }
        return inner_.SendHttpRequest(request);
    }

    WireRequest Captured() {
        std::lock_guard<std::mutex> lock(mutex_);
        return wire_;
    }

private:
    quil::CurlHttpClient inner_;
    std::atomic<bool> captured_{false};
    // Guards wire_ while the first request is copied.
    std::mutex mutex_;
    WireRequest wire_;
};

QuilRequest* NewRequest() {
    QuilRequest* request = QuilRequest::Create("bench.item.add", "1.0");
    request->AddData("item", std::string("42"));
    request->AddData("count", 2);
    return request;
}

// One synchronous SDK call, timed; false when it did not succeed.
bool SdkSyncCall(std::vector<double>* samples) {
    const Clock::time_point start = Clock::now();
    QuilResponse* response = QuilService::GetInstance()->SendSyncRequest(NewRequest());
    const bool ok = response != nullptr && response->IsSuccess();
    delete response;
    samples->push_back(MicrosecondsSince(start));
    return ok;
}

bool RawSyncCall(RawCurl* raw, std::vector<double>* samples) {
    const Clock::time_point start = Clock::now();
    const long status = raw->Perform();
    samples->push_back(MicrosecondsSince(start));
    return status == 200;
}

// Counts the answers of a block of asynchronous calls.
struct AsyncBlock {
    // Guards remaining and failures.
    std::mutex mutex;
    std::condition_variable done;
    int remaining = 0;
    int failures = 0;
    int refused = 0;  // calls SendAsyncRequest did not take
};

void OnAsyncAnswer(QuilResponse* response, void* userData) {
    AsyncBlock* block = static_cast<AsyncBlock*>(userData);
    const bool ok = response != nullptr && response->IsSuccess();
    delete response;
    std::lock_guard<std::mutex> lock(block->mutex);
    block->failures += ok ? 0 : 1;
    if (--block->remaining == 0) {
        block->done.notify_all();
    }
}

// Calls per second of count asynchronous SDK calls; adds failures to *failures.
double SdkAsyncBlock(int count, int* failures) {
    AsyncBlock block;
    block.remaining = count;
    const Clock::time_point start = Clock::now();
    for (int i = 0; i < count; ++i) {
        QuilRequest* request = NewRequest();
        request->SetCallback(&OnAsyncAnswer);
        request->SetUserData(&block);
        if (QuilService::GetInstance()->SendAsyncRequest(request) != 0) {
            std::lock_guard<std::mutex> lock(block.mutex);
            ++block.failures;
            ++block.refused;
            --block.remaining;
        }
    }
    std::unique_lock<std::mutex> lock(block.mutex);
    if (!block.done.wait_for(lock, std::chrono::minutes(2), [&] { return block.remaining == 0; })) {
        std::fprintf(stderr, "e2e: %d asynchronous answers never came\n", block.remaining);
        std::exit(1);
    }
    *failures += block.failures;
    if (block.refused > 0) {
        return 0.0;  // the asynchronous road is not there: no rate to speak of
    }
    return count / (MicrosecondsSince(start) / 1e6);
}

double RawThreadedBlock(std::vector<std::unique_ptr<RawCurl>>& handles, int count, int* failures) {
    std::atomic<int> failed{0};
    const Clock::time_point start = Clock::now();
    std::vector<std::thread> threads;
    for (int t = 0; t < kRawThreads; ++t) {
        const int share = count / kRawThreads + (t < count % kRawThreads ? 1 : 0);
        RawCurl* raw = handles[t].get();
        threads.emplace_back([raw, share, &failed] {
            for (int i = 0; i < share; ++i) {
                if (raw->Perform() != 200) {
                    failed.fetch_add(1);
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    *failures += failed.load();
    return count / (MicrosecondsSince(start) / 1e6);
}

}  // namespace

int main(int argc, char** argv) {
    const bool quick = argc > 1 && std::strcmp(argv[1], "--quick") == 0;
    const int syncBlocks = 10;
    const int syncPerBlock = quick ? 50 : 300;
    const int asyncBlocks = quick ? 4 : 8;
    const int asyncPerBlock = quick ? 200 : 1000;

    quil::GatewayEmulatorOptions options;
    options.appKey = "bench-key";
    // The raw side repeats one signed request for the whole run: its timestamp must stay good.
    options.skewSeconds = 24 * 3600;
    options.journalLimit = 1000;
    quil::GatewayEmulator gateway(options);
    if (!gateway.Start(0)) {
        std::fprintf(stderr, "e2e: the emulator cannot listen\n");
        return 1;
    }
    QuilConfig* config = QuilConfig::GetInstance();
    config->appKey = "bench-key";
    config->utdid = "bench-utdid";
    config->ttid = "bench-ttid";
    config->devId = "bench-devid";
    config->dailyHost = "127.0.0.1:" + std::to_string(gateway.Port());
    static CapturingClient* const client = new CapturingClient();
    config->RegisterHttpClient(client);

    // Warm up both sides: the security library, connections, caches.
    std::vector<double> ignored;
    int failures = 0;
    for (int i = 0; i < 100; ++i) {
        failures += SdkSyncCall(&ignored) ? 0 : 1;
    }
    if (failures > 0) {
        std::fprintf(stderr, "e2e: %d of 100 warm-up calls failed; is the SDK complete?\n",
                     failures);
        return 1;
    }
    const WireRequest wire = client->Captured();
    RawCurl raw(wire);
    for (int i = 0; i < 100; ++i) {
        failures += raw.Perform() == 200 ? 0 : 1;
    }

    std::vector<double> sdkSamples;
    std::vector<double> rawSamples;
    for (int block = 0; block < syncBlocks; ++block) {
        // Alternate which side goes first, so that neither always follows the other.
        for (int side = 0; side < 2; ++side) {
            if ((side + block) % 2 == 0) {
                for (int i = 0; i < syncPerBlock; ++i) {
                    failures += SdkSyncCall(&sdkSamples) ? 0 : 1;
                }
            } else {
                for (int i = 0; i < syncPerBlock; ++i) {
                    failures += RawSyncCall(&raw, &rawSamples) ? 0 : 1;
                }
            }
        }
    }
    const double sdkP50 = quil::bench::Percentile(sdkSamples, 50);
    const double rawP50 = quil::bench::Percentile(rawSamples, 50);
    std::printf(
        "e2e_sync: calls=%zu %s %s %s %s %s\n", sdkSamples.size(),
        quil::bench::Figure("sdk_p50_us", sdkP50, 1).c_str(),
        quil::bench::Figure("sdk_p99_us", quil::bench::Percentile(sdkSamples, 99), 1).c_str(),
        quil::bench::Figure("raw_p50_us", rawP50, 1).c_str(),
        quil::bench::Figure("raw_p99_us", quil::bench::Percentile(rawSamples, 99), 1).c_str(),
        quil::bench::Figure("sync_p50_ratio", sdkP50 / rawP50, 3).c_str());
    std::fflush(stdout);

    std::vector<std::unique_ptr<RawCurl>> handles;
    for (int t = 0; t < kRawThreads; ++t) {
        handles.push_back(std::make_unique<RawCurl>(wire));
        handles.back()->Perform();
    }
    SdkAsyncBlock(asyncPerBlock / 4, &failures);
    std::vector<double> sdkRates;
    std::vector<double> rawRates;
    for (int block = 0; block < asyncBlocks; ++block) {
        for (int side = 0; side < 2; ++side) {
            if ((side + block) % 2 == 0) {
                sdkRates.push_back(SdkAsyncBlock(asyncPerBlock, &failures));
            } else {
                rawRates.push_back(RawThreadedBlock(handles, asyncPerBlock, &failures));
            }
        }
    }
    const double sdkRate = quil::bench::Median(sdkRates);
    const double rawRate = quil::bench::Median(rawRates);
    if (sdkRate <= 0.0) {
        std::printf(
            "e2e_async: the SDK refused its asynchronous calls; "
            "async_throughput_ratio=n/a\n");
    } else {
        std::printf("e2e_async: calls=%d %s %s %s\n", asyncBlocks * asyncPerBlock,
                    quil::bench::Figure("sdk_calls_per_s", sdkRate, 0).c_str(),
                    quil::bench::Figure("raw_calls_per_s", rawRate, 0).c_str(),
                    quil::bench::Figure("async_throughput_ratio", sdkRate / rawRate, 3).c_str());
    }
    // Reused connections: a handful for the whole run, not one per call.
    std::printf("e2e_failures=%d e2e_connections=%llu\n", failures,
                static_cast<unsigned long long>(gateway.AcceptedConnections()));
    std::fflush(stdout);
    gateway.Stop();
    // Workers of the SDK stay parked; leave without tearing down what they might touch.
    std::_Exit(0);
}
