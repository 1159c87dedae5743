// quil::RunCall: makes quilcall's one call on the synchronous or the asynchronous road and
// copies what came back into a CallOutcome (the response itself is deleted here). Main thread;
// the SDK must be configured and the transport registered before.
#pragma once

#include <chrono>
#include <map>
#include <string>

#include "CallOptions.h"
#include "TrafficWatch.h"

namespace quil {

struct CallOutcome {
    bool answered = false;   // a QuilResponse came back
    std::string failure;     // when not answered: what happened instead
    bool abandoned = false;  // an asynchronous call whose callback never came in time
    int requestId = -1;
    int status = 0;
    bool hasRetInfo = false;
    std::string retCode;
    std::string retMsg;
    int errorType = 0;
    bool success = false;
    std::map<std::string, std::string> headers;
    std::string body;
    TrafficNote traffic;  // what the traffic protection did; filled by the caller of RunCall
};

// callbackLimit bounds the wait for an asynchronous answer.
CallOutcome RunCall(const CallOptions& options, std::chrono::milliseconds callbackLimit);

// 0 success, 1 a gateway failure (errorType 3), 2 anything else that is not a success.
int ExitCodeFor(const CallOutcome& outcome);

}  // namespace quil
