// Any verdict the closed library's traffic filter may hand back (its two actions, the sequence
// key and the parameter text): the callback must not crash, a key without a waiting caller is
// dropped, and the text posted to a waiting caller always reads as a verdict with the actions
// given. Its parameter reads back exactly when it is well-formed UTF-8; other bytes pass
// through JsonCpp's writer, which replaces or reinterprets them (kept: the text is JsonCpp's).
#include <json/json.h>

#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "FuzzLog.h"
#include "QuilSignImpl.h"
#include "WaitSlot.h"

namespace {

// Strict UTF-8: no overlong forms, no surrogates, nothing above U+10FFFF.
bool WellFormedUtf8(const std::string& text) {
    std::size_t i = 0;
    while (i < text.size()) {
        const auto byte = static_cast<unsigned char>(text[i]);
        std::size_t length = 0;
        uint32_t point = 0;
        if (byte < 0x80) {
            ++i;
            continue;
        } else if (byte >= 0xC2 && byte <= 0xDF) {
            length = 2;
            point = byte & 0x1F;
        } else if (byte >= 0xE0 && byte <= 0xEF) {
            length = 3;
            point = byte & 0x0F;
        } else if (byte >= 0xF0 && byte <= 0xF4) {
            length = 4;
            point = byte & 0x07;
        } else {
            return false;
        }
        if (i + length > text.size()) return false;
        for (std::size_t k = 1; k < length; ++k) {
            const auto next = static_cast<unsigned char>(text[i + k]);
            if ((next & 0xC0) != 0x80) return false;
            point = (point << 6) | (next & 0x3F);
        }
        if ((length == 3 && point < 0x800) || (length == 4 && point < 0x10000) ||
            point > 0x10FFFF || (point >= 0xD800 && point <= 0xDFFF)) {
            return false;
        }
        i += length;
    }
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    quil::fuzz::InstallFuzzLog();
    FuzzedDataProvider provider(data, size);
    const int mainAction = provider.ConsumeIntegral<int>();
    const int subAction = provider.ConsumeIntegral<int>();
    const std::string key = provider.ConsumeRandomLengthString(48);
    const bool nullParam = provider.ConsumeBool();
    const std::string param = provider.ConsumeRemainingBytesAsString();
    // The closed library hands C texts: what follows a zero byte never reaches the callback.
    const std::string paramText = param.c_str();

    WaitSlot* slot = WaitSlotRegistry::AcquireWaitSlot(key.c_str());
    __QuilSecurityTrafficFilterCallback(mainAction, subAction, key.c_str(),
                                        nullParam ? nullptr : paramText.c_str());
    __QuilSecurityTrafficFilterCallback(mainAction, subAction, nullptr, paramText.c_str());
    const std::string posted = WaitSlotRegistry::ReadWaitSlot(slot);
    WaitSlotRegistry::ReleaseWaitSlot(key.c_str());

    Json::Value verdict;
    Json::Reader reader;
    if (!reader.parse(posted, verdict, false) || !verdict.isObject()) std::abort();
    if (!verdict["mainAction"].isInt() || verdict["mainAction"].asInt() != mainAction ||
        !verdict["subAction"].isInt() || verdict["subAction"].asInt() != subAction ||
        !verdict["actionParam"].isString()) {
        std::abort();
    }
    const std::string expected = nullParam ? std::string() : paramText;
    if (WellFormedUtf8(expected) && verdict["actionParam"].asString() != expected) {
        std::abort();
    }

    // A key nobody waits on: the verdict is dropped.
    __QuilSecurityTrafficFilterCallback(mainAction, subAction, (key + "#gone").c_str(),
                                        paramText.c_str());
    return 0;
}
