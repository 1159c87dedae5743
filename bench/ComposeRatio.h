// compose_1mb_ratio: the SDK's composition of a call with 1 MB of data (sign input plus the
// HTTP request) against OpenSSL's MD5 of that megabyte plus a table-driven URL encoding of it,
// in alternating blocks of the same run. Uses the process-wide configuration; main thread.
#pragma once

namespace quil {
namespace bench {

struct ComposeRatio {
    double composeMs = 0.0;    // median time of one composition
    double referenceMs = 0.0;  // median time of one MD5 plus one encoding
    double ratio = 0.0;        // median of the per-block ratios
};

ComposeRatio MeasureCompose1MbRatio(int blocks, int callsPerBlock);

}  // namespace bench
}  // namespace quil
