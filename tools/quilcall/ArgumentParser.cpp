#include "ArgumentParser.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <limits>

#include "UrlText.h"
#include "WideText.h"

namespace quil {

namespace {

// Applies one flag's value to the options; returns "" or the reason the value is refused.
using Apply = std::function<std::string(CallOptions&, const std::string&)>;

struct FlagSpec {
    const char* name;
    bool takesValue;
    Apply apply;
};

bool ParseWholeNumber(const std::string& text, long long* value) {
    if (text.empty() || text.find_first_of(" \t\r\n") != std::string::npos) {
        return false;
    }
    errno = 0;
    char* end = nullptr;
    *value = std::strtoll(text.c_str(), &end, 10);
    return errno == 0 && end == text.c_str() + text.size();
}

bool ParseRealNumber(const std::string& text, double* value) {
    if (text.empty() || text.find_first_of(" \t\r\n") != std::string::npos) {
        return false;
    }
    errno = 0;
    char* end = nullptr;
    *value = std::strtod(text.c_str(), &end);
    return errno == 0 && end == text.c_str() + text.size() && std::isfinite(*value);
}

std::string Quoted(const std::string& text) { return "\"" + text + "\""; }

Apply Text(std::string CallOptions::*field) {
    return [field](CallOptions& options, const std::string& value) {
        options.*field = value;
        return std::string();
    };
}

Apply Switch(bool CallOptions::*field) {
    return [field](CallOptions& options, const std::string&) {
        options.*field = true;
        return std::string();
    };
}

// A latitude or longitude: a decimal number, kept as the text given.
Apply Coordinate(std::string CallOptions::*field, double limit) {
    return [field, limit](CallOptions& options, const std::string& value) {
        double number = 0.0;
        if (!ParseRealNumber(value, &number) || std::fabs(number) > limit) {
            return "not a coordinate between -" + std::to_string(static_cast<int>(limit)) +
                   " and " + std::to_string(static_cast<int>(limit)) + ": " + Quoted(value);
        }
        options.*field = value;
        return std::string();
    };
}

std::string ApplyEnvironment(CallOptions& options, const std::string& value) {
    if (value == "daily") {
        options.environment = 2;
    } else if (value == "pre") {
        options.environment = 1;
    } else if (value == "online") {
        options.environment = 0;
    } else {
        return "wants daily, pre or online, got " + Quoted(value);
    }
    return std::string();
}

std::string ApplyHost(CallOptions& options, const std::string& value) {
    if (value.empty()) {
        return "wants HOST[:PORT], got nothing";
    }
    if (value.find("://") != std::string::npos || value.find('/') != std::string::npos ||
        value.find_first_of(" \t\r\n") != std::string::npos) {
        return "wants HOST[:PORT] without scheme or path, got " + Quoted(value);
    }
    const std::size_t colon = value.rfind(':');
    // A bracketed IPv6 address carries colons of its own; only a colon after it starts a port.
    const std::size_t bracket = value.rfind(']');
    if (colon != std::string::npos && (bracket == std::string::npos || colon > bracket)) {
        long long port = 0;
        if (colon == 0 || !ParseWholeNumber(value.substr(colon + 1), &port) || port < 1 ||
            port > 65535 || value[colon + 1] == '+' || value[colon + 1] == '-') {
            return "wants HOST[:PORT] with a port from 1 to 65535, got " + Quoted(value);
        }
    }
    options.host = value;
    return std::string();
}

std::string ApplyFeatures(CallOptions& options, const std::string& value) {
    long long number = 0;
    if (!ParseWholeNumber(value, &number)) {
        return "not a whole number: " + Quoted(value);
    }
    options.hasFeatures = true;
    options.features = number;
    return std::string();
}

std::string ApplyDomainMode(CallOptions& options, const std::string& value) {
    long long number = 0;
    if (!ParseWholeNumber(value, &number) || number < std::numeric_limits<int>::min() ||
        number > std::numeric_limits<int>::max()) {
        return "not a whole number: " + Quoted(value);
    }
    options.hasDomainMode = true;
    options.domainMode = static_cast<int>(number);
    return std::string();
}

std::string ApplyLogLevel(CallOptions& options, const std::string& value) {
    long long number = 0;
    if (!ParseWholeNumber(value, &number) || number < 0 || number > 4) {
        return "wants a level from 0 (finest) to 4 (gravest), got " + Quoted(value);
    }
    options.logLevel = static_cast<int>(number);
    return std::string();
}

std::string ApplyRepeat(CallOptions& options, const std::string& value) {
    long long number = 0;
    if (!ParseWholeNumber(value, &number) || number < 1 || number > 100) {
        return "wants a count from 1 to 100, got " + Quoted(value);
    }
    options.repeat = static_cast<int>(number);
    return std::string();
}

std::string ApplyTimeout(CallOptions& options, const std::string& value) {
    double seconds = 0.0;
    if (!ParseRealNumber(value, &seconds) || seconds <= 0.0 || seconds > 3600.0) {
        return "wants seconds above 0 and at most 3600, got " + Quoted(value);
    }
    options.timeoutMs = static_cast<long>(std::ceil(seconds * 1000.0));
    return std::string();
}

std::string ApplyHeader(CallOptions& options, const std::string& value) {
    const std::size_t colon = value.find(':');
    if (colon == std::string::npos || colon == 0) {
        return "wants NAME:VALUE, got " + Quoted(value);
    }
    if (value.find_first_of("\r\n") != std::string::npos) {
        return "a header cannot hold a line break";
    }
    options.headers[value.substr(0, colon)] = value.substr(colon + 1);
    return std::string();
}

std::string ApplyParam(CallOptions& options, const std::string& value) {
    const std::size_t equals = value.find('=');
    if (equals == std::string::npos || equals == 0) {
        return "wants KEY=VALUE, got " + Quoted(value);
    }
    options.params[value.substr(0, equals)] = value.substr(equals + 1);
    return std::string();
}

std::string ApplyConnectTo(CallOptions& options, const std::string& value) {
    std::size_t colons = 0;
    for (char c : value) {
        colons += c == ':' ? 1 : 0;
    }
    if (colons < 3) {
        return "wants HOST:PORT:ADDRESS:PORT, got " + Quoted(value);
    }
    options.connectTo.push_back(value);
    return std::string();
}

std::string ApplyDispatch(CallOptions& options, const std::string& value) {
    if (value.empty()) {
        return "wants a domain";
    }
    if (options.hasDispatch) {
        return "may be given once";
    }
    options.hasDispatch = true;
    options.dispatchDomain = value;
    return std::string();
}

std::string ApplyDispatchFailed(CallOptions& options, const std::string& value) {
    if (value.empty()) {
        return "wants a host";
    }
    options.dispatchFailed.push_back(value);
    return std::string();
}

std::string ApplySecurityPath(CallOptions& options, const std::string& value) {
    if (value.empty()) {
        return "wants a path, got nothing";
    }
    std::wstring wide;
    if (!Utf8ToWide(value, &wide)) {
        return "not valid UTF-8";
    }
    options.hasSecurityPath = true;
    options.securityPath = wide;
    return std::string();
}

std::string ApplyData(CallOptions& options, const std::string& value) {
    std::string error;
    if (!ParseJsonCallData(value, &options.data, &error)) {
        return error + "; use --raw-data to send a text as it stands";
    }
    return std::string();
}

std::string ApplyDataFile(CallOptions& options, const std::string& value) {
    std::string contents;
    std::string error;
    if (!ReadWholeFile(value, &contents, &error)) {
        return "cannot read " + Quoted(value) + ": " + error;
    }
    if (!ParseJsonCallData(contents, &options.data, &error)) {
        return Quoted(value) + " holds " + error;
    }
    return std::string();
}

std::string ApplyRawData(CallOptions& options, const std::string& value) {
    options.data.kind = CallData::Kind::kRaw;
    options.data.raw = value;
    options.data.members.clear();
    return std::string();
}

const std::vector<FlagSpec>& Flags() {
    static const std::vector<FlagSpec> flags = {
        {"--host", true, ApplyHost},
        {"--env", true, ApplyEnvironment},
        {"--appkey", true, Text(&CallOptions::appKey)},
        {"--app-name", true, Text(&CallOptions::appName)},
        {"--app-version", true, Text(&CallOptions::appVersion)},
        {"--utdid", true, Text(&CallOptions::utdid)},
        {"--ttid", true, Text(&CallOptions::ttid)},
        {"--devid", true, Text(&CallOptions::devId)},
        {"--auth-code", true, Text(&CallOptions::authCode)},
        {"--features", true, ApplyFeatures},
        {"--lat", true, Coordinate(&CallOptions::lat, 90.0)},
        {"--lng", true, Coordinate(&CallOptions::lng, 180.0)},
        {"--sid", true, Text(&CallOptions::sid)},
        {"--uid", true, Text(&CallOptions::uid)},
        {"--login-sid", true, Text(&CallOptions::loginSid)},
        {"--login-uid", true, Text(&CallOptions::loginUid)},
        {"--ssl-value", true, Text(&CallOptions::sslValue)},
        {"--proxy", true, Text(&CallOptions::proxy)},
        {"--security-path", true, ApplySecurityPath},
        {"--no-security", false, Switch(&CallOptions::noSecurity)},
        {"--data", true, ApplyData},
        {"--data-file", true, ApplyDataFile},
        {"--raw-data", true, ApplyRawData},
        {"--get", false, Switch(&CallOptions::get)},
        {"--ssl", false, Switch(&CallOptions::ssl)},
        {"--header", true, ApplyHeader},
        {"--param", true, ApplyParam},
        {"--need-login", false, Switch(&CallOptions::needLogin)},
        {"--user", true, Text(&CallOptions::user)},
        {"--async", false, Switch(&CallOptions::async)},
        {"--repeat", true, ApplyRepeat},
        {"--network-type", true, Text(&CallOptions::networkType)},
        {"--reqbiz-ext", true, Text(&CallOptions::reqBizExt)},
        {"--open-biz", true, Text(&CallOptions::openBiz)},
        {"--mini-appkey", true, Text(&CallOptions::miniAppKey)},
        {"--req-appkey", true, Text(&CallOptions::reqAppKey)},
        {"--act", true, Text(&CallOptions::act)},
        {"--open-biz-data", true, Text(&CallOptions::openBizData)},
        {"--miniapp-id-tarvel", true, Text(&CallOptions::miniAppIdTarvel)},
        {"--miniapp-id-pelmay", true, Text(&CallOptions::miniAppIdPelmay)},
        {"--ext-data", true, Text(&CallOptions::extData)},
        {"--ext-type", true, Text(&CallOptions::extType)},
        {"--domain-mode", true, ApplyDomainMode},
        {"--log-level", true, ApplyLogLevel},
        {"--connect-to", true, ApplyConnectTo},
        {"--timeout", true, ApplyTimeout},
        {"--dispatch", true, ApplyDispatch},
        {"--dispatch-failed", true, ApplyDispatchFailed},
        {"--insecure", false, Switch(&CallOptions::insecure)},
        {"--json", false, Switch(&CallOptions::json)},
        {"--timing", false, Switch(&CallOptions::timing)},
    };
    return flags;
}

const FlagSpec* FindFlag(const std::string& name) {
    for (const FlagSpec& entry : Flags()) {
        if (name == entry.name) {
            return &entry;
        }
    }
    return nullptr;
}

bool IsDataFlag(const std::string& name) {
    return name == "--data" || name == "--data-file" || name == "--raw-data";
}

ParseOutcome UsageError(const std::string& message) {
    ParseOutcome outcome;
    outcome.kind = ParseOutcome::Kind::kUsageError;
    outcome.error = message;
    return outcome;
}

}  // namespace

std::vector<std::string> KnownFlags() {
    std::vector<std::string> names;
    for (const FlagSpec& entry : Flags()) {
        names.push_back(entry.name);
    }
    return names;
}

ParseOutcome ParseArguments(const std::vector<std::string>& args) {
    ParseOutcome outcome;
    std::vector<std::string> positionals;
    std::string dataFlag;
    bool flagsEnded = false;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (flagsEnded || arg.size() < 2 || arg[0] != '-' || arg == "-") {
            positionals.push_back(arg);
            continue;
        }
        if (arg == "--") {
            flagsEnded = true;
            continue;
        }
        if (arg == "--help" || arg == "-h") {
            outcome.kind = ParseOutcome::Kind::kHelp;
            return outcome;
        }
        const std::size_t equals = arg.find('=');
        const std::string name = arg.substr(0, equals);
        const FlagSpec* entry = FindFlag(name);
        if (entry == nullptr) {
            return UsageError("unknown flag " + name + " (see --help)");
        }
        std::string value;
        if (!entry->takesValue) {
            if (equals != std::string::npos) {
                return UsageError(name + " takes no value");
            }
        } else if (equals != std::string::npos) {
            value = arg.substr(equals + 1);
        } else if (i + 1 < args.size()) {
            value = args[++i];
        } else {
            return UsageError(name + " needs a value (see --help)");
        }
        if (IsDataFlag(name)) {
            if (!dataFlag.empty()) {
                return UsageError(name +
                                  ": only one of --data, --data-file and --raw-data, "
                                  "and once (already given: " +
                                  dataFlag + ")");
            }
            dataFlag = name;
        }
        const std::string refusal = entry->apply(outcome.options, value);
        if (!refusal.empty()) {
            return UsageError(name + ": " + refusal);
        }
    }
    if (outcome.options.json &&
        (outcome.options.hasDispatch || !outcome.options.dispatchFailed.empty())) {
        return UsageError("--json does not combine with --dispatch or --dispatch-failed");
    }
    if (!outcome.options.loginUid.empty() && outcome.options.loginSid.empty()) {
        return UsageError("--login-uid needs --login-sid");
    }
    const bool dispatchOnly = positionals.empty() && (outcome.options.hasDispatch ||
                                                      !outcome.options.dispatchFailed.empty());
    if (dispatchOnly) {
        return outcome;
    }
    if (positionals.size() < 2) {
        return UsageError(positionals.empty() ? "API and VERSION are missing (see --help)"
                                              : "VERSION is missing (see --help)");
    }
    if (positionals.size() > 2) {
        return UsageError("unexpected argument " + Quoted(positionals[2]) +
                          " after API and VERSION");
    }
    // The SDK puts both into the gateway path as given; one that would leave the path is
    // refused here rather than sent somewhere else.
    const char* names[] = {"API", "VERSION"};
    for (std::size_t i = 0; i < 2; ++i) {
        const std::string refusal = PathSegmentRefusal(positionals[i]);
        if (!refusal.empty()) {
            return UsageError(std::string(names[i]) + " " + refusal);
        }
    }
    outcome.options.api = positionals[0];
    outcome.options.version = positionals[1];
    return outcome;
}

}  // namespace quil
