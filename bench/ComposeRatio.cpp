#include "ComposeRatio.h"

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "BenchData.h"
#include "BenchStats.h"
#include "DataFloor.h"
#include "HttpRequestComposer.h"
#include "QuilRequestImpl.h"
#include "UTDataSet.h"

namespace quil {
namespace bench {

namespace {

using Clock = std::chrono::steady_clock;

double MillisecondsSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

std::size_t Compose(QuilRequestImpl* request) {
    std::string signInput;
    HttpRequestComposer::GetOriginalSignUrl(signInput, request, true);
    std::unique_ptr<HttpRequest> http(HttpRequestComposer::GetHttpRequest(request, nullptr));
    return signInput.size() + http->body.size();
}

}  // namespace

ComposeRatio MeasureCompose1MbRatio(int blocks, int callsPerBlock) {
    const std::string data = CallDataOfSize(1 << 20);
    auto request = std::make_unique<QuilRequestImpl>("bench.compose", "1.0");
    request->SetRawData(data);
    request->SetTimestamp(1700000000);
    UTDataSet::GetInstance()->CreateMetricsEntity(request.get());

    std::vector<double> composeTimes;
    std::vector<double> referenceTimes;
    std::vector<double> ratios;
    volatile std::size_t sink = 0;
    for (int block = 0; block < blocks; ++block) {
        Clock::time_point start = Clock::now();
        for (int i = 0; i < callsPerBlock; ++i) {
            sink = sink + Compose(request.get());
        }
        const double compose = MillisecondsSince(start) / callsPerBlock;
        start = Clock::now();
        for (int i = 0; i < callsPerBlock; ++i) {
            sink = sink + DataFloor(data);
        }
        const double reference = MillisecondsSince(start) / callsPerBlock;
        composeTimes.push_back(compose);
        referenceTimes.push_back(reference);
        ratios.push_back(compose / reference);
    }
    UTDataSet::GetInstance()->CusumeMetricsEntity(request.get());
    ComposeRatio result;
    result.composeMs = Median(composeTimes);
    result.referenceMs = Median(referenceTimes);
    result.ratio = Median(ratios);
    return result;
}

}  // namespace bench
}  // namespace quil
