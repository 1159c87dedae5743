#include "ZentBodyParser.h"

#include <json/json.h>

#include <exception>

#include "QuilLogger.h"

namespace {

// True when element names domain. A host that is not text names nothing, rather than being
// converted (which would throw for arrays and objects).
bool NamesDomain(const Json::Value& element, const std::string& domain) {
    const Json::Value& host = element["host"];
    return host.isString() && host.asString() == domain;
}

ZentBodyParser::Outcome Walk(const Json::Value& root, const std::string& domain, ZentInfo* info) {
    ZentInfo parsed;
    const Json::Value dns = root.isObject() ? root["dns"] : Json::Value();
    if (dns.isArray()) {
        for (Json::ArrayIndex i = 0; i < dns.size(); ++i) {
            const Json::Value& element = dns[i];
            if (!element.isObject()) return ZentBodyParser::Outcome::kRefused;
            if (!NamesDomain(element, domain)) continue;
            QUIL_LOG_AS("ParseBodyJson", QUIL_LOG_VERBOSE,
                        "ZENT find targetIp strategy, target host: %s", domain.c_str());
            const Json::Value& ips = element["ips"];
            if (!ips.isNull() && !ips.isArray()) return ZentBodyParser::Outcome::kRefused;
            for (Json::ArrayIndex j = 0; j < ips.size(); ++j) {
                if (!ips[j].isString()) return ZentBodyParser::Outcome::kRefused;
                parsed.ips.push_back(ips[j].asString());
            }
            break;
        }
    }
    parsed.valid = !parsed.ips.empty();
    *info = std::move(parsed);
    return ZentBodyParser::Outcome::kParsed;
}

}  // namespace

ZentBodyParser::Outcome ZentBodyParser::Parse(const std::string& text, const std::string& domain,
                                              ZentInfo* info) {
    try {
        Json::Value root;
        Json::Reader reader;
        if (!reader.parse(text, root)) return Outcome::kRefused;
        return Walk(root, domain, info);
    } catch (const std::exception&) {
        // The reader gives up on nesting past its depth limit by throwing.
        return Outcome::kRefused;
    }
}
