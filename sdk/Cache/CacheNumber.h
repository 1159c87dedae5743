// CacheNumber: the arithmetic of the cache headers on signed 32-bit values, the width the
// stored record keeps on every platform. Pure functions on a text; any thread may call.
#pragma once

#include <cstdint>
#include <string>

class CacheNumber {
public:
    // The number at the start of text as strtol reads it with base 0 (blanks, a sign, "0x"
    // for hexadecimal, a leading "0" for octal; 0 when nothing reads), held to the 32-bit
    // range: a value beyond it gives INT32_MAX or INT32_MIN. Reading stops at a zero byte.
    static int32_t Read(const std::string& text);

    // a plus b as signed 32-bit arithmetic that wraps (INT32_MAX + 1 is INT32_MIN), without
    // the undefined behaviour of a signed overflow.
    static int32_t WrappingSum(int32_t a, int32_t b);
};
