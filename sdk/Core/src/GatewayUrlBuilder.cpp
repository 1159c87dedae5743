#include "GatewayUrlBuilder.h"

#include <cstring>

#include "GatewayHostSelector.h"
#include "UrlEncode.h"

namespace {

const char kPath[] = "/gw/";

const char* Scheme(bool isSSL) { return isSSL ? "https://" : "http://"; }

// The gateway's URL head was always printed as C text, so a text stops at its first NUL byte;
// keep that so the URL and its length match what the gateway has always received.
std::size_t CLength(const std::string& text) { return std::strlen(text.c_str()); }

void AppendC(std::string& out, const std::string& text) { out.append(text.c_str(), CLength(text)); }

// Appends scheme, host, "/gw/", api, "/", version and "/?".
void AppendHead(std::string& out, const char* scheme, const std::string& host,
                const GatewayUrlBuilder::Target& target) {
    out.append(scheme);
    AppendC(out, host);
    out.append(kPath);
    AppendC(out, target.api);
    out.push_back('/');
    AppendC(out, target.version);
    out.append("/?");
}

std::size_t ParamsLength(const std::map<std::string, std::string>& params) {
    std::size_t length = 0;
    for (const auto& entry : params) length += 2 + entry.first.size() + entry.second.size();
    return length;
}

}  // namespace

bool GatewayUrlBuilder::BuildGetUrl(std::string& url, const Target& target) {
    const std::string encoded = UrlEncode(target.data);
    const std::string host = GatewayHostSelector::Select(target.domainModeIsOne);
    const char* scheme = Scheme(target.isSSL);
    const char kDataKey[] = "data=";
    const std::size_t headLength = std::strlen(scheme) + CLength(host) + (sizeof(kPath) - 1) +
                                   CLength(target.api) + 1 + CLength(target.version) + 2 +
                                   (sizeof(kDataKey) - 1) + encoded.size();
    // The head once went through a 4096-byte buffer (terminator included); an over-long GET
    // fails there and the caller sends the request without a URL.
    if (headLength >= kGetUrlLimit) return false;
    std::string out;
    out.reserve(headLength + ParamsLength(target.params));
    AppendHead(out, scheme, host, target);
    out.append(kDataKey);
    out.append(encoded);
    AppendParams(out, target.params);
    url = std::move(out);
    return true;
}

void GatewayUrlBuilder::BuildPostUrl(std::string& url, std::string& body, const Target& target) {
    const std::string host = GatewayHostSelector::Select(target.domainModeIsOne);
    std::string out;
    out.reserve(16 + host.size() + target.api.size() + target.version.size() +
                ParamsLength(target.params));
    AppendHead(out, Scheme(target.isSSL), host, target);
    AppendParams(out, target.params);
    url = std::move(out);

    // Encoded straight into the body: a large body is then neither held twice nor copied.
    std::string form("data=");
    UrlEncodeAppend(form, target.data);
    body = std::move(form);
}

void GatewayUrlBuilder::AppendParams(std::string& out,
                                     const std::map<std::string, std::string>& params) {
    for (const auto& entry : params) {
        out.push_back('&');
        out.append(entry.first);
        out.push_back('=');
        out.append(entry.second);
    }
}
