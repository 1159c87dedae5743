// HttpRequestComposer: turns one QuilRequestImpl into the HttpRequest the host's client sends
// (URL, base and custom header lines, sign headers, body), and builds the text the older sign
// protocol signs. Stateless; every operation may be called from any thread for a request that
// the calling thread owns.
#pragma once

#include <string>
#include <vector>

#include "HttpRequest.h"
#include "IQuilSign.h"
#include "QuilRequestImpl.h"

class HttpRequestComposer {
public:
    // A new HttpRequest for request, never null; the caller owns it. sign may be null (the
    // signing component's version then counts as empty).
    static HttpRequest* GetHttpRequest(QuilRequestImpl* request, IQuilSign* sign);
    // Appends the header lines of request to out. url is the request's full URL (used for the
    // cookie lookup). sign may be null.
    static void GetHttpRequestHeader(std::vector<std::string>& out, QuilRequestImpl* request,
                                     std::string& url, IQuilSign* sign);
    // Writes the text the older sign protocol signs into out; extended selects the newer layout.
    static void GetOriginalSignUrl(std::string& out, QuilRequestImpl* request, bool extended);
    // The gateway host for the configured environment: the first host family when
    // domainModeIsOne, the second otherwise. Also the "domain" of the metrics.
    static std::string SelectHost(bool domainModeIsOne);
};
