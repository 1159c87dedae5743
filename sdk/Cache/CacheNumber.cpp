#include "CacheNumber.h"

#include <cstdlib>

int32_t CacheNumber::Read(const std::string& text) {
    // strtoll, not strtol: long is 32 bits on Windows and 64 bits here, and the record keeps
    // 32 bits everywhere. Holding the result to that range gives what a 32-bit strtol gives.
    long long value = std::strtoll(text.c_str(), nullptr, 0);
    if (value > INT32_MAX) {
        return INT32_MAX;
    }
    if (value < INT32_MIN) {
        return INT32_MIN;
    }
    return static_cast<int32_t>(value);
}

int32_t CacheNumber::WrappingSum(int32_t a, int32_t b) {
    // Unsigned addition wraps by definition; the result is then mapped back by hand, since
    // converting an out-of-range unsigned value to a signed type is not defined before C++20.
    uint32_t sum = static_cast<uint32_t>(a) + static_cast<uint32_t>(b);
    if (sum <= static_cast<uint32_t>(INT32_MAX)) {
        return static_cast<int32_t>(sum);
    }
    return -static_cast<int32_t>(~sum) - 1;
}
