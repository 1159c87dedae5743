#include "QuilSignImpl.h"

#include <json/json.h>

#include <cstdio>
#include <exception>
#include <memory>
#include <utility>
#include <vector>

#include "DelayedTaskQueue.h"
#include "JsonQuote.h"
#include "Platform.h"
#include "QuilConfig.h"
#include "QuilLogger.h"
#include "SignAnswerText.h"
#include "StatisticsSlot.h"
#include "SwitchStrToMap.h"
#include "ThreadPool.h"
#include "WaitSlot.h"

namespace {

// Guards the building of the singleton; taken only there, and before nothing else.
std::mutex instanceMutex;
// Published once the object is whole; read without the lock on the fast path.
std::atomic<QuilSignImpl*> instance{nullptr};

// The limits in force, in milliseconds; only the test hook changes them.
std::atomic<int64_t> signLimitMs{QuilSignImpl::kSignTimeLimitSeconds * 1000};
std::atomic<int64_t> asyncContentReportMs{QuilSignImpl::kAsyncContentReportSeconds * 1000};
std::atomic<int64_t> syncContentReportMs{QuilSignImpl::kSyncContentReportSeconds * 1000};
std::atomic<int64_t> contentWaitLimitMs{QuilSignImpl::kContentWaitLimitSeconds * 1000};

// The code of a signing whose component is missing.
constexpr uint32_t kMissingComponentCode = 16000;
// The wide road's buffer holds at least this many wide characters.
constexpr std::size_t kMinimumSignBuffer = 1024;

// The closed library's version, read once in the life of the process. Never destroyed: a
// caller on a detached thread may read it while the process exits.
quil::platform::OnceFlag kolvaVersionOnce;
// Written only inside kolvaVersionOnce, read after it.
std::string& KolvaVersionText() {
    static std::string* const text = new std::string();
    return *text;
}

// The environment as the JSON road names it: production and pre-release both count as 0.
int SignEnvironment(int32_t environment) { return (environment == 2 || environment == 3) ? 2 : 0; }

std::string CompactJson(const Json::Value& value) {
    Json::FastWriter writer;
    return writer.write(value);
}

// True when text parses as a JSON object. Our own tasks and callback write these texts, so
// anything else means the answer is unreadable. They carry the library's texts inside, so the
// parser's throw (its nesting limit) is caught here too and means the same.
bool ParseObject(const std::string& text, Json::Value* value) {
    try {
        Json::Reader reader;
        return reader.parse(text, *value, false) && value->isObject();
    } catch (const std::exception&) {
        return false;
    }
}

std::string MemberText(const Json::Value& object, const char* name) {
    const Json::Value& member = object[name];
    return member.isString() ? member.asString() : std::string();
}

int MemberInt(const Json::Value& object, const char* name) {
    const Json::Value& member = object[name];
    return member.isInt() ? member.asInt() : 0;
}

// The answer a signing task posts to its caller: {"errorCode":..,"sign":..} and a line feed.
std::string SignAnswer(const std::pair<std::string, std::string>& codeAndText) {
    return SignAnswerText::Write(codeAndText.first, codeAndText.second);
}

// Reads a posted answer's two members: the common form directly, any other through the
// parser. False when the text is no JSON object (nothing posted, or unreadable).
bool ReadAnswer(const std::string& text, std::string* code, std::string* sign) {
    if (SignAnswerText::Read(text, code, sign)) return true;
    Json::Value answer;
    if (text.empty() || !ParseObject(text, &answer)) return false;
    *code = MemberText(answer, "errorCode");
    *sign = MemberText(answer, "sign");
    return true;
}

// The wide road's signature: the low byte of each wide character up to the first nul, and no
// decoding. Bounded by the buffer, in case the library wrote no terminator.
std::string Narrow(const std::vector<wchar_t>& buffer) {
    std::string narrow;
    for (wchar_t c : buffer) {
        if (c == L'\0') break;
        narrow.push_back(static_cast<char>(static_cast<unsigned char>(c & 0xFF)));
    }
    return narrow;
}

}  // namespace

QuilSignImpl* QuilSignImpl::GetInstance() {
    QuilSignImpl* sign = instance.load(std::memory_order_acquire);
    if (sign != nullptr) return sign;
    std::lock_guard<std::mutex> lock(instanceMutex);
    sign = instance.load(std::memory_order_relaxed);
    if (sign == nullptr) {
        sign = new QuilSignImpl();
        instance.store(sign, std::memory_order_release);
    }
    return sign;
}

