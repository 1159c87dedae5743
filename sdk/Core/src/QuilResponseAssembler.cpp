#include "QuilResponseAssembler.h"

#include <json/json.h>

#include <exception>
#include <memory>

#include "QuilLogger.h"
#include "QuilResponseImpl.h"
#include "ResponseBodyParser.h"
#include "ResponseHeaderParser.h"
#include "SpareJsonReader.h"
#include "StatisticsSlot.h"
#include "UTDataSet.h"

QuilResponse* QuilResponseAssembler::GetQuilResponse(HttpResponse* http, QuilRequest* request) {
    if (http == nullptr) return nullptr;

    auto response = std::make_unique<QuilResponseImpl>();
    response->statusCode = http->statusCode;
    response->body.assign(http->body.data(), http->body.size());
    bool parserThrew = false;
    try {
        // The result is ignored: a body that is not JSON stays as far as the parser got.
        SpareJsonReader::Parse(response->body.data(), response->body.data() + response->body.size(),
                               response->bodyJson);
    } catch (const std::exception&) {
        // Only the parser's nesting limit throws here; what it read so far stays, like any
        // other body the parser gave up on.
        parserThrew = true;
    }
    response->request.reset(request);
    response->headers = ResponseHeaderParser::Parse(http->header);

    const std::string status = std::to_string(http->statusCode);
    if (!response->body.empty()) {
        // The verdict is read from the tree parsed above, the very parse Parse would repeat.
        response->retInfo = ResponseBodyParser::FromParsed(response->bodyJson, parserThrew);
    } else {
        // No body means the exchange itself failed, whatever the status says.
        auto info = std::make_unique<RetInfo>();
        info->retCode = "FAIL_NETWORK_CONNECT_ERROR";
        info->retMsg = "http connect with error message =  " + http->errorMessage +
                       ", responseCode = " + status;
        info->errorType = 2;
        response->retInfo = std::move(info);
        StatisticsSlot::CommitFail("networkSendError", "", status, "network send error");
    }

    const int requestId = request != nullptr ? request->GetId() : -1;
    // A response for no request has no metrics entity to write to; making one would leave an
    // entry that no call ever closes.
    if (request != nullptr) {
        MetricsEntity* metrics = UTDataSet::GetInstance()->GetExistMetricsEntity(request);
        metrics->httpStatusCode = http->statusCode;
        metrics->responseHeaderSize = static_cast<int32_t>(http->header.size());
        metrics->responseBodySize = static_cast<int32_t>(http->body.size());
    }

    QUIL_LOG(QUIL_LOG_INFO, "httpResponse info { requestId: %d, statusCode: %d }", requestId,
             http->statusCode);
    if (QuilLogger::IsEnabled(QUIL_LOG_VERBOSE)) {
        std::string headerText;
        for (const auto& entry : response->headers) {
            headerText.append(entry.first).append(": ").append(entry.second).push_back('\n');
        }
        QUIL_LOG(QUIL_LOG_VERBOSE, "httpResponse content { requestId: %d, header: %s, body: %s }",
                 requestId, headerText.c_str(), response->body.c_str());
    }
    return response.release();
}
