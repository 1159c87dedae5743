// The signing bridge as the pipeline sees it. The one implementation (QuilSignImpl) is a
// process-wide singleton that is never deleted. Every operation may be called from any thread.
#pragma once

#include <string>

#include "ActionResult.h"
#include "SignResult.h"

class IQuilSign {
public:
    virtual ~IQuilSign() = default;

    // Loads the closed library and starts it. False when already started.
    virtual bool Start() = 0;
    // Stops what Start started. False when not started.
    virtual bool Stop() = 0;
    // Signs with the older protocol (wide buffer). Returns a new result the caller deletes, or
    // null when the signing component is missing or timed out.
    virtual SignResult* Sign6_2(int seqId, std::string& data, int method) = 0;
    // Signs with the JSON protocol. Returns a new result the caller deletes, or null.
    virtual SignResult* Sign6_3(int seqId, std::string& data, std::string& api) = 0;
    // Hands traffic content to the closed library and waits for its verdict. Never null; the
    // caller deletes the result.
    virtual ActionResult* ProcessContent(int seqId, std::string& content) = 0;
    // The closed library's cookies for url; empty when there are none.
    virtual std::string GetCookies(std::string& url) = 0;
    // The closed library's version text, read once; empty when unknown.
    virtual std::string GetKolvaVersion() = 0;
};
