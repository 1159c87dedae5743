// A whole synchronous call with 1 MiB of data, through SendSyncRequest and an in-process client
// that answers at once, against the floor of that data (MD5 plus table URL encoding of it).
// Both sides are timed in process CPU (user plus system) in alternating blocks, so that a
// loaded machine slows both alike. Any thread; the SDK must be configured with such a client.
#pragma once

namespace quil {
class StandInControl;
}  // namespace quil

namespace quil {
namespace bench {

struct WholeCallRatio {
    double callMs = 0;   // CPU per call, median of the blocks
    double floorMs = 0;  // CPU per floor, median of the blocks
    double ratio = 0;    // median of the per-block ratios
    // The stand-in signer's own CPU for the sign line of such a call (it hashes the data too),
    // and the ratio with it taken out of the call; -1 when it could not be measured.
    double standInMs = -1;
    double sdkRatio = -1;
    int failures = 0;  // calls that did not succeed
};

// Drops the stand-in's records of each block, outside the timed part.
WholeCallRatio MeasureWholeCall1MbRatio(StandInControl& standIn, int blocks, int callsPerBlock);

}  // namespace bench
}  // namespace quil
