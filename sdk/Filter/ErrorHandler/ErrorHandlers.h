// The seven handlers of the error handler chain. Each is a classification point with a single
// instance, made by RegisterErrorHandlers: it logs at level 0 that it ran and answers
// ActionReturn, so no handler writes to the response. Any thread may call Handle.
#pragma once

#include "ErrorHandler.h"

// What the seven have in common: the one line each logs, and the answer.
class ReturningErrorHandler : public ErrorHandler {
public:
    int32_t Handle(QuilResponse* response) override;

protected:
    // line is a string literal.
    explicit ReturningErrorHandler(const char* line) : line_(line) {}

private:
    const char* const line_;
};

// Status 304.
struct CacheHandler : ReturningErrorHandler {
    CacheHandler() : ReturningErrorHandler("process cache handler") {}
};
// Whatever has no entry.
struct DefaultErrorHandler : ReturningErrorHandler {
    DefaultErrorHandler() : ReturningErrorHandler("process default error handler") {}
};
// Statuses 410 to 419.
struct FloodProtectionHandler : ReturningErrorHandler {
    FloodProtectionHandler() : ReturningErrorHandler("process flood protection handler") {}
};
// "FAIL_SYS_ILEGEL_SIGN".
struct IllegalSignErrorHandler : ReturningErrorHandler {
    IllegalSignErrorHandler() : ReturningErrorHandler("process illegal sign error handler") {}
};
// "FAIL_SYS_EXPIRED_REQUEST".
struct RequestExpiredHandler : ReturningErrorHandler {
    RequestExpiredHandler() : ReturningErrorHandler("process request expired handler") {}
};
// "ERR_SID_INVALID" and "FAIL_SYS_SESSION_EXPIRED".
struct SessionExpiredHandler : ReturningErrorHandler {
    SessionExpiredHandler() : ReturningErrorHandler("process session expired handler") {}
};
// Statuses 420, 499 and 599.
struct ThresholdHandler : ReturningErrorHandler {
    ThresholdHandler() : ReturningErrorHandler("process threshold handler") {}
};
