// quil::InstallLogin: registers the test kit's scripted login with the SDK when quilcall was
// asked to log in (--login-sid). Called once on the main thread before the call.
#pragma once

#include "CallOptions.h"

namespace quil {

// Does nothing without --login-sid. Otherwise the call's account counts as logged in, and a
// login of it succeeds at once, on a thread of its own, with --login-sid and --login-uid.
void InstallLogin(const CallOptions& options);

}  // namespace quil
