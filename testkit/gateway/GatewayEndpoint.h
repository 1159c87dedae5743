// The "/gw/<api>/<version>/" endpoint of the gateway emulator: checks a call's signature, its
// timestamp against the emulator's clock and its session, serves scripted answers, and answers
// a good call with "SUCCESS" and the request's data echoed. Stateless beyond the settings it is
// given (not owned, must outlive it); any thread.
#pragma once

#include "EmulatorAnswer.h"
#include "GatewaySettings.h"
#include "ReceivedRequest.h"

namespace quil {

class GatewayEndpoint {
public:
    explicit GatewayEndpoint(GatewaySettings& settings) : settings_(settings) {}

    // Decides the answer to request, and notes the rebuilt sign input in request.signInput.
    EmulatorAnswer Answer(ReceivedRequest& request) const;

private:
    GatewaySettings& settings_;
};

}  // namespace quil
