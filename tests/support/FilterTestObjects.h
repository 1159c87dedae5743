// Requests and responses that the filter tests hand to one filter at a time. The caller owns
// what each function returns.
#pragma once

#include <memory>
#include <string>

#include "QuilRequestImpl.h"
#include "QuilResponseImpl.h"
#include "RetInfo.h"

namespace quil {
namespace test {

// A request for "mtop.test.api" 1.0 with the given id and one data member "k": "v".
inline std::unique_ptr<QuilRequestImpl> MakeFilterRequest(int id) {
    std::unique_ptr<QuilRequestImpl> request(new QuilRequestImpl("mtop.test.api", "1.0"));
    request->SetId(id);
    request->AddData("k", std::string("v"));
    return request;
}

// A gateway failure answer: status 200, "x-retcode" and a "ret" of FAIL_BIZ_SOMETHING.
inline std::unique_ptr<QuilResponseImpl> MakeGatewayErrorResponse() {
    std::unique_ptr<QuilResponseImpl> response(new QuilResponseImpl());
    response->statusCode = 200;
    response->body = "{\"ret\":[\"FAIL_BIZ_SOMETHING::went wrong\"]}";
    response->headers["x-retcode"] = "FAIL_BIZ_SOMETHING";
    response->retInfo.reset(new RetInfo());
    response->retInfo->retCode = "FAIL_BIZ_SOMETHING";
    response->retInfo->retMsg = "went wrong";
    response->retInfo->errorType = 3;
    return response;
}

}  // namespace test
}  // namespace quil
