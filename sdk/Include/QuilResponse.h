// QuilResponse: the result of one call as the host sees it: HTTP status, return information,
// headers, body, and the request it answers. The receiver owns the response; deleting it
// deletes its RetInfo and its request too. One thread at a time; nothing is locked.
#pragma once

#include <map>
#include <string>

#include "QuilRequest.h"
#include "RetInfo.h"

class QuilResponse {
public:
    // Frees the response, its RetInfo and its request.
    virtual ~QuilResponse() = default;

    // The HTTP status; 0 when no exchange took place.
    virtual int GetStatusCode() = 0;
    // The record itself (may be null); the response keeps ownership.
    virtual RetInfo* GetRetInfo() = 0;
    // A copy of the response headers, keys in their received case.
    virtual std::map<std::string, std::string> GetHeaders() = 0;
    virtual std::string GetBody() = 0;
    // True exactly when the status is 200 and the return code is "SUCCESS".
    virtual bool IsSuccess() = 0;
    // The request answered (may be null); the response keeps ownership.
    virtual QuilRequest* GetRequest() = 0;
    // True exactly when header "x-retcode" is "FAIL_SYS_SESSION_EXPIRED".
    virtual bool IsSessionExpired() = 0;
    // True exactly when header "x-retcode" is "FAIL_SYS_REQUEST_EXPIRED".
    virtual bool IsRequestExpired() = 0;
    // Header "x-systime", or "" without it.
    virtual std::string GetSysTime() = 0;
};
