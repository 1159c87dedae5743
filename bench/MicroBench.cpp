// Micro figures of the call path's pieces (Google Benchmark), then compose_1mb_ratio.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "BenchData.h"
#include "BenchStats.h"
#include "ComposeRatio.h"
#include "HttpRequestComposer.h"
#include "MD5.h"
#include "QuilConfig.h"
#include "QuilRequestImpl.h"
#include "ResponseBodyParser.h"
#include "ResponseHeaderParser.h"
#include "UTDataSet.h"
#include "UrlEncode.h"

#if __has_include("QuilSignImpl.h")
#include "QuilSignImpl.h"
#define QUIL_BENCH_HAS_SIGN 1
#endif

namespace {

void Configure() {
    QuilConfig* config = QuilConfig::GetInstance();
    config->appKey = "bench-key";
    config->utdid = "bench-utdid";
    config->ttid = "bench-ttid";
    config->devId = "bench-devid";
    config->dailyHost = "127.0.0.1:8080";
}

void BM_GetData(benchmark::State& state) {
    QuilRequestImpl request("bench.getdata", "1.0");
    for (int i = 0; i < state.range(0); ++i) {
        request.AddData("key" + std::to_string(i), "value " + std::to_string(i));
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(request.GetData());
    }
}
BENCHMARK(BM_GetData)->Arg(10)->Arg(10000);

void BM_UrlEncode(benchmark::State& state) {
    const std::string data = quil::bench::CallDataOfSize(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        benchmark::DoNotOptimize(UrlEncode(data));
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_UrlEncode)->Arg(200)->Arg(10 << 10)->Arg(1 << 20);

void BM_MD5(benchmark::State& state) {
    const std::string data = quil::bench::CallDataOfSize(static_cast<std::size_t>(state.range(0)));
    MD5 md5;
    for (auto _ : state) {
        md5.Reset();
        md5.Update(data.data(), data.size());
        benchmark::DoNotOptimize(md5.ToHexString());
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_MD5)->Arg(200)->Arg(10 << 10)->Arg(1 << 20);

// The whole composition: the sign input and the HTTP request (URL, header lines, body).
void BM_Compose(benchmark::State& state) {
    QuilRequestImpl request("bench.compose", "1.0");
    request.SetRawData(quil::bench::CallDataOfSize(static_cast<std::size_t>(state.range(0))));
    request.SetTimestamp(1700000000);
    UTDataSet::GetInstance()->CreateMetricsEntity(&request);
    for (auto _ : state) {
        std::string signInput;
        HttpRequestComposer::GetOriginalSignUrl(signInput, &request, true);
        std::unique_ptr<HttpRequest> http(HttpRequestComposer::GetHttpRequest(&request, nullptr));
        benchmark::DoNotOptimize(signInput);
        benchmark::DoNotOptimize(http.get());
    }
    UTDataSet::GetInstance()->CusumeMetricsEntity(&request);
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_Compose)->Arg(200)->Arg(10 << 10)->Arg(1 << 20);

const char kTypicalHeader[] =
    "HTTP/1.1 200 OK\r\n"
    "Content-Type: application/json;charset=UTF-8\r\n"
    "Content-Length: 118\r\n"
    "Connection: keep-alive\r\n"
    "x-retcode: SUCCESS\r\n"
    "x-systime: 1700000000\r\n"
    "s-rt: 3\r\n"
    "a-ombrel-p: v=1\r\n"
    "Date: Tue, 14 Nov 2023 22:13:20 GMT\r\n"
    "\r\n";

const char kTypicalBody[] =
    "{\"api\":\"bench.item.get\",\"data\":{\"id\":\"1234567\",\"name\":\"a gateway item\","
    "\"price\":\"19.95\"},\"ret\":[\"SUCCESS::call succeeded\"],\"v\":\"1.0\"}";

void BM_ResponseHeaderParser(benchmark::State& state) {
    const std::vector<char> raw(kTypicalHeader, kTypicalHeader + sizeof(kTypicalHeader) - 1);
    for (auto _ : state) {
        benchmark::DoNotOptimize(ResponseHeaderParser::Parse(raw));
    }
}
BENCHMARK(BM_ResponseHeaderParser);

void BM_ResponseBodyParser(benchmark::State& state) {
    const std::string body = kTypicalBody;
    for (auto _ : state) {
        benchmark::DoNotOptimize(ResponseBodyParser::Parse(body));
    }
}
BENCHMARK(BM_ResponseBodyParser);

#if defined(QUIL_BENCH_HAS_SIGN)
// One signature through the bridge and the stand-in library, result made and freed.
void BM_SignRoundTrip(benchmark::State& state) {
    IQuilSign* sign = QuilSignImpl::GetInstance();
    sign->Start();
    QuilRequestImpl request("bench.sign", "1.0");
    request.SetTimestamp(1700000000);
    std::string input;
    HttpRequestComposer::GetOriginalSignUrl(input, &request, true);
    std::string api = "bench.sign";
    int id = 0;
    for (auto _ : state) {
        std::unique_ptr<SignResult> result(sign->Sign6_3(++id, input, api));
        if (!result) {
            state.SkipWithError("the stand-in did not sign");
            break;
        }
    }
}
BENCHMARK(BM_SignRoundTrip);
#endif

}  // namespace

int main(int argc, char** argv) {
    Configure();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    const quil::bench::ComposeRatio compose = quil::bench::MeasureCompose1MbRatio(15, 10);
    std::printf("compose_1mb: %s %s %s\n",
                quil::bench::Figure("compose_ms", compose.composeMs, 3).c_str(),
                quil::bench::Figure("md5_plus_encode_ms", compose.referenceMs, 3).c_str(),
                quil::bench::Figure("compose_1mb_ratio", compose.ratio, 2).c_str());
    return 0;
}
