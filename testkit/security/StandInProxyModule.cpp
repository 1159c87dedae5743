// The stand-in's main component, built as "OruSafeProxy.dll": the error code (273), the two
// signing roads (277, 297) and the traffic filter (299). It signs for real (StandInSignature.h),
// obeys the controls of StandInControl.h and records what it was given.
#include <json/json.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "QuilSecurityProxies.h"
#include "StandInExport.h"
#include "StandInSignature.h"
#include "StandInState.h"

namespace quil {
namespace standin {

namespace {

// Codes the stand-in reports for inputs it cannot sign.
constexpr uint32_t kUnreadableInputCode = 1001;
constexpr int32_t kBufferTooSmallCode = 1002;

// Texts handed out are new[] copies, taken back by Free / FreeBuffer.
char* CopyOut(const std::string& text) {
    char* copy = new char[text.size() + 1];
    std::memcpy(copy, text.c_str(), text.size() + 1);
    return copy;
}

class ErrorCodeProxy : public IErrorCode {
public:
    int32_t GetLastError() override {
        StandInState& state = StandInState::Instance();
        state.Count("errorCode.getLastError");
        return static_cast<int32_t>(state.GetInt("errorCode.last"));
    }
};

class UrlSignProxy : public IUrlSignProxy {
public:
    int Start() override {
        StandInState::Instance().Count("urlSign.start");
        return 1;
    }
    int Stop() override {
        StandInState::Instance().Count("urlSign.stop");
        return 1;
    }
    int Sign(const wchar_t* appKey, int signMethod, wchar_t* buffer, int32_t* capacity) override {
        StandInState& state = StandInState::Instance();
        const std::string key = WideToRecordText(appKey);
        const std::string data = WideToRecordText(buffer);
        state.Record("urlSign.appKey", key);
        state.Record("urlSign.data", data);
        state.Record("urlSign.method", std::to_string(signMethod));
        state.Record("urlSign.capacity", capacity == nullptr ? "null" : std::to_string(*capacity));
        state.Count("urlSign.sign");
        state.HangIf("urlSign.hangMs");
        if (state.GetInt("urlSign.fail") != 0) {
            state.SetInt("errorCode.last", state.GetInt("urlSign.code"));
            return 0;
        }
        const std::string signature =
            Signature(key, signMethod == 2 ? kLabelUrlMethod2 : kLabelUrlMethod1, data);
        if (buffer == nullptr || capacity == nullptr ||
            static_cast<int64_t>(signature.size()) + 1 > *capacity) {
            state.SetInt("errorCode.last", kBufferTooSmallCode);
            return 0;
        }
        for (std::size_t i = 0; i < signature.size(); ++i) buffer[i] = signature[i];
        buffer[signature.size()] = L'\0';
        state.SetInt("errorCode.last", 0);
        return 1;
    }
};

// The builder is made once: making one sets up its whole table of defaults, which cost more
// than the signing itself. It is only read afterwards, from any thread. Never destroyed, like
// the state: a signing thread of the SDK may still be in here at process exit.
const Json::CharReaderBuilder& ReaderBuilder() {
    static const Json::CharReaderBuilder* builder = new Json::CharReaderBuilder();
    return *builder;
}

class JsonSignProxy : public IJsonSignProxy {
public:
    int Start() override {
        StandInState::Instance().Count("jsonSign.start");
        return 1;
    }
    int Stop() override {
        StandInState::Instance().Count("jsonSign.stop");
        return 1;
    }
    const char* Sign(const char* json, uint32_t* code) override {
        StandInState& state = StandInState::Instance();
        state.Record("jsonSign.input", json == nullptr ? "" : json);
        state.Count("jsonSign.sign");
        state.HangIf("jsonSign.hangMs");
        uint32_t ignored = 0;
        uint32_t& result = code != nullptr ? *code : ignored;
        if (state.GetInt("jsonSign.fail") != 0) {
            result = static_cast<uint32_t>(state.GetInt("jsonSign.code"));
            return nullptr;
        }
        if (state.GetInt("jsonSign.empty") != 0) {
            result = 0;
            return CopyOut("{}");
        }
        std::string scripted;
        if (state.GetText("jsonSign.answer", &scripted)) {
            result = 0;
            return CopyOut(scripted.c_str());
        }
        Json::Value request;
        std::unique_ptr<Json::CharReader> reader(ReaderBuilder().newCharReader());
        const std::string text = json == nullptr ? "" : json;
        if (!reader->parse(text.data(), text.data() + text.size(), &request, nullptr) ||
            !request.isObject() || !request["appkey"].isString() || !request["data"].isString()) {
            result = kUnreadableInputCode;
            return nullptr;
        }
        // The compact JSON object of the two headers in name order; every text in it is plain
        // (the hexadecimal signature and fixed names), so it needs no escaping.
        std::string answer = "{\"";
        answer.append(kSchemeHeader)
            .append("\":\"")
            .append(kSchemeValue)
            .append("\",\"")
            .append(kSignHeader)
            .append("\":\"")
            .append(Signature(request["appkey"].asString(), kLabelJson, request["data"].asString()))
            .append("\"}");
        result = 0;
        return CopyOut(answer);
    }
    void Free(const char* text) override {
        StandInState::Instance().Count("jsonSign.free");
        delete[] text;
    }
};

class TrafficFilterProxy : public ITrafficFilterProxy {
public:
    int Start() override {
        StandInState::Instance().Count("traffic.start");
        return 1;
    }
    int Stop() override {
        StandInState::Instance().Count("traffic.stop");
        return 1;
    }
    int32_t RegisterWebBrowserProxy(IWKWebBrowserProxy* proxy, uint32_t* out) override {
        StandInState& state = StandInState::Instance();
        state.Record("traffic.browserProxy", std::to_string(reinterpret_cast<uintptr_t>(proxy)));
        state.Count("traffic.register");
        if (out != nullptr) *out = static_cast<uint32_t>(state.GetInt("traffic.registerOut"));
        return static_cast<int32_t>(state.GetInt("traffic.registerResult", 1));
    }
    int Reserved3() override {
        StandInState::Instance().Count("traffic.reserved3");
        return 0;
    }
    int GetCookies(const char* url, int32_t flags, char** text, int32_t* length) override {
        StandInState& state = StandInState::Instance();
        state.Record("traffic.cookieUrl", url == nullptr ? "" : url);
        state.Record("traffic.cookieFlags", std::to_string(flags));
        state.Count("traffic.getCookies");
        return GiveText("traffic.cookies", text, length);
    }
    int GetVersion(char** text, int32_t* length) override {
        StandInState::Instance().Count("traffic.getVersion");
        return GiveText("traffic.version", text, length);
    }
    int ProcessContent(const char* content, const char* sequenceId, TrafficFilterCallback callback,
                       uint32_t* isAsync, uint32_t* errorCode) override {
        StandInState& state = StandInState::Instance();
        const std::string sequence = sequenceId == nullptr ? "" : sequenceId;
        state.Record("traffic.content", content == nullptr ? "" : content);
        state.Record("traffic.sequenceId", sequence);
        if (isAsync != nullptr) *isAsync = static_cast<uint32_t>(state.GetInt("traffic.isAsync"));
        if (errorCode != nullptr) {
            *errorCode = static_cast<uint32_t>(state.GetInt("traffic.errorCode"));
        }
        state.Count("traffic.processContent");
        state.HangIf("traffic.hangMs");
        StandInState::HeldVerdict verdict{callback, sequence, content == nullptr ? "" : content};
        switch (state.GetInt("traffic.mode")) {
            case 0:
                state.Deliver(verdict);
                break;
            case 1:
                state.DeliverLater(verdict, static_cast<int>(state.GetInt("traffic.delayMs")));
                break;
            default:
                state.Hold(verdict);
                break;
        }
        return 1;
    }
    int FreeBuffer(char* text) override {
        StandInState::Instance().Count("traffic.freeBuffer");
        delete[] text;
        return 1;
    }

private:
    static int GiveText(const std::string& name, char** text, int32_t* length) {
        StandInState& state = StandInState::Instance();
        std::string value;
        if (text == nullptr) return 0;
        *text = nullptr;
        if (!state.GetText(name, &value)) return 0;
        *text = CopyOut(value);
        if (length != nullptr) *length = static_cast<int32_t>(value.size());
        state.Count("traffic.allocated");
        return 1;
    }
};

ErrorCodeProxy errorCodeProxy;
UrlSignProxy urlSignProxy;
JsonSignProxy jsonSignProxy;
TrafficFilterProxy trafficFilterProxy;

void* InterfaceOf(int number) {
    switch (number) {
        case kErrorCodeNumber:
            return static_cast<IErrorCode*>(&errorCodeProxy);
        case kUrlSignProxyNumber:
            return static_cast<IUrlSignProxy*>(&urlSignProxy);
        case kJsonSignProxyNumber:
            return static_cast<IJsonSignProxy*>(&jsonSignProxy);
        case kTrafficFilterProxyNumber:
            return static_cast<ITrafficFilterProxy*>(&trafficFilterProxy);
        default:
            return nullptr;
    }
}

}  // namespace

}  // namespace standin
}  // namespace quil

QUIL_STANDIN_EXPORT int QueryInterface(int number, void** out) {
    using quil::standin::StandInState;
    StandInState& state = StandInState::Instance();
    state.Count("proxy.queryInterface");
    state.Record("proxy.queryInterface", std::to_string(number));
    if (out == nullptr) return 0;
    *out = nullptr;
    void* found = quil::standin::InterfaceOf(number);
    if (found == nullptr || state.IsRefused(number)) return 0;
    if (state.GetInt("queryInterface.nullPointer") != 0) return 1;
    *out = found;
    return 1;
}
