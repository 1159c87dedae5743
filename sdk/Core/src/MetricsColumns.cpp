#include "MetricsColumns.h"

namespace {

const char* BoolText(bool value) { return value ? "true" : "false"; }

}  // namespace

// A column that reads one field; the text or number conversion follows the field's type.
#define QUIL_TEXT(name, field)                                            \
    {                                                                     \
        name, [](const MetricsEntity& e) { return std::string(e.field); } \
    }
#define QUIL_BOOL(name, field)                                                      \
    {                                                                               \
        name, [](const MetricsEntity& e) { return std::string(BoolText(e.field)); } \
    }
#define QUIL_INT(name, field)                                                \
    {                                                                        \
        name, [](const MetricsEntity& e) { return std::to_string(e.field); } \
    }
#define QUIL_MEASURE(name, field)                                                 \
    {                                                                             \
        name, [](const MetricsEntity& e) { return static_cast<double>(e.field); } \
    }

const DimensionColumn kDimensionColumns[] = {
    QUIL_TEXT("api", api),
    QUIL_TEXT("version", version),
    QUIL_TEXT("domain", domain),
    QUIL_TEXT("method", method),
    QUIL_BOOL("isSync", isSync),
    QUIL_BOOL("isSSL", isSSL),
    QUIL_INT("retryTime", retryTime),
    QUIL_TEXT("errorCode", errorCode),
    QUIL_INT("retType", retType),
    QUIL_BOOL("useProxy", useProxy),
    QUIL_TEXT("protocolVersion", protocolVersion),
    QUIL_INT("httpStatusCode", httpStatusCode),
};
const std::size_t kDimensionColumnCount = sizeof(kDimensionColumns) / sizeof(kDimensionColumns[0]);

const MeasureColumn kMeasureColumns[] = {
    QUIL_MEASURE("processStartTime", processStartTime),
    QUIL_MEASURE("processEndTime", processEndTime),
    QUIL_MEASURE("beforeFilterStartTime", beforeFilterStartTime),
    QUIL_MEASURE("beforeFilterEndTime", beforeFilterEndTime),
    QUIL_MEASURE("interceptRequestStartTime", interceptRequestStartTime),
    QUIL_MEASURE("interceptRequestEndTime", interceptRequestEndTime),
    QUIL_MEASURE("composeRequestStartTime", composeRequestStartTime),
    QUIL_MEASURE("composeRequestEndTime", composeRequestEndTime),
    QUIL_MEASURE("signStartTime", signStartTime),
    QUIL_MEASURE("signEndTime", signEndTime),
    QUIL_MEASURE("getCookieStartTime", getCookieStartTime),
    QUIL_MEASURE("getCookieEndTime", getCookieEndTime),
    QUIL_MEASURE("networkSendStartTime", networkSendStartTime),
    QUIL_MEASURE("networkSendEndTime", networkSendEndTime),
    QUIL_MEASURE("parseResponseStartTime", parseResponseStartTime),
    QUIL_MEASURE("parseResponseEndTime", parseResponseEndTime),
    QUIL_MEASURE("afterFilterStartTime", afterFilterStartTime),
    QUIL_MEASURE("afterFilterEndTime", afterFilterEndTime),
    QUIL_MEASURE("interceptResponseStartTime", interceptResponseStartTime),
    // The request-side end under the response-side name; report readers have always seen it
    // so, and the response-side field stays unreported.
    QUIL_MEASURE("interceptResponseEndTime", interceptRequestEndTime),
    QUIL_MEASURE("processContentStartTime", processContentStartTime),
    QUIL_MEASURE("processContentEndTime", processContentEndTime),
    QUIL_MEASURE("serverRT", serverRT),
    QUIL_MEASURE("requestUrlLength", requestUrlLength),
    QUIL_MEASURE("requestHeaderSize", requestHeaderSize),
    QUIL_MEASURE("requestBodySize", requestBodySize),
    QUIL_MEASURE("responseHeaderSize", responseHeaderSize),
    QUIL_MEASURE("responseBodySize", responseBodySize),
};
const std::size_t kMeasureColumnCount = sizeof(kMeasureColumns) / sizeof(kMeasureColumns[0]);

#undef QUIL_TEXT
#undef QUIL_BOOL
#undef QUIL_INT
#undef QUIL_MEASURE
