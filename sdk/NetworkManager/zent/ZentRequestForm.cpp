#include "ZentRequestForm.h"

#include <utility>

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
    // Each value as a C string would give it: up to its first zero byte.
    auto value = [&params](const char* key) {
        auto found = params.find(key);
        return found == params.end() ? std::string() : std::string(found->second.c_str());
    };
    std::string text = "http://" + std::string(host.c_str()) + ":" + std::to_string(kPort) +
                       "/zent/mobileDispatch?appkey=" + value("appkey") + "&v=" + value("v") +
                       "&deviceId=" + value("deviceId") + "&platform=" + value("platform");
    // The URL is made in a buffer of kUrlBufferSize bytes, terminator included. A cut URL
    // would reach some other resource; refusing is the only safe reading of one that does not
    // fit.
    if (text.size() >= static_cast<std::size_t>(kUrlBufferSize)) {
        url->clear();
        return false;
    }
    *url = std::move(text);
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
