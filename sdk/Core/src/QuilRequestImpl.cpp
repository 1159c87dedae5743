#include "QuilRequestImpl.h"

#include <cctype>
#include <exception>
#include <utility>

#include "JsonQuote.h"
#include "QuilConfig.h"
#include "QuilLogger.h"

namespace {

// Byte by byte, as the C library does it; the cast keeps bytes above 0x7f defined.
std::string ToLower(std::string text) {
    for (char& c : text) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return text;
}

// The styled text of an object of text, integer, boolean and null members without comments,
// with its line feeds taken out, written directly: "{" then, for each member, three blanks, the
// quoted name, " : " and the value, the members parted by ","; then "}". Exactly what
// StyledWriter writes for such an object once the line feeds are dropped. False for any other
// value, which the writer itself then handles.
bool WriteFlatStyledObject(const Json::Value& object, std::string& out) {
    if (!object.isObject() || object.hasComment(Json::commentBefore) ||
        object.hasComment(Json::commentAfterOnSameLine) || object.hasComment(Json::commentAfter)) {
        return false;
    }
    std::string text = "{";
    bool first = true;
    for (auto it = object.begin(); it != object.end(); ++it) {
        const Json::Value& value = *it;
        if (value.hasComment(Json::commentBefore) ||
            value.hasComment(Json::commentAfterOnSameLine) ||
            value.hasComment(Json::commentAfter)) {
            return false;
        }
        const std::string name = it.name();
        // The writer quotes a name only up to its first nul.
        if (name.find('\0') != std::string::npos) return false;
        if (!first) text.push_back(',');
        first = false;
        text.append("   ");
        JsonQuote::Append(text, name);
        text.append(" : ");
        switch (value.type()) {
            case Json::stringValue:
                JsonQuote::Append(text, value.asString());
                break;
            case Json::intValue:
                text.append(std::to_string(value.asLargestInt()));
                break;
            case Json::uintValue:
                text.append(std::to_string(value.asLargestUInt()));
                break;
            case Json::booleanValue:
                text.append(value.asBool() ? "true" : "false");
                break;
            case Json::nullValue:
                text.append("null");
                break;
            default:
                return false;
        }
    }
    text.push_back('}');
    out = std::move(text);
    return true;
}

}  // namespace

QuilRequest* QuilRequest::Create(std::string api, std::string version) {
    return new QuilRequestImpl(std::move(api), std::move(version));
}

QuilRequestImpl::QuilRequestImpl(std::string api, std::string version)
    : api(std::move(api)), version(std::move(version)) {
    domainMode = QuilConfig::GetInstance()->domainSetting == 1 ? 1 : 2;
}

QuilRequestImpl::~QuilRequestImpl() {
    QUIL_LOG(QUIL_LOG_INFO, "destory QuilRequestImpl, id: %d", id);
}

void QuilRequestImpl::SetNeedLogin(bool value) { needLogin = value; }
bool QuilRequestImpl::GetNeedLogin() { return needLogin; }
void QuilRequestImpl::SetMethod(int value) { method = value; }
int QuilRequestImpl::GetMethod() { return method; }
void QuilRequestImpl::SetSign(std::string value) { sign = std::move(value); }
std::string QuilRequestImpl::GetSign() { return sign; }
void QuilRequestImpl::SetTimestamp(int64_t value) { timestamp = value; }
int64_t QuilRequestImpl::GetTimestamp() { return timestamp; }
void QuilRequestImpl::SetHttpId(int value) { httpId = value; }
void QuilRequestImpl::SetNetworkType(std::string value) { networkType = std::move(value); }
void QuilRequestImpl::SetIsSSL(bool value) { isSSL = value; }
void QuilRequestImpl::SetReqBizExt(std::string value) { reqBizExt = std::move(value); }
std::string QuilRequestImpl::GetReqBizExt() { return reqBizExt; }
std::string QuilRequestImpl::GetApi() { return api; }
std::string QuilRequestImpl::GetVersion() { return version; }

void QuilRequestImpl::SetHeaders(std::map<std::string, std::string> values) {
    // A merge, not a replacement: headers added earlier survive unless overridden.
    for (auto& entry : values) {
        headers[entry.first] = std::move(entry.second);
    }
}

void QuilRequestImpl::AddHeader(std::string key, std::string value) {
    headers[std::move(key)] = std::move(value);
}

// data only ever holds null or an object, so member access cannot throw.
void QuilRequestImpl::AddData(std::string key, double value) { data[key] = Json::Value(value); }

void QuilRequestImpl::SetRawData(std::string value) { rawData = std::move(value); }

void QuilRequestImpl::AddData(std::string key, int value) { data[key] = Json::Value(value); }

void QuilRequestImpl::AddData(std::string key, std::string value) {
    data[key] = Json::Value(value);
}

