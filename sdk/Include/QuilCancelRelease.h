// Withdrawing an asynchronous call and taking its request back in one step. QuilService's
// CancelCall leaves a withdrawn request to nobody (QuilRequest has no public destructor, and
// no callback ever comes for it); these forms withdraw exactly as CancelCall does and then free
// the request, so a host that cancels often does not pile them up. Any thread may call them.
#pragma once

#include "QuilExport.h"
#include "QuilRequest.h"

namespace quil {

// Withdraws the call of request while its exchange is on the network, with CancelCall's log
// line, then deletes request and drops its measurements without a report. True when the call
// was withdrawn: request is gone and no callback will come. False when it was not on the
// network (still queued, being signed, waiting for a login, or already answered): request is
// left alone and its callback comes, or came, as usual. Null logs as CancelCall does.
QUIL_API bool CancelCallAndRelease(QuilRequest* request);

// The same for the call with this id; -1 logs as CancelCall does and finds nothing.
QUIL_API bool CancelCallAndRelease(int id);

}  // namespace quil
