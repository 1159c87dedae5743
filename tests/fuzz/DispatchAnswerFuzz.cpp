// Any answer the dispatch service may send (its header block, its decoded text, the domain
// asked for): the header split, the code and sign checks and the strategy reader must not crash
// or throw. The split reads headers exactly as the gateway's header reader does; the checks
// pass only for code "1000" with a sign equal to the client's own; a refused text leaves the
// strategy untouched.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "FuzzLog.h"
#include "IQuilSign.h"
#include "ResponseHeaderParser.h"
#include "ZentAnswerCheck.h"
#include "ZentBodyParser.h"

namespace {

// Signs a text as its length and first byte, so that a matching sign can be found by the
// fuzzer and a differing one is the common case.
std::string FakeSignature(const std::string& text) {
    return std::to_string(text.size()) + ":" + (text.empty() ? std::string() : text.substr(0, 1));
}

class FakeSign : public IQuilSign {
public:
    bool Start() override { return true; }
    bool Stop() override { return true; }
    SignResult* Sign6_2(int, std::string& data, int) override {
        auto* result = new SignResult();
        result->sign = FakeSignature(data);
        return result;
    }
    SignResult* Sign6_3(int, std::string&, std::string&) override { return nullptr; }
    ActionResult* ProcessContent(int, std::string&) override { return nullptr; }
    std::string GetCookies(std::string&) override { return std::string(); }
    std::string GetKolvaVersion() override { return std::string(); }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    quil::fuzz::InstallFuzzLog();
    FuzzedDataProvider provider(data, size);
    const std::string header = provider.ConsumeRandomLengthString(512);
    const std::string domain = provider.ConsumeRandomLengthString(32);
    const std::string text = provider.ConsumeRemainingBytesAsString();

    const ZentAnswerCheck::Headers headers = ZentAnswerCheck::SplitHeaders(header);
    if (headers != ResponseHeaderParser::Parse(std::vector<char>(header.begin(), header.end()))) {
        std::abort();
    }
    std::string serverSign;
    const bool headersPass = ZentAnswerCheck::CheckHeaders(headers, &serverSign);
    const auto code = headers.find("x-zn-code");
    const auto sign = headers.find("x-zn-sign");
    const bool expected = code != headers.end() && code->second == ZentAnswerCheck::kSuccessCode &&
                          sign != headers.end() && !sign->second.empty();
    if (headersPass != expected || (headersPass && serverSign != sign->second)) std::abort();
    if (headersPass) {
        FakeSign signer;
        const bool signPasses = ZentAnswerCheck::CheckSign(&signer, text, serverSign);
        if (signPasses != (FakeSignature(text) == serverSign)) std::abort();
    }

    ZentInfo info;
    info.ips = {"untouched"};
    info.valid = true;
    if (ZentBodyParser::Parse(text, domain, &info) == ZentBodyParser::Outcome::kRefused &&
        (info.ips != std::vector<std::string>{"untouched"} || !info.valid)) {
        std::abort();
    }
    return 0;
}
