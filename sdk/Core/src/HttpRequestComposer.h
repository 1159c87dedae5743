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
    // A new HttpRequest for request (not null), never null; the caller owns it. Writes the
    // request's metrics marks, so its metrics entity should be open. sign may be null (the
    // signing component's version then counts as empty). An over-long GET leaves url empty.
    static HttpRequest* GetHttpRequest(QuilRequestImpl* request, IQuilSign* sign);
    // Appends the header lines of request (not null) to out. url is the request's full URL,
    // handed to the host's cookie storage. sign may be null.
    static void GetHttpRequestHeader(std::vector<std::string>& out, QuilRequestImpl* request,
                                     std::string& url, IQuilSign* sign);
    // Replaces out with the sign input of request (not null), built from its current timestamp.
    // extended is true for sign version 6.3, false for 6.2.
    static void GetOriginalSignUrl(std::string& out, QuilRequestImpl* request, bool extended);
    // The gateway host for the configured environment: the first host family when
    // domainModeIsOne, the second otherwise. Also the "domain" of the metrics.
    static std::string SelectHost(bool domainModeIsOne);
};
