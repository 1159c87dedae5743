// quil::ConfigureSdk and quil::BuildRequest: carry CallOptions into the SDK's process-wide
// configuration and into one QuilRequest. Main thread, before the first call.
#pragma once

#include "CallOptions.h"
#include "QuilConfig.h"
#include "QuilRequest.h"

namespace quil {

// Writes the identity, environment, host override and security fields into config. Must run
// before the first call: the SDK reads them then.
void ConfigureSdk(const CallOptions& options, QuilConfig* config);

// A new request for the call; the caller owns it until it hands it to the service.
QuilRequest* BuildRequest(const CallOptions& options);

}  // namespace quil
