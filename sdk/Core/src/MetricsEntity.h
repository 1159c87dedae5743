// One request's measurements while it is in flight: what was called, how it went, and a time mark
// at the start and end of every stage. UTDataSet owns each entity; the one thread that carries the
// request at a given moment writes its fields directly, without a lock.
#pragma once

#include <cstdint>
#include <string>

#include "Platform.h"

struct MetricsEntity {
    // A time mark: monotonic milliseconds, truncated, as a double. Only differences mean
    // anything. Write marks as entity->signStartTime = MetricsEntity::Now().
    static double Now() { return quil::platform::TimeMarkMilliseconds(); }

    std::string api;
    std::string version;
    std::string domain;
    std::string errorCode;
    std::string protocolVersion;  // "6.3" or "6.2"; empty until a sign succeeded
    std::string method;           // "get" or "post"

    bool isSync = false;
    bool isSSL = false;
    bool useProxy = false;

    int32_t retryTime = -1;
    int32_t retType = -1;
    int32_t httpStatusCode = -1;
    int32_t serverRT = -1;

    // -1.0 reports a stage that never ran.
    double processStartTime = -1.0;
    double processEndTime = -1.0;
    double beforeFilterStartTime = -1.0;
    double beforeFilterEndTime = -1.0;
    double interceptRequestStartTime = -1.0;
    double interceptRequestEndTime = -1.0;
    double composeRequestStartTime = -1.0;
    double composeRequestEndTime = -1.0;
    double signStartTime = -1.0;
    double signEndTime = -1.0;
    double getCookieStartTime = -1.0;
    double getCookieEndTime = -1.0;
    double networkSendStartTime = -1.0;
    double networkSendEndTime = -1.0;
    double parseResponseStartTime = -1.0;
    double parseResponseEndTime = -1.0;
    double afterFilterStartTime = -1.0;
    double afterFilterEndTime = -1.0;
    double interceptResponseStartTime = -1.0;
    // Written after OnResponseHeader; the report does not read it (it reports the request-side
    // end under this name instead, a quirk that report readers rely on).
    double interceptResponseEndTime = -1.0;
    double processContentStartTime = -1.0;
    double processContentEndTime = -1.0;

    int32_t requestUrlLength = -1;
    int32_t requestHeaderSize = -1;  // sum over header lines of (length + 1)
    int32_t requestBodySize = -1;
    int32_t responseHeaderSize = -1;
    int32_t responseBodySize = -1;
};
