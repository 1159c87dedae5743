// quil::RunDispatch: quilcall's --dispatch and --dispatch-failed. Asks the SDK's strategy table
// for a domain's address, waits (with a limit) for the background request that the first
// lookup starts, reports failed addresses, and returns the lines to print. Main thread; the
// SDK must be configured and the transport registered before. A host like any other: it sees
// the request's end only through the SDK's log lines, so it watches them (and forwards them to
// the --log-level sink).
#pragma once

#include <chrono>
#include <string>

#include "CallOptions.h"
#include "IQuilCustomLog.h"

namespace quil {

struct DispatchOutcome {
    std::string text;         // the lines to print, each ending in a line feed
    bool hasAddress = false;  // the last lookup of the domain gave an address
};

// forward receives the SDK's lines at or above forwardLevel (null: none). limit bounds the
// wait for the background request.
DispatchOutcome RunDispatch(const CallOptions& options, IQuilCustomLog* forward, int forwardLevel,
                            std::chrono::milliseconds limit);

}  // namespace quil
