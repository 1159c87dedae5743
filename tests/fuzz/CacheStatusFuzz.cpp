// Any stored record the host's cache storage may hand back (headers, body, the fields it kept,
// even a status it made up): reading its flags, judging it and handing it to its parser must
// not crash; a judged record is fresh, expired or empty; a source that no longer needs the
// network always carries the response to answer with, built from the record.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "CacheManagerImpl.h"
#include "CacheStatusHandler.h"
#include "FuzzLog.h"
#include "ResponseSource.h"

namespace {

const char* const kNames[] = {
    "cache-control", "last-modified", "QUIL-XETag", "etag", "Cache-Control", "x-retcode", ""};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    quil::fuzz::InstallFuzzLog();
    FuzzedDataProvider provider(data, size);
    auto record = std::make_unique<RpcCache>();
    const int headerCount = provider.ConsumeIntegralInRange(0, 6);
    for (int i = 0; i < headerCount; ++i) {
        const char* name = kNames[provider.ConsumeIntegralInRange(0, 6)];
        record->headers[name] = provider.ConsumeRandomLengthString(64);
    }
    record->maxAge = provider.ConsumeIntegral<int32_t>();
    record->lastModified = provider.ConsumeRandomLengthString(24);
    const bool judge = provider.ConsumeBool();
    record->cacheStatus = provider.ConsumeIntegral<int32_t>();
    record->body = provider.ConsumeRemainingBytesAsString();

    CacheManagerImpl manager;
    if (judge) {
        manager.handleResponseCacheFlag(record.get());
        manager.handleCacheValidation(record.get());
        if (record->cacheStatus < kRpcCacheFresh || record->cacheStatus > kRpcCacheEmpty) {
            std::abort();
        }
    }
    const std::string body = record->body;
    ResponseSource source;
    source.rpcCache = std::move(record);
    CacheStatusHandler::handleCacheStatus(&source);
    if (!source.requireConnection && !source.cacheResponse) std::abort();
    if (source.cacheResponse && source.cacheResponse->body != body) std::abort();
    return 0;
}
