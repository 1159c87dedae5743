#include "ComposeRatio.h"

#include <openssl/evp.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "BenchData.h"
#include "BenchStats.h"
#include "HttpRequestComposer.h"
#include "QuilRequestImpl.h"
#include "TableUrlEncode.h"
#include "UTDataSet.h"

namespace quil {
namespace bench {

namespace {

using Clock = std::chrono::steady_clock;

double MillisecondsSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

// The reference: what composition cannot avoid doing with the data, done plainly.
std::size_t Reference(const std::string& data) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_Digest(data.data(), data.size(), digest, &length, EVP_md5(), nullptr);
    static const char hex[] = "0123456789abcdef";
    std::string text(length * 2, '0');
    for (unsigned int i = 0; i < length; ++i) {
        text[2 * i] = hex[digest[i] >> 4];
        text[2 * i + 1] = hex[digest[i] & 15];
    }
    return TableUrlEncode(data).size() + text.size();
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
            sink = sink + Reference(data);
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
