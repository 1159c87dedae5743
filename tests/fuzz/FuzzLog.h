// The log of the fuzz targets: it formats every line and throws it away, so that the readers'
// logging at every level runs on hostile input too. Registered once per process; never deleted.
#pragma once

namespace quil::fuzz {

// Registers the discarding log at the finest level. Cheap and safe to call on every input.
void InstallFuzzLog();

}  // namespace quil::fuzz