QuilSignImpl::QuilSignImpl() : signPool63(new ThreadPool(1, 1)), signPool62(new ThreadPool(1, 1)) {}

void QuilSignImpl::SetTimeLimitsForTesting(std::chrono::milliseconds signLimit,
                                           std::chrono::milliseconds asyncContentReport,
                                           std::chrono::milliseconds syncContentReport) {
    signLimitMs.store(signLimit.count());
    asyncContentReportMs.store(asyncContentReport.count());
    syncContentReportMs.store(syncContentReport.count());
}

void QuilSignImpl::SetContentWaitLimitForTesting(std::chrono::milliseconds limit) {
    contentWaitLimitMs.store(limit.count());
}

bool QuilSignImpl::Start() {
    std::lock_guard<std::mutex> lock(lifecycleMutex);
    if (started) return false;
    // A load that fails has printed why; the failure shows later as a failed signing.
    components.Load();
    started = true;
    QUIL_LOG(QUIL_LOG_INFO, "QuilSignImpl Started");
    return true;
}

bool QuilSignImpl::Stop() {
    std::lock_guard<std::mutex> lock(lifecycleMutex);
    if (!started) return false;
    components.Stop();
    started = false;
    QUIL_LOG(QUIL_LOG_INFO, "QuilSignImpl Stopped");
    return true;
}

QuilSignImpl::Proxies QuilSignImpl::CurrentProxies() {
    std::lock_guard<std::mutex> lock(lifecycleMutex);
    Proxies proxies;
    proxies.jsonSign = components.jsonUrlSign.proxy;
    proxies.urlSign = components.urlSign.proxy;
    proxies.urlSignErrorCode = components.urlSign.errorCode;
    proxies.trafficFilter = components.trafficFilter.proxy;
    return proxies;
}

SignResult* QuilSignImpl::Sign6_3(int seqId, std::string& data, std::string& api) {
    if (signTimeoutCount.load() >= kSignTimeoutsBeforeClosing) return nullptr;

    // The suffix names the other road, and Sign6_2 names this one: the keys stay crossed.
    const std::string key = std::to_string(seqId) + "_sign6.2";
    WaitSlot* slot = WaitSlotRegistry::AcquireWaitSlot(key);
    QUIL_LOG(QUIL_LOG_VERBOSE, "QUIL sign version 6.3, seqId: %d", seqId);

    signPool63->AddTask(
        [this, key, data, api] {
            // If the caller has given up, the slot is gone and the answer is dropped.
            WaitSlotRegistry::PostWaitSlot(key, SignAnswer(SignJson(data, api)));
        },
        "QuilSign6.3");
    WaitSlotRegistry::WaitOnSlotFor(slot, std::chrono::milliseconds(signLimitMs.load()));

    SignResult* result = new SignResult();
    const std::string text = WaitSlotRegistry::ReadWaitSlot(slot);
    std::string signText;
    if (ReadAnswer(text, &result->errorCode, &signText)) {
        result->signMap = __SwitchStrToMap(std::move(signText));
    } else {
        QUIL_LOG(QUIL_LOG_WARN, "urlSign time limit exceeded, version 6.3");
        result->errorCode = "-1";
        ++signTimeoutCount;
        StatisticsSlot::CommitCount("signTimeout", "quil sign 6.3", 1.0);
    }
    WaitSlotRegistry::ReleaseWaitSlot(key);
    return result;
}

SignResult* QuilSignImpl::Sign6_2(int seqId, std::string& data, int method) {
    const std::string key = std::to_string(seqId) + "_sign6.3";
    WaitSlot* slot = WaitSlotRegistry::AcquireWaitSlot(key);
    QUIL_LOG(QUIL_LOG_INFO, "QUIL degrade sign version 6.2, seqId: %d", seqId);

    signPool62->AddTask(
        [this, key, data, method] {
            WaitSlotRegistry::PostWaitSlot(key, SignAnswer(SignUrl(data, method)));
        },
        "QuilSign6.2");
    WaitSlotRegistry::WaitOnSlotFor(slot, std::chrono::milliseconds(signLimitMs.load()));

    SignResult* result = new SignResult();
    const std::string text = WaitSlotRegistry::ReadWaitSlot(slot);
    if (!ReadAnswer(text, &result->errorCode, &result->sign)) {
        // The wide road is the last resort: its time-outs never close it.
        QUIL_LOG(QUIL_LOG_WARN, "urlSign time limit exceeded, version 6.2");
        result->errorCode = "-1";
        StatisticsSlot::CommitCount("signTimeout", "quil sign 6.2", 1.0);
    }
    WaitSlotRegistry::ReleaseWaitSlot(key);
    return result;
}

