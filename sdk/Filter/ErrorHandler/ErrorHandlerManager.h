// ErrorHandlerManager: classifies a failed response by HTTP status code, then by return code,
// then the default, and gives it to that one ErrorHandler. A process-wide singleton built on
// first use and never destroyed. Its tables are filled by RegisterErrorHandlers while the
// service singleton is built, before the first call; after that they are only read, and
// HandleResponse runs on any number of threads without a lock.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "ErrorHandler.h"

class ErrorHandlerManager {
public:
    static ErrorHandlerManager* GetInstance();

    // Insert or replace. handler is not owned and must live for the process.
    void RegisterByStatusCode(int statusCode, ErrorHandler* handler);
    void RegisterByErrorCode(std::string errorCode, ErrorHandler* handler);

    // The action of the handler that response (not owned, not null) falls to.
    int32_t HandleResponse(QuilResponse* response);

    // Fields, in their fixed order.
    std::map<std::string, ErrorHandler*> errorCodeHandlers;  // by return code; not owned
    std::map<int32_t, ErrorHandler*> statusCodeHandlers;     // by HTTP status; not owned
    ErrorHandler* defaultHandler = nullptr;                  // never null; owned, never freed

private:
    ErrorHandlerManager();
    ~ErrorHandlerManager() = delete;
};

// Makes each handler once and registers it under its codes; a second call changes nothing.
// Called while the service singleton is built, before it is published.
void RegisterErrorHandlers();
