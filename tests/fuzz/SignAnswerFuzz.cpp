// Any answer text posted by a signing task: the quick reader must not crash, and whenever it
// accepts a text it must read the very strings a JSON reader finds there. Texts written by
// Write are read back to the strings written, whatever bytes they hold.
#include <json/json.h>

#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "SignAnswerText.h"

namespace {

void CheckAgainstJsonReader(const std::string& text) {
    std::string code = "untouched";
    std::string sign = "untouched";
    if (!SignAnswerText::Read(text, &code, &sign)) {
        if (code != "untouched" || sign != "untouched") std::abort();
        return;
    }
    Json::Value root;
    Json::Reader reader;
    if (!reader.parse(text, root, false) || !root.isObject()) std::abort();
    if (root["errorCode"].asString() != code || root["sign"].asString() != sign) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    CheckAgainstJsonReader(std::string(reinterpret_cast<const char*>(data), size));

    FuzzedDataProvider provider(data, size);
    const std::string code = provider.ConsumeRandomLengthString(64);
    const std::string sign = provider.ConsumeRemainingBytesAsString();
    const std::string written = SignAnswerText::Write(code, sign);
    std::string readCode;
    std::string readSign;
    if (SignAnswerText::Read(written, &readCode, &readSign) &&
        (readCode != code || readSign != sign)) {
        std::abort();
    }
    CheckAgainstJsonReader(written);
    return 0;
}