void QuilRequestImpl::RemoveData(std::string key) {
    if (data.isObject()) {
        data.removeMember(key);
    }
}

void QuilRequestImpl::SetParams(std::map<std::string, std::string> values) {
    for (auto& entry : values) {
        params[entry.first] = std::move(entry.second);
    }
}

void QuilRequestImpl::AddParam(std::string key, std::string value) {
    params[std::move(key)] = std::move(value);
}

void QuilRequestImpl::RemoveParam(std::string key) { params.erase(key); }
void QuilRequestImpl::SetCallback(QuilCallback value) { callback = value; }
QuilCallback QuilRequestImpl::GetCallback() { return callback; }
void QuilRequestImpl::SetUserData(void* value) { userData = value; }
void* QuilRequestImpl::GetUserData() { return userData; }
bool QuilRequestImpl::IsCancelled() { return cancelled; }
int QuilRequestImpl::GetId() { return id; }
void QuilRequestImpl::SetId(int value) { id = value; }

const std::string& QuilRequestImpl::DataText(std::string& scratch) {
    if (!rawData.empty()) return rawData;
    scratch = GetData();
    return scratch;
}

std::string QuilRequestImpl::GetData() {
    if (!rawData.empty()) {
        return rawData;
    }
    if (data.isNull() || ((data.isObject() || data.isArray()) && data.size() == 0)) {
        return "{}";
    }
    std::string text;
    if (WriteFlatStyledObject(data, text)) return text;
    try {
        // The styled layout (margin 74, indent 3) is what the gateway digests for the
        // signature; a compact writer would break every signature.
        Json::StyledWriter writer;
        text = writer.write(data);
    } catch (const std::exception&) {
        // Values set through AddData cannot make the writer throw; should a JsonCpp build
        // do so anyway, the call goes out with no data rather than an exception.
        return "{}";
    }
    std::string flat;
    flat.reserve(text.size());
    for (char c : text) {
        if (c != '\n') {
            flat.push_back(c);
        }
    }
    return flat;
}

std::string QuilRequestImpl::GetKey() {
    if (api.empty() || version.empty()) {
        return std::string();
    }
    // In place on purpose: from now on the request carries the lower-case api and version.
    api = ToLower(std::move(api));
    version = ToLower(std::move(version));
    return api + "$" + version;
}

std::map<std::string, std::string> QuilRequestImpl::GetHeaders() { return headers; }
void QuilRequestImpl::SetUserInfo(std::string value) { userInfo = std::move(value); }

std::string QuilRequestImpl::GetUserInfo() {
    return userInfo.empty() ? std::string("Default") : userInfo;
}

void QuilRequestImpl::SetDomainMode(int value) { domainMode = value; }
int QuilRequestImpl::GetDomainMode() { return domainMode; }
void QuilRequestImpl::SetOpenBiz(std::string value) { openBiz = std::move(value); }
std::string QuilRequestImpl::GetOpenBiz() { return openBiz; }
void QuilRequestImpl::SetMiniAppKey(std::string value) { miniAppKey = std::move(value); }
std::string QuilRequestImpl::GetMiniAppKey() { return miniAppKey; }
void QuilRequestImpl::SetReqAppKey(std::string value) { reqAppKey = std::move(value); }
std::string QuilRequestImpl::GetReqAppKey() { return reqAppKey; }
void QuilRequestImpl::SetAct(std::string value) { act = std::move(value); }
std::string QuilRequestImpl::GetAct() { return act; }
void QuilRequestImpl::SetOpenBizData(std::string value) { openBizData = std::move(value); }
std::string QuilRequestImpl::GetOpenBizData() { return openBizData; }
void QuilRequestImpl::SetMiniAppIdTarvel(std::string value) { miniAppIdTarvel = std::move(value); }
std::string QuilRequestImpl::GetMiniAppIdTarvel() { return miniAppIdTarvel; }
void QuilRequestImpl::SetExtData(std::string value) { extData = std::move(value); }
std::string QuilRequestImpl::GetExtData() { return extData; }
void QuilRequestImpl::SetExtType(std::string value) { extType = std::move(value); }
std::string QuilRequestImpl::GetExtType() { return extType; }
void QuilRequestImpl::SetMiniAppIdPelmay(std::string value) { miniAppIdPelmay = std::move(value); }
std::string QuilRequestImpl::GetMiniAppIdPelmay() { return miniAppIdPelmay; }

void QuilRequestImpl::SetSignHeaders(const std::map<std::string, std::string>& values) {
    // Each signing pass produces a complete set; nothing of the previous one may linger.
    signHeaders = values;
}

std::map<std::string, std::string> QuilRequestImpl::GetSignHeaders() { return signHeaders; }
std::string QuilRequestImpl::GetLowerApi() { return ToLower(api); }
std::string QuilRequestImpl::GetLowerVersion() { return ToLower(version); }
