// The one extended-precision type of the ageing models: IEEE binary128 on every machine. Its sums,
// products and quotients have the same bits everywhere; the exponential is the C library's, and
// another library's differs in about 1 of 1,100 arguments by one unit in the last place. Over whole
// seven-year lives not one stored byte differed. A unit in the last place is two parts in 10^34 of
// one addend, and the record keeps at most ten digits of a sum. It reaches a stored byte only where
// the sum lies that close to the border between two stored values.
#pragma once

#include <cfloat>
#include <cmath>
#include <cstdint>

#if LDBL_MANT_DIG != 113
// The C library's exponential for the compiler's 128-bit float; some compilers do not see the
// library's own declaration.
extern "C" __float128 expf128(__float128 x) noexcept;
#endif

namespace cellwarden {

#if LDBL_MANT_DIG == 113
using extended = long double;
inline extended extended_exp(extended x) {
    return expl(x);
}
#else
__extension__ typedef __float128 extended;  // NOLINT(modernize-use-using): __extension__ needs it
inline extended extended_exp(extended x) {
    return expf128(x);
}
#endif

static_assert(sizeof(extended) == 16);

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
