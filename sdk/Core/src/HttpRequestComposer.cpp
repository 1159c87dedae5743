#include "HttpRequestComposer.h"

HttpRequest* HttpRequestComposer::GetHttpRequest(QuilRequestImpl* request, IQuilSign* sign) {
    (void)request;
    (void)sign;
    return new HttpRequest();
}

void HttpRequestComposer::GetHttpRequestHeader(std::vector<std::string>& out,
                                               QuilRequestImpl* request, std::string& url,
                                               IQuilSign* sign) {
    (void)out;
    (void)request;
    (void)url;
    (void)sign;
}

void HttpRequestComposer::GetOriginalSignUrl(std::string& out, QuilRequestImpl* request,
                                             bool extended) {
    (void)request;
    (void)extended;
    out.clear();
}

std::string HttpRequestComposer::SelectHost(bool domainModeIsOne) {
    (void)domainModeIsOne;
    return std::string();
}
