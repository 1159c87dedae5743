// The soak's three roles, each a whole process:
//   RunLoadPhase    the host under load: settings.threads threads of synchronous and
//                   asynchronous calls, withdrawals and session changes for settings.seconds,
//                   then the drain; prints one "load:" line and returns its exit status.
//   RunExitPhase    starts calls and calls exit while they are on the network.
//   RunSupervisor   starts the hostile emulator, runs the two phases as child processes of
//                   this program, and prints the verdict line; returns 0 on a pass.
#pragma once

#include "SoakSettings.h"

namespace quil::soak {

int RunLoadPhase(const SoakSettings& settings);
int RunExitPhase(const SoakSettings& settings);
int RunSupervisor(const SoakSettings& settings, const char* self);

// Resident memory of this process in KiB, 0 when it cannot be read.
long long ResidentKib();
// Bytes the program holds allocated (live heap) in KiB: the allocator's own count, from
// AddressSanitizer's allocator on that build and from glibc's otherwise.
long long LiveHeapKib();

}  // namespace quil::soak
