#include "HttpRequestComposer.h"

#include <charconv>
#include <memory>

#include "BaseHeaderBuilder.h"
#include "GatewayHostSelector.h"
#include "GatewayUrlBuilder.h"
#include "IQuilCookieStorage.h"
#include "MD5.h"
#include "QuilConfig.h"
#include "QuilLogger.h"
#include "UTDataSet.h"
#include "UrlEncode.h"

namespace {

// The digits of value as "%" PRId64 writes them, without the cost of a formatted print.
std::string Decimal(int64_t value) {
    char text[24];
    const std::to_chars_result end = std::to_chars(text, text + sizeof(text), value);
    return std::string(text, end.ptr);
}

// The gateway knows these three network types; anything else is not reported at all.
std::string KnownNetworkType(const std::string& networkType) {
    if (networkType == "2g" || networkType == "3g" || networkType == "wifi") return networkType;
    return std::string();
}

bool HasCustomCookie(const std::map<std::string, std::string>& headers) {
    // Exactly these spellings count: a host that writes another mix of case still gets the
    // stored cookie line next to its own.
    return headers.count("cookie") != 0 || headers.count("Cookie") != 0 ||
           headers.count("COOKIE") != 0;
}

std::string JoinLines(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) text.append(line).push_back('\n');
    return text;
}

}  // namespace

HttpRequest* HttpRequestComposer::GetHttpRequest(QuilRequestImpl* request, IQuilSign* sign) {
    auto http = std::make_unique<HttpRequest>();
    http->requestId = request->GetId();

    const std::string api = request->GetLowerApi();
    const std::string version = request->GetLowerVersion();
    std::string scratch;
    const std::string& data = request->DataText(scratch);
    const GatewayUrlBuilder::Target target{
        api, version, data, request->params, request->isSSL, request->domainMode == 1};
    const bool isGet = request->GetMethod() == 1;
    if (isGet) {
        http->method = 0;
        // An over-long GET keeps an empty URL; the request still goes to the client.
        GatewayUrlBuilder::BuildGetUrl(http->url, target);
    } else {
        http->method = 1;
        GatewayUrlBuilder::BuildPostUrl(http->url, http->body, target);
    }

    GetHttpRequestHeader(http->header, request, http->url, sign);

    QuilConfig* config = QuilConfig::GetInstance();
    // The pre-release gateway takes no client certificate value.
    if (request->isSSL && config->environment != 1) http->sslValue = config->sslValue;
    if (!config->proxy.empty()) http->proxy = config->proxy;

    std::size_t headerSize = 0;
    for (const std::string& line : http->header) headerSize += line.size() + 1;
    MetricsEntity* metrics = UTDataSet::GetInstance()->GetExistMetricsEntity(request);
    metrics->method = isGet ? "get" : "post";
    metrics->isSSL = request->isSSL;
    metrics->useProxy = !http->proxy.empty();
    metrics->requestUrlLength = static_cast<int32_t>(http->url.size());
    metrics->requestHeaderSize = static_cast<int32_t>(headerSize);
    metrics->requestBodySize = static_cast<int32_t>(http->body.size());

    QUIL_LOG(QUIL_LOG_INFO, "httpRequest info { requestId: %d, method: %d, url: %s }",
             http->requestId, http->method, http->url.c_str());
    if (QuilLogger::IsEnabled(QUIL_LOG_VERBOSE)) {
        const std::string headerText = JoinLines(http->header);
        QUIL_LOG(QUIL_LOG_VERBOSE, "httpRequest content { requestId: %d, header: %s, body: %s }",
                 http->requestId, headerText.c_str(), http->body.c_str());
    }
    return http.release();
}

