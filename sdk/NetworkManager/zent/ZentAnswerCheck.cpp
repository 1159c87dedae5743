#include "ZentAnswerCheck.h"

#include <memory>

#include "IQuilSign.h"
#include "QuilLogger.h"

ZentAnswerCheck::Headers ZentAnswerCheck::SplitHeaders(const std::string& header) {
    Headers headers;
    std::string::size_type start = 0;
    while (true) {
        const std::string::size_type end = header.find("\r\n", start);
        if (end == std::string::npos) break;
        const std::string line = header.substr(start, end - start);
        start = end + 2;
        const std::string::size_type colon = line.find(": ");
        if (colon == std::string::npos) continue;
        headers[line.substr(0, colon)] = line.substr(colon + 2);
    }
    return headers;
}

bool ZentAnswerCheck::CheckHeaders(const Headers& headers, std::string* serverSign) {
    auto code = headers.find("x-zn-code");
    const std::string codeText = code == headers.end() ? std::string() : code->second;
    if (codeText != kSuccessCode) {
        QUIL_LOG_AS("ZentRequest", QUIL_LOG_ERROR,
                    "ZENT request failed, responseHeader[x-zn-code]: %s", codeText.c_str());
        return false;
    }
    auto sign = headers.find("x-zn-sign");
    if (sign == headers.end() || sign->second.empty()) {
        QUIL_LOG_AS("ZentRequest", QUIL_LOG_ERROR, "ZENT request failed, server sign is null");
        return false;
    }
    *serverSign = sign->second;
    return true;
}

bool ZentAnswerCheck::CheckSign(IQuilSign* sign, const std::string& text,
                                const std::string& serverSign) {
    // The signature covers the decoded text, not the Base64 form it arrived in.
    std::string data = text;
    std::unique_ptr<SignResult> result(sign->Sign6_2(-1, data, 2));
    if (!result) {
        QUIL_LOG_AS("ZentRequest", QUIL_LOG_ERROR, "ZENT request failed, client sign is null");
        return false;
    }
    if (result->sign != serverSign) {
        QUIL_LOG_AS("ZentRequest", QUIL_LOG_ERROR,
                    "ZENT check ret sign failed, checkSign: %s, sign: %s", result->sign.c_str(),
                    serverSign.c_str());
        return false;
    }
    return true;
}
