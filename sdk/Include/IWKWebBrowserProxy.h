// The host's embedded-browser proxy. The library only carries the pointer and hands it to the
// closed security library when its traffic filter starts; it never calls through it and never
// deletes it. The host owns it and keeps it alive for the life of the process.
#pragma once

class IWKWebBrowserProxy {
public:
    virtual ~IWKWebBrowserProxy() = default;
};
