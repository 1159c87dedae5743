// Any answer the host's transport may hand over (status, header bytes, body bytes, error
// text): assembly must not crash or throw, always gives a response that owns the request and a
// verdict, and the statuses and sizes it records are those received.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "FuzzLog.h"
#include "QuilRequestImpl.h"
#include "QuilResponseAssembler.h"
#include "QuilResponseImpl.h"
#include "UTDataSet.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    quil::fuzz::InstallFuzzLog();
    FuzzedDataProvider provider(data, size);
    HttpResponse http;
    http.statusCode = provider.ConsumeIntegral<int>();
    http.errorMessage = provider.ConsumeRandomLengthString(64);
    const std::string header = provider.ConsumeRandomLengthString(4096);
    const std::string body = provider.ConsumeRemainingBytesAsString();
    http.header.assign(header.begin(), header.end());
    http.body.assign(body.begin(), body.end());

    auto* request = new QuilRequestImpl("quil.fuzz.api", "1.0");
    request->SetId(1);
    UTDataSet::GetInstance()->CreateMetricsEntity(request);
    std::unique_ptr<QuilResponse> response(QuilResponseAssembler::GetQuilResponse(&http, request));
    if (!response) std::abort();
    MetricsEntity* metrics = UTDataSet::GetInstance()->GetExistMetricsEntity(request);
    if (metrics->httpStatusCode != http.statusCode ||
        metrics->responseBodySize != static_cast<int32_t>(body.size()) ||
        metrics->responseHeaderSize != static_cast<int32_t>(header.size())) {
        std::abort();
    }
    auto* impl = static_cast<QuilResponseImpl*>(response.get());
    if (!impl->retInfo || impl->request.get() != request || impl->body != body) std::abort();
    if (body.empty() && impl->retInfo->errorType != 2) std::abort();
    UTDataSet::GetInstance()->DropMetricsEntity(request);
    return 0;
}
