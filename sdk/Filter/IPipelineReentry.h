// IPipelineReentry: the call core's side of the re-entry seam. The core implements it and
// registers it with PipelineReentry while the service singleton is built, before it is
// published; filters never call it directly but through PipelineReentry::Reenter, which
// picks the request's road. The registered object lives for the process.
#pragma once

class QuilRequestImpl;
class QuilResponse;

class IPipelineReentry {
public:
    // A nested synchronous pass on the calling thread, without the id and the metrics
    // brackets. Returns a new response that owns request, or null (request is then still the
    // caller's). Called from the thread that runs the after chain of the present pass.
    virtual QuilResponse* RunNestedPass(QuilRequestImpl* request) = 0;
    // Queues an asynchronous pass whose before chain begins at resumeFilter (null or a string
    // literal). 0 when queued: the queued task then owns request. Any thread.
    virtual int QueuePass(QuilRequestImpl* request, const char* resumeFilter) = 0;

protected:
    // Never deleted through this interface.
    ~IPipelineReentry() = default;
};
