// SaturatingArithmetic: 64-bit sums and differences of time values that come partly from
// outside (a server's "x-systime" read with strtoll can be anything up to the 64-bit limits, a
// ban length times a billion nanoseconds can be near them). A result beyond the range stops at
// the limit instead of overflowing, which would be undefined.
// Stateless; any thread may call it.
#pragma once

#include <cstdint>
#include <limits>

class SaturatingArithmetic {
public:
    // a + b, held at the nearest 64-bit limit when the true sum lies beyond it.
    static int64_t Add(int64_t a, int64_t b) {
        if (b > 0 && a > std::numeric_limits<int64_t>::max() - b) {
            return std::numeric_limits<int64_t>::max();
        }
        if (b < 0 && a < std::numeric_limits<int64_t>::min() - b) {
            return std::numeric_limits<int64_t>::min();
        }
        return a + b;
    }

    // a - b, held at the nearest 64-bit limit when the true difference lies beyond it.
    static int64_t Subtract(int64_t a, int64_t b) {
        if (b < 0 && a > std::numeric_limits<int64_t>::max() + b) {
            return std::numeric_limits<int64_t>::max();
        }
        if (b > 0 && a < std::numeric_limits<int64_t>::min() + b) {
            return std::numeric_limits<int64_t>::min();
        }
        return a - b;
    }
};
