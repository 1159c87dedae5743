#include "QuilResponseImpl.h"

#include "QuilLogger.h"
#include "QuilRequestImpl.h"

void OwnedRequestDeleter::operator()(QuilRequest* request) const {
    delete dynamic_cast<QuilRequestImpl*>(request);
}

QuilResponseImpl::QuilResponseImpl(const QuilResponseImpl& other)
    : QuilResponse(),
      statusCode(other.statusCode),
      retInfo(other.retInfo ? std::make_unique<RetInfo>(*other.retInfo) : nullptr),
      headers(other.headers),
      body(other.body),
      bodyJson(other.bodyJson) {}

QuilResponseImpl::~QuilResponseImpl() {
    retInfo.reset();
    if (auto* impl = dynamic_cast<QuilRequestImpl*>(request.get())) {
        QUIL_LOG(QUIL_LOG_INFO, "destory QuilResponseImpl, id: %d", impl->id);
    }
    request.reset();
}

int QuilResponseImpl::GetStatusCode() { return statusCode; }
RetInfo* QuilResponseImpl::GetRetInfo() { return retInfo.get(); }
std::map<std::string, std::string> QuilResponseImpl::GetHeaders() { return headers; }
std::string QuilResponseImpl::GetBody() { return body; }

bool QuilResponseImpl::IsSuccess() {
    // A response without RetInfo has no code, so it cannot be a success.
    return statusCode == 200 && retInfo != nullptr && retInfo->retCode == "SUCCESS";
}

QuilRequest* QuilResponseImpl::GetRequest() { return request.get(); }

// Only the header counts: a code in the body, or on a locally built failure, never does.
bool QuilResponseImpl::IsSessionExpired() {
    return HeaderEquals("x-retcode", "FAIL_SYS_SESSION_EXPIRED");
}

bool QuilResponseImpl::IsRequestExpired() {
    return HeaderEquals("x-retcode", "FAIL_SYS_REQUEST_EXPIRED");
}

std::string QuilResponseImpl::GetSysTime() {
    auto entry = headers.find("x-systime");
    return entry == headers.end() ? std::string() : entry->second;
}

bool QuilResponseImpl::HeaderEquals(const char* key, const char* value) const {
    auto entry = headers.find(key);
    return entry != headers.end() && entry->second == value;
}
