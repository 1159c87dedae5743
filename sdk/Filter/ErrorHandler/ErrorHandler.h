// ErrorHandler: one classification point of the error handler chain. ErrorHandlerManager
// hands it a failed response and acts on the answer. Handlers are built once, while the
// service is built, and never deleted; Handle runs on many threads at once, so a handler with
// state guards it itself.
#pragma once

#include <cstdint>

#include "QuilResponse.h"

// What a handler asks for.
enum ErrorHandleAction : int32_t {
    ActionReturn = 0,  // leave the response as it is and let the chain go on
    ActionRedo = 1,    // send the request through the pipeline again
};

class ErrorHandler {
public:
    // Classifies response (not owned, not null) and returns the action.
    virtual int32_t Handle(QuilResponse* response) = 0;

protected:
    // Never deleted through this interface: handlers live for the process.
    ~ErrorHandler() = default;
};
