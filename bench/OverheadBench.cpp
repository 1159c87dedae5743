// The SDK's own cost per call, without a network: whole synchronous calls through the shared
// library with the stand-in signer and an in-process IHttpClient that answers at once. CPU
// microseconds per call (user plus system, getrusage) with the stand-in signer's own share stated
// apart, resident memory after 10,000 and after 100,000 calls, and a whole call with 1 MiB of
// data against the floor of that data.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "BenchStats.h"
#include "QuilSDK.h"
#include "StandInControl.h"
#include "StandInShare.h"
#include "WholeCallRatio.h"

namespace {

const char kHeader[] =
    "HTTP/1.1 200 OK\r\n"
    "Content-Type: application/json;charset=UTF-8\r\n"
    "Content-Length: 96\r\n"
    "x-retcode: SUCCESS\r\n"
    "s-rt: 1\r\n"
    "\r\n";
const char kBody[] =
    "{\"api\":\"bench.overhead\",\"data\":{\"item\":\"42\"},\"ret\":[\"SUCCESS::call "
    "succeeded\"],\"v\":\"1.0\"}";

// Answers every request at once with the same gateway success.
class InstantClient : public IHttpClient {
public:
    HttpResponse* SendHttpRequest(HttpRequest* request) override {
        HttpResponse* response = new HttpResponse();
        response->request = request;
        response->statusCode = 200;
        response->header.assign(kHeader, kHeader + sizeof(kHeader) - 1);
        response->body.assign(kBody, kBody + sizeof(kBody) - 1);
        return response;
    }
};

// count calls; the number that failed.
int Calls(int count) {
    int failures = 0;
    for (int i = 0; i < count; ++i) {
        QuilRequest* request = QuilRequest::Create("bench.overhead", "1.0");
        request->AddData("item", std::string("42"));
        request->AddData("count", 2);
        QuilResponse* response = QuilService::GetInstance()->SendSyncRequest(request);
        failures += response != nullptr && response->IsSuccess() ? 0 : 1;
        delete response;
    }
    return failures;
}

}  // namespace

int main(int argc, char** argv) {
    const bool quick = argc > 1 && std::strcmp(argv[1], "--quick") == 0;
    // "--calls N": only N small calls and out, for instruction counts per call (callgrind on
    // two values of N, the difference divided by the difference of N: start-up drops out).
    const bool callsOnly = argc > 2 && std::strcmp(argv[1], "--calls") == 0;
    const int blockCalls = quick ? 1000 : 10000;
    const int blocks = 10;

    QuilConfig* config = QuilConfig::GetInstance();
    config->appKey = "bench-key";
    config->utdid = "bench-utdid";
    config->ttid = "bench-ttid";
    config->devId = "bench-devid";
    config->dailyHost = "127.0.0.1:9";
    static InstantClient* const client = new InstantClient();
    config->RegisterHttpClient(client);

    int failures = Calls(1);
    if (failures > 0) {
        std::fprintf(stderr, "overhead: the first call failed; is the SDK complete?\n");
        return 1;
    }
    if (callsOnly) {
        const int count = std::atoi(argv[2]);
        quil::StandInControl standIn;
        // In blocks of 1,000, with the stand-in's records dropped between them as below.
        for (int done = 0; done < count; done += 1000) {
            failures += Calls(count - done < 1000 ? count - done : 1000);
            standIn.Reset();
        }
        std::printf("overhead: calls=%d failures=%d\n", count, failures);
        std::fflush(stdout);
        std::_Exit(failures == 0 ? 0 : 1);
    }
    // The stand-in keeps a record of every signature for the tests; a real security library
    // does not. Dropping the records every 1,000 calls (outside the timed part) keeps them out
    // of the memory figures: dropped only every 10,000, the heap they had spread over stayed
    // resident and grew the figure by about 400 KB over 90,000 calls.
    quil::StandInControl standIn;
    std::vector<double> perCall;
    long rssFirst = 0;
    const int stretch = blockCalls < 1000 ? blockCalls : 1000;
    for (int block = 0; block < blocks; ++block) {
        double cpu = 0;
        for (int done = block == 0 ? 1 : 0; done < blockCalls; done += stretch) {
            const int count = blockCalls - done < stretch ? blockCalls - done : stretch;
            const double cpuBefore = quil::bench::ProcessCpuMicroseconds();
            failures += Calls(count);
            cpu += quil::bench::ProcessCpuMicroseconds() - cpuBefore;
            standIn.Reset();
        }
        perCall.push_back(cpu / blockCalls);
        if (block == 0) {
            rssFirst = quil::bench::ResidentKilobytes();
        }
    }
    const long rssLast = quil::bench::ResidentKilobytes();
    const double cpu = quil::bench::Median(perCall);

    // The stand-in's share: its signing entry alone, with the line the SDK handed it last.
    standIn.Reset();
    failures += Calls(1);
    const std::vector<std::string> lines = standIn.Texts("jsonSign.input");
    const double standInCpu =
        lines.empty() ? -1
                      : quil::bench::StandInSignCpuMicroseconds(lines.back(), blocks, blockCalls);
    standIn.Reset();
    std::printf(
        "overhead: calls=%d %s %s %s %s %s rss_first_kb=%ld rss_last_kb=%ld rss_growth_kb=%ld "
        "failures=%d\n",
        blocks * blockCalls, quil::bench::Figure("overhead_cpu_us", cpu, 2).c_str(),
        quil::bench::Figure("standin_cpu_us", standInCpu, 2).c_str(),
        quil::bench::Figure("sdk_cpu_us", standInCpu < 0 ? -1 : cpu - standInCpu, 2).c_str(),
        quil::bench::Figure("cpu_us_min", quil::bench::Percentile(perCall, 0), 2).c_str(),
        quil::bench::Figure("cpu_us_max", quil::bench::Percentile(perCall, 100), 2).c_str(),
        rssFirst, rssLast, rssLast - rssFirst, failures);

    const quil::bench::WholeCallRatio whole =
        quil::bench::MeasureWholeCall1MbRatio(standIn, quick ? 5 : 15, quick ? 4 : 10);
    std::printf("overhead: %s %s %s %s %s failures=%d\n",
                quil::bench::Figure("whole_1mb_call_ms", whole.callMs, 3).c_str(),
                quil::bench::Figure("whole_1mb_floor_ms", whole.floorMs, 3).c_str(),
                quil::bench::Figure("whole_1mb_ratio", whole.ratio, 2).c_str(),
                quil::bench::Figure("whole_1mb_standin_ms", whole.standInMs, 3).c_str(),
                quil::bench::Figure("whole_1mb_sdk_ratio", whole.sdkRatio, 2).c_str(),
                whole.failures);
    std::fflush(stdout);
    std::_Exit(0);
}
