// Any body the dispatch service may send: the decoder must not crash, yields text (no zero
// byte) and never more than three bytes for every four characters it reads, plus one group.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "Base64DecodeBody.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    auto response = std::make_shared<HttpResponse>();
    response->body.assign(reinterpret_cast<const char*>(data),
                          reinterpret_cast<const char*>(data) + size);
    const std::string text = Base64DecodeBody(response);
    if (text.find('\0') != std::string::npos) std::abort();
    if (text.size() > size / 4 * 3 + 3) std::abort();
    return 0;
}
