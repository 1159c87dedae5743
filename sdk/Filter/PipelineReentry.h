// PipelineReentry: how an after filter sends a request through the pipeline again (a skewed
// clock, a traffic-protection redo, an error handler's redo). Every retrying after filter calls
// Reenter once it has decided; the re-entry itself tests no limit. Runs on the thread that runs
// the after chain. Behind it sits the core's IPipelineReentry, registered once while the
// service singleton is built; nothing here down-casts the service.
#pragma once

#include "FilterResult.h"
#include "IPipelineReentry.h"
#include "IServerClock.h"
#include "QuilRequest.h"
#include "QuilResponse.h"

class PipelineReentry {
public:
    // Where a resumed asynchronous pass begins: it passes over "b_ut" alone.
    static constexpr const char* kResumeFilter = "b_setup_request";

    // Raises the request's retryTime by one and runs the request again: on the asynchronous
    // road as a queued pass resumed at kResumeFilter, on the synchronous road as a nested pass
    // on this thread whose outcome is copied into response. Sets result->code to 1 so the
    // chain ends. None of the arguments is owned; response keeps its request. Does nothing for
    // a null result or a request of a foreign class.
    static void Reenter(QuilRequest* request, QuilResponse* response, FilterResult* result);

    // The server clock of the core; builds the service on first use. Never null.
    static IServerClock* Clock();

    // Called by the core once, before the service is published. Neither is owned; both live
    // for the process.
    static void Register(IPipelineReentry* core, IServerClock* clock);
};
