#include "HandComposedCall.h"

#include "Md5.h"
#include "StandInSignature.h"
#include "WireCodec.h"

namespace quil {
namespace test {

std::string HandComposedCall::SignInput(bool extended) const {
    const bool location = !lat.empty() && !lng.empty();
    std::string text = utdid + "&" + (needLogin ? uid : "") + "&" + reqBizExt + "&" + appKey + "&" +
                       Md5Hex(data) + "&" + std::to_string(timestamp) + "&" + api + "&" + version +
                       "&" + (needLogin ? sid : "") + "&" + ttid + "&" + devId + "&" +
                       (location ? lat : "") + "&" + (location ? lng : "") + "&";
    if (extended) {
        text += extData + "&";
    } else if (extType == "isv_open_api") {
        text += extData + "&";
    }
    if (features > 0) {
        text.push_back(static_cast<char>(features & 0xff));
    }
    text += "&&&";
    text += openBiz + "&" + miniAppKey + "&" + reqAppKey + "&" + act + "&" + openBizData;
    return text;
}

std::vector<std::string> HandComposedCall::HeaderLines() const {
    std::vector<std::string> lines;
    const auto optional = [&lines](const char* name, const std::string& value) {
        if (!value.empty()) {
            lines.push_back(std::string(name) + UrlEncode(value));
        }
    };
    lines.push_back("host:" + host);
    if (needLogin) {
        optional("x-sid:", sid);
        optional("x-uid:", uid);
    }
    lines.push_back("x-utdid:" + UrlEncode(utdid));
    lines.push_back("x-ttid:" + UrlEncode(ttid));
    lines.push_back("x-devid:" + UrlEncode(devId));
    lines.push_back("x-reqbiz-ext:" + UrlEncode(reqBizExt));
    optional("x-open-biz:", openBiz);
    optional("x-mini-appkey:", miniAppKey);
    optional("x-req-appkey:", reqAppKey);
    optional("x-act:", act);
    optional("x-open-biz-data:", openBizData);
    optional("x-exttype:", extType);
    optional("x-extdata:", extData);
    if (!lat.empty() && !lng.empty()) {
        lines.push_back("x-location:" + UrlEncode(lng + "," + lat));
    }
    lines.push_back("x-t:" + UrlEncode(std::to_string(timestamp)));
    std::string wideSign;
    if (wideRoad) {
        wideSign = standin::Signature(appKey, standin::kLabelUrlMethod1, SignInput(false));
        lines.push_back("x-sign:" + UrlEncode(wideSign));
    }
    lines.push_back(std::string("x-pv:") + (wideRoad ? "6.2" : "6.3"));
    lines.push_back("x-appkey:" + UrlEncode(appKey));
    if (features > 0) {
        lines.push_back("x-features:" + UrlEncode(std::to_string(features)));
    }
    lines.push_back("Content-Type: application/x-www-form-urlencoded;charset=utf-8");
    for (const auto& header : customHeaders) {
        lines.push_back(header.first + ":" + header.second);
    }
    if (!wideRoad) {
        // The JSON road's sign headers, in key order, values encoded.
        lines.push_back(std::string(standin::kSchemeHeader) + ":" +
                        UrlEncode(standin::kSchemeValue));
        lines.push_back(
            std::string(standin::kSignHeader) + ":" +
            UrlEncode(standin::Signature(appKey, standin::kLabelJson, SignInput(true))));
    }
    return lines;
}

std::string HandComposedCall::Target() const {
    std::string parameters;
    for (const auto& param : params) {
        parameters += "&" + param.first + "=" + param.second;
    }
    const std::string base = "/gw/" + api + "/" + version + "/?";
    if (get) {
        return base + "data=" + UrlEncode(data) + parameters;
    }
    return base + parameters;
}

std::string HandComposedCall::Body() const {
    return get ? std::string() : "data=" + UrlEncode(data);
}

std::string HandComposedCall::Wire() const { return Wire(HeaderLines()); }

std::string HandComposedCall::Wire(const std::vector<std::string>& lines) const {
    std::string wire = std::string(get ? "GET " : "POST ") + Target() + " HTTP/1.1\r\n";
    for (const std::string& line : lines) {
        wire += line + "\r\n";
    }
    if (!get) {
        wire += "Content-Length: " + std::to_string(Body().size()) + "\r\n";
    }
    wire += "\r\n";
    wire += Body();
    return wire;
}

}  // namespace test
}  // namespace quil
