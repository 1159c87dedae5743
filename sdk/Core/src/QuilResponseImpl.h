// QuilResponseImpl: the one implementation of QuilResponse. Whoever builds a response fills
// its fields directly and sets request after construction. It owns its RetInfo and its
// request; one thread at a time, nothing is locked.
#pragma once

#include <json/json.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "QuilResponse.h"

// Deletes an owned request through its implementation type: QuilRequest has no public
// destructor, and a request of any other type is not the library's to delete.
struct OwnedRequestDeleter {
    void operator()(QuilRequest* request) const;
};

class QuilResponseImpl : public QuilResponse {
public:
    QuilResponseImpl() = default;
    // A deep copy of status, headers, body, parsed body and RetInfo. The copy owns no request,
    // so deleting it leaves the original and the original's request alive.
    QuilResponseImpl(const QuilResponseImpl& other);
    QuilResponseImpl& operator=(const QuilResponseImpl&) = delete;

    // Frees the RetInfo, then logs and deletes the request, if any.
    ~QuilResponseImpl() override;

    int GetStatusCode() override;
    RetInfo* GetRetInfo() override;
    std::map<std::string, std::string> GetHeaders() override;
    std::string GetBody() override;
    bool IsSuccess() override;
    QuilRequest* GetRequest() override;
    bool IsSessionExpired() override;
    bool IsRequestExpired() override;
    std::string GetSysTime() override;

    // Fields, in their fixed order.
    int32_t statusCode = 0;  // 0 when no exchange took place
    std::unique_ptr<RetInfo> retInfo;
    std::map<std::string, std::string> headers;  // as received, keys in their received case
    std::string body;
    Json::Value bodyJson;
    std::unique_ptr<QuilRequest, OwnedRequestDeleter> request;

private:
    // True when header key exists and equals value exactly.
    bool HeaderEquals(const char* key, const char* value) const;
};
