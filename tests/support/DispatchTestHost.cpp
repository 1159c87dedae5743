#include "DispatchTestHost.h"

#include "TestSync.h"

namespace quil {
namespace test {

ZentDispatcher* DispatchTestHost::Install() {
    ServiceTestHost::Install();
    ZentDispatcher::SetSignProviderForTesting(&ServiceTestHost::Sign());
    return ZentDispatcher::GetInstance();
}

std::string DispatchTestHost::Base64(const std::string& text) {
    static const char alphabet[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    std::size_t i = 0;
    for (; i + 2 < text.size(); i += 3) {
        const unsigned v = (static_cast<unsigned char>(text[i]) << 16) |
                           (static_cast<unsigned char>(text[i + 1]) << 8) |
                           static_cast<unsigned char>(text[i + 2]);
        out += alphabet[(v >> 18) & 63];
        out += alphabet[(v >> 12) & 63];
        out += alphabet[(v >> 6) & 63];
        out += alphabet[v & 63];
    }
    const std::size_t rest = text.size() - i;
    if (rest > 0) {
        unsigned v = static_cast<unsigned char>(text[i]) << 16;
        if (rest == 2) v |= static_cast<unsigned char>(text[i + 1]) << 8;
        out += alphabet[(v >> 18) & 63];
        out += alphabet[(v >> 12) & 63];
        out += rest == 2 ? alphabet[(v >> 6) & 63] : '=';
        out += '=';
    }
    return out;
}

ScriptedResponse DispatchTestHost::Answer(const std::string& text, const std::string& code,
                                          const std::string& sign) {
    ScriptedResponse response;
    response.statusCode = 200;
    response.header = "HTTP/1.1 200 OK\r\n";
    if (!code.empty()) response.header += "x-zn-code: " + code + "\r\n";
    if (!sign.empty()) response.header += "x-zn-sign: " + sign + "\r\n";
    response.body = Base64(text);
    return response;
}

std::string DispatchTestHost::DnsText(const std::string& host,
                                      const std::vector<std::string>& ips) {
    std::string text = "{\"dns\":[{\"host\":\"" + host + "\",\"ips\":[";
    for (std::size_t i = 0; i < ips.size(); ++i) {
        if (i > 0) text += ",";
        text += "\"" + ips[i] + "\"";
    }
    return text + "]}]}";
}

bool DispatchTestHost::WaitForRequestsDone(int count) {
    ZentDispatcher* dispatcher = ZentDispatcher::GetInstance();
    return WaitUntil([dispatcher, count] {
        return dispatcher->RequestCount() >= count && !dispatcher->RequestRunning();
    });
}

}  // namespace test
}  // namespace quil
