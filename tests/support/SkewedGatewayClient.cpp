#include "SkewedGatewayClient.h"

#include <cstdlib>
#include <string>

#include "HttpResponse.h"
#include "Platform.h"

namespace quil {
namespace test {

namespace {

// The "x-t" value of a composed request; -1 when there is none.
int64_t Timestamp(const HttpRequest& request) {
    for (const std::string& line : request.header) {
        if (line.compare(0, 4, "x-t:") == 0) {
            return std::strtoll(line.c_str() + 4, nullptr, 10);
        }
    }
    return -1;
}

}  // namespace

HttpResponse* SkewedGatewayClient::SendHttpRequest(HttpRequest* request) {
    const int64_t serverNow = platform::WallClockSeconds() + ahead_;
    const int64_t distance = Timestamp(*request) - serverNow;
    const bool expired = distance > tolerance_ || distance < -tolerance_;
    std::string header = "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\n";
    std::string body;
    if (expired) {
        expired_.fetch_add(1);
        header += "x-retcode: FAIL_SYS_REQUEST_EXPIRED\r\nx-systime: " + std::to_string(serverNow) +
                  "\r\n";
        body = "{\"data\":{},\"ret\":[\"FAIL_SYS_REQUEST_EXPIRED::request expired\"]}";
    } else {
        succeeded_.fetch_add(1);
        header += "x-retcode: SUCCESS\r\n";
        body = "{\"data\":{},\"ret\":[\"SUCCESS::call ok\"]}";
    }
    auto* response = new HttpResponse();
    response->request = request;
    response->statusCode = 200;
    response->header.assign(header.begin(), header.end());
    response->body.assign(body.begin(), body.end());
    return response;
}

}  // namespace test
}  // namespace quil
