#include "ICacheParser.h"

std::unique_ptr<QuilResponseImpl> ICacheParser::BuildResponse(const RpcCache& record) {
    std::unique_ptr<QuilResponseImpl> response(new QuilResponseImpl());
    response->statusCode = 200;
    response->body = record.body;
    response->headers = record.headers;
    return response;
}
