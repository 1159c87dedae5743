// The stand-in signer's own share of a call: its JSON signing entry called directly, on this
// thread, with a line the SDK handed it, so that the SDK's CPU per call can be stated apart
// from the signing a real security library replaces with its own. Linux benchmark only.
#pragma once

#include <string>

namespace quil {
namespace bench {

// CPU microseconds per Sign plus Free of line, the median of blocks of calls; -1 when the
// stand-in's module or entry cannot be found. The caller resets the stand-in's records after.
double StandInSignCpuMicroseconds(const std::string& line, int blocks, int callsPerBlock);

}  // namespace bench
}  // namespace quil