void HttpRequestComposer::GetHttpRequestHeader(std::vector<std::string>& out,
                                               QuilRequestImpl* request, std::string& url,
                                               IQuilSign* sign) {
    QuilConfig* config = QuilConfig::GetInstance();
    const std::string userInfo = request->GetUserInfo();

    BaseHeaderBuilder::Fields fields;
    fields.host = GatewayHostSelector::Select(request->domainMode == 1);
    if (request->needLogin) {
        fields.sid = config->GetSid(userInfo);
        fields.uid = config->GetUid(userInfo);
    }
    fields.utdid = config->utdid;
    fields.ttid = config->ttid;
    fields.devId = config->devId;
    fields.reqBizExt = request->reqBizExt;
    fields.openBiz = request->openBiz;
    fields.miniAppKey = request->miniAppKey;
    fields.reqAppKey = request->reqAppKey;
    fields.act = request->act;
    fields.openBizData = request->openBizData;
    fields.miniAppIdTarvel = request->miniAppIdTarvel;
    fields.miniAppIdPelmay = request->miniAppIdPelmay;
    fields.extType = request->extType;
    fields.extData = request->extData;
    fields.networkType = KnownNetworkType(request->networkType);
    fields.lng = config->lng;
    fields.lat = config->lat;
    fields.timestamp = request->timestamp;
    fields.sign = request->sign;
    fields.appKey = config->appKey;
    fields.features = config->features;
    if (sign != nullptr) fields.kolvaVersion = sign->GetKolvaVersion();
    const std::map<std::string, std::string>& headers = request->headers;
    // Room for every line, the cookie's included, so the vector never moves its lines.
    out.reserve(out.size() + BaseHeaderBuilder::kMostLines + headers.size() +
                request->signHeaders.size() + 1);
    BaseHeaderBuilder::Build(out, fields);

    // Each line is built in one string of its final room: one allocation a line.
    for (const auto& entry : headers) {
        std::string line;
        line.reserve(entry.first.size() + 1 + entry.second.size());
        line.append(entry.first).push_back(':');
        line.append(entry.second);
        out.push_back(std::move(line));
    }
    for (const auto& entry : request->signHeaders) {
        std::string line;
        line.reserve(entry.first.size() + 1 + entry.second.size() * 3);
        line.append(entry.first).push_back(':');
        UrlEncodeAppend(line, entry.second);
        out.push_back(std::move(line));
    }

    IQuilCookieStorage* storage = config->cookieStorage.load();
    if (storage == nullptr) return;
    MetricsEntity* metrics = UTDataSet::GetInstance()->GetExistMetricsEntity(request);
    metrics->getCookieStartTime = MetricsEntity::Now();
    if (!HasCustomCookie(headers)) {
        std::string cookie;
        // The answer's flag is not read: a cookie text, if any, is what counts.
        storage->GetCookie(url, cookie);
        if (!cookie.empty()) {
            out.push_back("Cookie:" + cookie);
            QUIL_LOG(QUIL_LOG_VERBOSE, "set cookie for url: %s, %s\n", url.c_str(), cookie.c_str());
        }
    }
    metrics->getCookieEndTime = MetricsEntity::Now();
}

void HttpRequestComposer::GetOriginalSignUrl(std::string& out, QuilRequestImpl* request,
                                             bool extended) {
    QuilConfig* config = QuilConfig::GetInstance();
    const std::string userInfo = request->GetUserInfo();
    const bool needLogin = request->GetNeedLogin();

    std::string digest;
    {
        std::string scratch;
        const std::string& data = request->DataText(scratch);
        QUIL_LOG(QUIL_LOG_VERBOSE, "originalData: %s", data.c_str());
        // Always the digest, never the data: the sign input stays small whatever the body.
        MD5 md5;
        md5.Update(data.data(), data.size());
        digest = md5.ToHexString();
        QUIL_LOG(QUIL_LOG_VERBOSE, "md5Data: %s", digest.c_str());
    }

    // Latitude and longitude travel together or not at all.
    const bool hasLocation = !config->lat.empty() && !config->lng.empty();

    std::string text;
    text.reserve(256);
    auto field = [&text](const std::string& value) { text.append(value).push_back('&'); };
    field(config->utdid);
    field(needLogin ? config->GetUid(userInfo) : std::string());
    field(request->GetReqBizExt());
    field(config->appKey);
    field(digest);
    field(Decimal(request->GetTimestamp()));
    field(request->GetLowerApi());
    field(request->GetLowerVersion());
    field(needLogin ? config->GetSid(userInfo) : std::string());
    field(config->ttid);
    field(config->devId);
    field(hasLocation ? config->lat : std::string());
    field(hasLocation ? config->lng : std::string());
    if (extended) {
        field(request->GetExtData());
    } else if (request->GetExtType() == "isv_open_api") {
        field(request->GetExtData());
    }
    // One raw byte, the low eight bits of the features: the gateway reads it as a byte, unlike
    // the decimal "x-features:" header.
    if (config->features > 0) text.push_back(static_cast<char>(config->features & 0xFF));
    text.append("&&&");
    field(request->GetOpenBiz());
    field(request->GetMiniAppKey());
    field(request->GetReqAppKey());
    field(request->GetAct());
    text.append(request->GetOpenBizData());
    out = std::move(text);
}

std::string HttpRequestComposer::SelectHost(bool domainModeIsOne) {
    return GatewayHostSelector::Select(domainModeIsOne);
}
