// The one extended-precision type of the ageing models: IEEE binary128 on every machine. Its basic
// operations round once, as IEEE 754 demands of them, and the exponential is our own: so a record
// computed on a desk equals the phone's byte for byte, whatever C library either has.
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

// exp(x), correctly rounded: the number nearest to it, by integer arithmetic alone, for every x.
// Above 11356.52 it is infinite, from -11355.14 down it is subnormal, below -11433.46 it is 0;
// exp(NaN) is NaN. Neither errno nor the floating-point exceptions are touched.
extended extended_exp(extended x);

// Truncates toward zero; negative values and NaN give 0, values of 2^32 or more give 2^32 - 1.
constexpr uint32_t to_u32(extended value) {
    if (!(value > 0)) {
        return 0;
    }
    return value >= extended{4294967296.0} ? UINT32_MAX : static_cast<uint32_t>(value);
}

// Truncates toward zero; values outside the range of i32 give its nearest end, NaN gives 0.
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