std::pair<std::string, std::string> QuilSignImpl::SignJson(const std::string& data,
                                                           const std::string& api) {
    QuilConfig* config = QuilConfig::GetInstance();
    // The compact JSON object of these members in name order, without a line feed.
    std::string line = "{\"api\":";
    line.reserve(api.size() + data.size() + config->appKey.size() + 64);
    JsonQuote::Append(line, api);
    line.append(",\"appkey\":");
    JsonQuote::Append(line, config->appKey);
    line.append(",\"authCode\":");
    JsonQuote::Append(line, config->authCode);
    line.append(",\"data\":");
    JsonQuote::Append(line, data);
    line.append(",\"env\":").append(std::to_string(SignEnvironment(config->environment)));
    line.push_back('}');

    uint32_t code = 0;
    std::string signature;
    IJsonSignProxy* proxy = CurrentProxies().jsonSign;
    if (proxy == nullptr) {
        code = kMissingComponentCode;
        QUIL_LOG(QUIL_LOG_ERROR, "urlSign error, sign Buf: %s, sign code: %d", line.c_str(),
                 static_cast<int>(code));
    } else {
        const char* text = proxy->Sign(line.c_str(), &code);
        if (text == nullptr || code != 0) {
            QUIL_LOG(QUIL_LOG_ERROR, "urlSign error, sign Buf: %s, sign code: %d", line.c_str(),
                     static_cast<int>(code));
            if (text != nullptr) proxy->Free(text);
        } else {
            QUIL_LOG(QUIL_LOG_VERBOSE, "urlSign success");
            QUIL_LOG(QUIL_LOG_VERBOSE, "urlSign(json): %s", text);
            signature = text;
            proxy->Free(text);
        }
    }
    return {std::to_string(code), signature};
}

std::pair<std::string, std::string> QuilSignImpl::SignUrl(const std::string& data, int method) {
    const std::string appKey = QuilConfig::GetInstance()->appKey;
    const std::wstring wideData = quil::platform::Utf8ToWide(data);
    const std::wstring wideAppKey = quil::platform::Utf8ToWide(appKey);
    // At least 1024 wide characters; a longer input gets its length plus the terminator.
    const std::size_t size =
        wideData.size() <= kMinimumSignBuffer ? kMinimumSignBuffer : wideData.size() + 1;
    std::vector<wchar_t> buffer(size, L'\0');
    // A truncating copy that always leaves the last character a terminator.
    wideData.copy(buffer.data(), size - 1);
    int32_t capacity = static_cast<int32_t>(size);
    const int signMethod = method == 2 ? 2 : 1;

    int32_t code = static_cast<int32_t>(kMissingComponentCode);
    const Proxies proxies = CurrentProxies();
    if (proxies.urlSign == nullptr) {
        if (proxies.urlSignErrorCode != nullptr) code = proxies.urlSignErrorCode->GetLastError();
    } else if (proxies.urlSign->Sign(wideAppKey.c_str(), signMethod, buffer.data(), &capacity) !=
               0) {
        std::printf("UrlSign success\n");
        std::printf("result:[%d]\n", 0);
        code = 0;
    } else if (proxies.urlSignErrorCode != nullptr) {
        std::printf("UrlSign error\n");
        std::printf("result:[%d]\n", proxies.urlSignErrorCode->GetLastError());
        code = proxies.urlSignErrorCode->GetLastError();
    }

    std::string signature;
    if (code == 0) {
        QUIL_LOG(QUIL_LOG_VERBOSE, "urlSign success");
        signature = Narrow(buffer);
        QUIL_LOG(QUIL_LOG_VERBOSE, "urlSign: %s len: %d", signature.c_str(),
                 static_cast<int>(signature.size()));
    } else {
        QUIL_LOG(QUIL_LOG_ERROR,
                 "urlSign error, appKey: %s, sign method: %d, original: %s, sign code: %d",
                 appKey.c_str(), signMethod, data.c_str(), static_cast<int>(code));
    }
    return {std::to_string(static_cast<uint32_t>(code)), signature};
}

