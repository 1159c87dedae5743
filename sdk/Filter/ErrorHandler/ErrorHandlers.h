// The seven handlers of the error handler chain. Each is a classification point with a single
// instance, made by RegisterErrorHandlers: it logs that it ran and answers ActionReturn, so no
// handler writes to the response. Any thread may call Handle.
#pragma once

#include "ErrorHandler.h"

class CacheHandler : public ErrorHandler {
public:
    int32_t Handle(QuilResponse* response) override;
};

class DefaultErrorHandler : public ErrorHandler {
public:
    int32_t Handle(QuilResponse* response) override;
};

class FloodProtectionHandler : public ErrorHandler {
public:
    int32_t Handle(QuilResponse* response) override;
};

class IllegalSignErrorHandler : public ErrorHandler {
public:
    int32_t Handle(QuilResponse* response) override;
};

class RequestExpiredHandler : public ErrorHandler {
public:
    int32_t Handle(QuilResponse* response) override;
};

class SessionExpiredHandler : public ErrorHandler {
public:
    int32_t Handle(QuilResponse* response) override;
};

class ThresholdHandler : public ErrorHandler {
public:
    int32_t Handle(QuilResponse* response) override;
};
