#include "BaseHeaderBuilder.h"

#include <charconv>

#include "UrlEncode.h"

namespace {

void AppendLine(std::vector<std::string>& out, const char* name, const std::string& value) {
    // Encoded straight into the line: one allocation a line instead of a second for the
    // encoded value alone.
    std::string line;
    line.reserve(std::char_traits<char>::length(name) + value.size() * 3);
    line.append(name);
    UrlEncodeAppend(line, value);
    out.push_back(std::move(line));
}

void AppendLineIfSet(std::vector<std::string>& out, const char* name, const std::string& value) {
    if (!value.empty()) AppendLine(out, name, value);
}

// The digits of value as "%" PRId64 writes them, without the cost of a formatted print.
std::string Decimal(int64_t value) {
    char text[24];
    const std::to_chars_result end = std::to_chars(text, text + sizeof(text), value);
    return std::string(text, end.ptr);
}

}  // namespace

void BaseHeaderBuilder::Build(std::vector<std::string>& out, const Fields& fields) {
    // Room for every line below, so the vector does not move its lines as it grows.
    out.reserve(out.size() + kMostLines);
    out.push_back("host:" + fields.host);
    AppendLineIfSet(out, "x-sid:", fields.sid);
    AppendLineIfSet(out, "x-uid:", fields.uid);
    AppendLine(out, "x-utdid:", fields.utdid);
    AppendLine(out, "x-ttid:", fields.ttid);
    AppendLine(out, "x-devid:", fields.devId);
    AppendLine(out, "x-reqbiz-ext:", fields.reqBizExt);
    AppendLineIfSet(out, "x-open-biz:", fields.openBiz);
    AppendLineIfSet(out, "x-mini-appkey:", fields.miniAppKey);
    AppendLineIfSet(out, "x-req-appkey:", fields.reqAppKey);
    AppendLineIfSet(out, "x-act:", fields.act);
    AppendLineIfSet(out, "x-open-biz-data:", fields.openBizData);
    AppendLineIfSet(out, "x-miniapp-id-tarvel:", fields.miniAppIdTarvel);
    AppendLineIfSet(out, "x-miniapp-id-pelmay:", fields.miniAppIdPelmay);
    AppendLineIfSet(out, "x-exttype:", fields.extType);
    AppendLineIfSet(out, "x-extdata:", fields.extData);
    AppendLineIfSet(out, "x-nq:", fields.networkType);
    // Longitude first here, while the sign input has latitude first; the gateway reads both
    // in their own order.
    if (!fields.lng.empty() && !fields.lat.empty()) {
        AppendLine(out, "x-location:", fields.lng + "," + fields.lat);
    }
    AppendLine(out, "x-t:", Decimal(fields.timestamp));
    AppendLineIfSet(out, "x-sign:", fields.sign);
    // The protocol version follows the signature alone: a 6.3 signature travels in the sign
    // headers, so no "x-sign:" line means 6.3.
    out.push_back(fields.sign.empty() ? "x-pv:6.3" : "x-pv:6.2");
    AppendLine(out, "x-appkey:", fields.appKey);
    if (fields.features > 0) AppendLine(out, "x-features:", Decimal(fields.features));
    AppendLineIfSet(out, "x-kv-version:", fields.kolvaVersion);
    out.push_back(kContentTypeLine);
}