ActionResult* QuilSignImpl::ProcessContent(int seqId, std::string& content) {
    if (!QuilConfig::GetInstance()->securityEnabled) return new ActionResult();

    const std::string key = std::to_string(seqId) + "_processContent";
    WaitSlot* slot = WaitSlotRegistry::AcquireWaitSlot(key);
    QUIL_LOG(QUIL_LOG_INFO, "QUIL proccess content, seqId: %d", seqId);

    uint32_t isAsync = 0;
    uint32_t errorCode = 0;
    ITrafficFilterProxy* proxy = CurrentProxies().trafficFilter;
    if (proxy != nullptr) {
        // The verdict may come before this returns, on this thread or another.
        proxy->ProcessContent(content.c_str(), key.c_str(), __QuilSecurityTrafficFilterCallback,
                              &isAsync, &errorCode);
    }
    QUIL_LOG(QUIL_LOG_INFO, "content: %s isAsync: %lu errorCode: %lu", content.c_str(),
             static_cast<unsigned long>(isAsync), static_cast<unsigned long>(errorCode));

    // Without the traffic component no verdict can ever come: waiting would never end, so the
    // caller gets at once what a wait without an answer gives.
    if (proxy != nullptr) {
        const int64_t limitMs =
            isAsync != 0 ? asyncContentReportMs.load() : syncContentReportMs.load();
        const bool async = isAsync != 0;
        DelayedTaskQueue& queue = DelayedTaskQueue::Instance();
        // The limit only reports an overlong wait; it does not end the wait. A verdict that
        // comes after the report still counts, up to the far bound of the wait itself.
        const int32_t taskId = queue.AddTask(
            [async] { StatisticsSlot::CommitCount("kolvaTimeout", async ? "async" : "sync", 1.0); },
            DelayedTaskQueue::Now() + limitMs * 1000000);
        WaitSlotRegistry::WaitOnSlotFor(slot, std::chrono::milliseconds(contentWaitLimitMs.load()));
        queue.RemoveTask(taskId);
    }

    ActionResult* result = new ActionResult();
    const std::string text = WaitSlotRegistry::ReadWaitSlot(slot);
    Json::Value verdict;
    if (!text.empty() && ParseObject(text, &verdict)) {
        result->actionParam = MemberText(verdict, "actionParam");
        result->mainAction = MemberInt(verdict, "mainAction");
        result->subAction = MemberInt(verdict, "subAction");
    } else {
        QUIL_LOG(QUIL_LOG_WARN, "processContent time limit exceeded");
        result->mainAction = 0;
        result->subAction = 0;
    }
    WaitSlotRegistry::ReleaseWaitSlot(key);
    return result;
}

std::string QuilSignImpl::GetCookies(std::string& url) {
    if (!QuilConfig::GetInstance()->securityEnabled) return std::string();
    ITrafficFilterProxy* proxy = CurrentProxies().trafficFilter;
    if (proxy == nullptr) return std::string();
    char* text = nullptr;
    int32_t length = 0;
    std::string cookies;
    if (proxy->GetCookies(url.c_str(), 0, &text, &length) != 0 && text != nullptr) {
        cookies = text;
        proxy->FreeBuffer(text);
        QUIL_LOG(QUIL_LOG_INFO, "get cookies from kolva, url: %s, result: %s", url.c_str(),
                 cookies.c_str());
    }
    return cookies;
}

std::string QuilSignImpl::GetKolvaVersion() {
    if (!QuilConfig::GetInstance()->securityEnabled) return std::string();
    quil::platform::CallOnce(kolvaVersionOnce, [this] {
        ITrafficFilterProxy* proxy = CurrentProxies().trafficFilter;
        if (proxy != nullptr) {
            char* text = nullptr;
            int32_t length = 0;
            proxy->GetVersion(&text, &length);
            if (text != nullptr) {
                KolvaVersionText() = text;
                proxy->FreeBuffer(text);
            }
        }
        QUIL_LOG_AS("GetKolvaVersion", QUIL_LOG_INFO, "get kolva version: %s",
                    KolvaVersionText().c_str());
    });
    return KolvaVersionText();
}

void __QuilSecurityTrafficFilterCallback(int mainAction, int subAction, const char* sequenceId,
                                         const char* actionParam) {
    if (sequenceId == nullptr) return;
    const char* param = actionParam != nullptr ? actionParam : "";
    QUIL_LOG(QUIL_LOG_INFO,
             "__QuilSecurityTrafficFilterCallback mainAction: %d subAction: %d sequenceId: %s "
             "actionParam: %s",
             mainAction, subAction, sequenceId, param);
    Json::Value verdict(Json::objectValue);
    verdict["actionParam"] = param;
    verdict["mainAction"] = mainAction;
    verdict["subAction"] = subAction;
    // The writer's line feed stays in the text.
    WaitSlotRegistry::PostWaitSlot(sequenceId, CompactJson(verdict));
}
