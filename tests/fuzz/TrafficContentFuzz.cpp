// Any gateway answer the traffic-protection filter packs for the closed library (its headers
// and status), and any verdict parameter it reads a ban length from: neither may crash or
// throw. The packed content always reads back as an object with the status, every header name
// and the fixed "native_login"; a parameter that does not name "kv-sleep" sets no ban.
#include <json/json.h>

#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <string>

#include "KolvaContent.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    FuzzedDataProvider provider(data, size);
    const int status = provider.ConsumeIntegral<int>();
    std::map<std::string, std::string> headers;
    const int count = provider.ConsumeIntegralInRange(0, 8);
    for (int i = 0; i < count; ++i) {
        const std::string name = provider.ConsumeRandomLengthString(32);
        headers[name] = provider.ConsumeRandomLengthString(64);
    }
    const std::string param = provider.ConsumeRemainingBytesAsString();

    const std::string content = KolvaContent::Build(headers, status);
    Json::Value root;
    Json::Reader reader;
    if (!reader.parse(content, root, false) || !root.isObject()) std::abort();
    if (!root["httpCode"].isInt() || root["httpCode"].asInt() != status) std::abort();
    const Json::Value& header = root["header"];
    if (!header.isObject() || header["native_login"].asString() != "true") std::abort();
    const std::size_t names = headers.size() + (headers.count("native_login") != 0 ? 0 : 1);
    // Names that are not UTF-8 pass through JsonCpp's writer, which may turn two of them into
    // the same text (see the traffic verdict target); plain ASCII names stay apart.
    bool ascii = true;
    for (const auto& entry : headers) {
        for (char c : entry.first) ascii = ascii && static_cast<unsigned char>(c) < 0x80;
    }
    if (header.size() > names || (ascii && header.size() != names)) std::abort();

    int seconds = -12345;
    const KolvaContent::BanLength length = KolvaContent::ReadBanSeconds(param, &seconds);
    if (param.find("kv-sleep") == std::string::npos && length != KolvaContent::BanLength::kNone) {
        std::abort();
    }
    return 0;
}
