// CallMetrics: opening and closing one call's metrics entity around a pass of the pipeline.
// The entity itself lives in UTDataSet, keyed by the request; nothing here owns anything.
// Called on whichever thread runs the call's first or last step.
#pragma once

class QuilRequestImpl;
class QuilResponse;

class CallMetrics {
public:
    // Opens the request's entity: start time, api, version, gateway host, isSync.
    static void Open(QuilRequestImpl* request);
    // Closes the request's entity with response (which may be null) and reports the call.
    static void Close(QuilRequestImpl* request, QuilResponse* response);
};
