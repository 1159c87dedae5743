#include "GatewaySignInput.h"

#include <cerrno>
#include <cstdlib>

#include "Md5.h"
#include "StandInSignature.h"
#include "WireCodec.h"

namespace quil {

namespace {

std::string Decoded(const ReceivedRequest& request, const char* name) {
    return UrlDecode(request.Header(name));
}

// The features value as the client wrote it on "x-features:", or 0 when absent or unreadable.
long long Features(const ReceivedRequest& request) {
    std::string text;
    if (!request.FindHeader("x-features", &text)) {
        return 0;
    }
    text = UrlDecode(text);
    if (text.empty()) {
        return 0;
    }
    errno = 0;
    char* end = nullptr;
    const long long value = std::strtoll(text.c_str(), &end, 10);
    if (errno != 0 || end == nullptr || *end != '\0') {
        return 0;
    }
    return value;
}

}  // namespace

bool ReadGatewayCall(const ReceivedRequest& request, GatewayCall* call) {
    static const std::string kPrefix = "/gw/";
    if (request.path.compare(0, kPrefix.size(), kPrefix) != 0) {
        return false;
    }
    std::string rest = request.path.substr(kPrefix.size());
    if (!rest.empty() && rest.back() == '/') {
        rest.pop_back();
    }
    const std::size_t slash = rest.find('/');
    if (slash == std::string::npos || slash == 0 || slash + 1 >= rest.size() ||
        rest.find('/', slash + 1) != std::string::npos) {
        return false;
    }
    call->api = rest.substr(0, slash);
    call->version = rest.substr(slash + 1);
    std::string raw;
    if (request.method == "GET") {
        FindFormField(request.query, "data", &raw);
    } else {
        FindFormField(request.body, "data", &raw);
    }
    call->data = UrlDecode(raw);
    return true;
}

std::string RebuildSignInput(const ReceivedRequest& request, const GatewayCall& call,
                             bool extended) {
    // "x-location" carries lng first, the sign input lat first.
    std::string lat;
    std::string lng;
    std::string location;
    if (request.FindHeader("x-location", &location)) {
        location = UrlDecode(location);
        const std::size_t comma = location.find(',');
        if (comma != std::string::npos) {
            lng = location.substr(0, comma);
            lat = location.substr(comma + 1);
        }
    }
    std::string input;
    input += Decoded(request, "x-utdid") + "&";
    input += Decoded(request, "x-uid") + "&";
    input += Decoded(request, "x-reqbiz-ext") + "&";
    input += Decoded(request, "x-appkey") + "&";
    input += Md5Hex(call.data) + "&";
    input += Decoded(request, "x-t") + "&";
    input += call.api + "&";
    input += call.version + "&";
    input += Decoded(request, "x-sid") + "&";
    input += Decoded(request, "x-ttid") + "&";
    input += Decoded(request, "x-devid") + "&";
    input += lat + "&";
    input += lng + "&";
    if (extended || Decoded(request, "x-exttype") == "isv_open_api") {
        input += Decoded(request, "x-extdata") + "&";
    }
    const long long features = Features(request);
    if (features > 0) {
        input.push_back(static_cast<char>(features & 0xff));
    }
    input += "&&&";
    input += Decoded(request, "x-open-biz") + "&";
    input += Decoded(request, "x-mini-appkey") + "&";
    input += Decoded(request, "x-req-appkey") + "&";
    input += Decoded(request, "x-act") + "&";
    input += Decoded(request, "x-open-biz-data");
    return input;
}

SignVerdict VerifyGatewaySignature(const ReceivedRequest& request, const GatewayCall& call,
                                   const std::string& appKey) {
    SignVerdict verdict;
    const std::string key = appKey.empty() ? Decoded(request, "x-appkey") : appKey;
    const std::string version = request.Header("x-pv");
    std::string presented;
    std::string label;
    if (version == "6.3") {
        verdict.signInput = RebuildSignInput(request, call, true);
        label = standin::kLabelJson;
        if (!request.FindHeader(standin::kSignHeader, &presented)) {
            verdict.reason = "no x-standin-sign";
            return verdict;
        }
    } else if (version == "6.2") {
        verdict.signInput = RebuildSignInput(request, call, false);
        label = standin::kLabelUrlMethod1;
        if (!request.FindHeader("x-sign", &presented)) {
            verdict.reason = "no x-sign";
            return verdict;
        }
    } else {
        verdict.reason = "unknown x-pv";
        return verdict;
    }
    if (UrlDecode(presented) != standin::Signature(key, label, verdict.signInput)) {
        verdict.reason = "signature mismatch";
        return verdict;
    }
    verdict.valid = true;
    return verdict;
}

}  // namespace quil
