// IOmbrelHeaderHandler: the host's remote-configuration component. Before each request the
// library asks it for a header value ("a-ombrel-q"); after each response it hands it the value
// of "a-ombrel-p". The host owns it and registers it with QuilService::SetOmbrelHandler; the
// library never deletes it. Calls come from any calling or worker thread, one at a time.
#pragma once

class IOmbrelHeaderHandler {
public:
    // A zero-terminated text the handler allocated; handed back through ReleaseQueryHeader.
    // Must not return null.
    virtual const char* GetQueryHeader() = 0;
    // The value of the response header "a-ombrel-p"; valid only during the call.
    virtual void OnResponseHeader(const char* value) = 0;
    // Takes back the text that GetQueryHeader returned.
    virtual void ReleaseQueryHeader(const char* value) = 0;

protected:
    // Not deleted through this type: the host owns its handler.
    ~IOmbrelHeaderHandler() = default;
};
