#include "ZentRequestForm.h"

#include <cstdio>

#include "QuilBuildConfig.h"
#include "UrlEncode.h"

namespace {

// The signed keys, in the order the dispatch service rebuilds the text it checks.
const char* const kSignedKeys[] = {
    "appkey", "domain", "appName", "appVersion", "bssid",   "channel",  "deviceId",
    "lat",    "lng",    "machine", "netType",    "other",   "platform", "platformVersion",
    "preIp",  "sid",    "t",       "v",          "signType"};

}  // namespace

ZentRequestForm::Params ZentRequestForm::BuildParams(const Client& client,
                                                     const std::string& domain, int64_t t) {
    Params params;
    params["appkey"] = client.appKey;
    params["v"] = "4.0";
    params["platform"] = "pc";
    params["deviceId"] = client.utdid;
    params["netType"] = "WIFI";
    params["lat"] = client.lat;
    params["lng"] = client.lng;
    params["appName"] = client.appName;
    params["appVersion"] = client.appVersion;
    params["domain"] = domain;
    params["signType"] = "sec";
    params["t"] = std::to_string(t);
    return params;
}

std::string ZentRequestForm::GetSignInput(Params& params) {
    std::string input;
    bool first = true;
    for (const char* key : kSignedKeys) {
        if (!first) input.push_back('&');
        first = false;
        // operator[] on purpose: the lookup creates the empty keys that then go out in the body.
        input.append(params[key]);
    }
    return input;
}

std::string ZentRequestForm::HostFor(int32_t environment) {
    // Not the gateway's numbering: only 4 reaches production, and 0 reaches the test host.
    if (environment == 4) return QUIL_DISPATCH_HOST_ONLINE;
    if (environment == 1) return QUIL_DISPATCH_HOST_PRE;
    return QUIL_DISPATCH_HOST_DAILY;
}

bool ZentRequestForm::MakeUrl(const std::string& host, const Params& params, std::string* url) {
    auto value = [&params](const char* key) {
        auto found = params.find(key);
        return found == params.end() ? std::string() : found->second;
    };
    char buffer[kUrlBufferSize];
    const int needed = std::snprintf(
        buffer, sizeof(buffer), "http://%s:%d%s?appkey=%s&v=%s&deviceId=%s&platform=%s",
        host.c_str(), kPort, "/zent/mobileDispatch", value("appkey").c_str(), value("v").c_str(),
        value("deviceId").c_str(), value("platform").c_str());
    // A cut URL would reach some other resource; refusing is the only safe reading.
    if (needed < 0 || needed >= kUrlBufferSize) {
        url->clear();
        return false;
    }
    // The text ends at the first zero byte, as a C buffer would.
    url->assign(buffer);
    return true;
}

std::string ZentRequestForm::EncodeBody(const Params& params) {
    std::string body;
    bool first = true;
    for (const auto& entry : params) {
        if (!first) body.push_back('&');
        first = false;
        body.append(UrlEncode(entry.first)).push_back('=');
        body.append(UrlEncode(entry.second));
    }
    return body;
}

std::unique_ptr<HttpRequest> ZentRequestForm::MakeHttpRequest(const std::string& url,
                                                              const std::string& body) {
    std::unique_ptr<HttpRequest> request(new HttpRequest());
    request->method = 1;
    request->url = url;
    request->header.push_back("Connection:close");
    request->header.push_back("Accept-Encoding:gzip");
    request->header.push_back("Content-Type: application/x-www-form-urlencoded");
    request->body = body;
    return request;
}
