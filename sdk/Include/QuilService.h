// QuilService: the driver of gateway calls, a process-wide singleton the library owns and never
// deletes. The host hands it requests: a synchronous call blocks its thread and returns the
// response, an asynchronous one answers through the request's callback. Any thread may call.
#pragma once

#include "IOmbrelHeaderHandler.h"
#include "QuilExport.h"
#include "QuilRequest.h"
#include "QuilResponse.h"

// The order of the virtual operations below is the host's binary contract: never reorder,
// never insert.
class QuilService {
public:
    // The singleton, built at the first call. Never null, never freed.
    QUIL_API static QuilService* GetInstance();

    // Runs the whole call on the calling thread. The caller owns the returned response, and
    // through it the request; null only for a null request or when the host's client returned
    // no response (the request is then deleted). The request must not be used afterwards.
    virtual QuilResponse* SendSyncRequest(QuilRequest* request) = 0;
    // Queues the call; the response arrives in the request's callback. 0 when queued (the
    // library then owns the request); otherwise a negative code and the request is deleted.
    virtual int SendAsyncRequest(QuilRequest* request) = 0;
    // Withdraws the asynchronous call with this id while its exchange is on the network.
    virtual void CancelCall(int id) = 0;
    // Withdraws this asynchronous call while its exchange is on the network.
    virtual void CancelCall(QuilRequest* request) = 0;
    // Runs a request again after a login; used by the pending-request pool.
    virtual void RetryRequest(QuilRequest* request) = 0;
    // Stores the host's remote-configuration component; not owned. Null removes it.
    virtual void SetOmbrelHandler(IOmbrelHeaderHandler* handler) = 0;
    // Removes the component and returns the one that was set (or null).
    virtual IOmbrelHeaderHandler* ClearOmbrelHandler() = 0;

protected:
    // The singleton is never deleted.
    ~QuilService() = default;
};
