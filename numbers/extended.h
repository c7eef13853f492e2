// The extended-precision type of the ageing models: IEEE binary128 on every machine. Its basic
// operations round once, as IEEE 754 requires, and the exponential is our own. A record computed on
// a desktop machine therefore equals the phone's byte for byte, whatever their C libraries.
#pragma once

#include <cfloat>
#include <cstdint>

namespace cellwarden {

#if LDBL_MANT_DIG == 113
using extended = long double;
#else
__extension__ typedef __float128 extended;  // NOLINT(modernize-use-using): __extension__ needs it
#endif

static_assert(sizeof(extended) == 16);

// Returns exp(x) correctly rounded to nearest for every x, with integer arithmetic only. The result
// is infinite above x = 11356.52, subnormal from -11355.14 down, 0 below -11433.46, and NaN for
// NaN. Changes neither errno nor the floating-point exceptions.
extended extended_exp(extended x);

// Truncates toward zero. Returns 0 for negative values and NaN, 2^32 - 1 for values of 2^32 or
// more.
constexpr uint32_t to_u32(extended value) {
    if (!(value > 0)) {
        return 0;
    }
    return value >= extended{4294967296.0} ? UINT32_MAX : static_cast<uint32_t>(value);
}

// Truncates toward zero. Returns the nearest limit of i32 for values outside its range, 0 for NaN.
constexpr int32_t to_i32(extended value) {
    if (value >= extended{2147483648.0}) {
        return INT32_MAX;
    }
    if (value <= extended{-2147483649.0}) {
        return INT32_MIN;
    }
    return value == value ? static_cast<int32_t>(value) : 0;
}

}  // namespace cellwarden
