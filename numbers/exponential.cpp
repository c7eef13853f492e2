#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "numbers/unpacked.h"

// exp(x) = 2^q * 2^(i/64) * 2^(j/4096) * 2^(k/262144) * exp(r), with integers q, i, j, k such that
// 0 <= r < ln 2 / 2^18, exceeded by at most 2^-27 of it. The powers come from three tables of 64
// numbers each, exp(r) from its series up to r^6.
//
// All values are 128-bit fixed-point numbers; the number in a name, as in r_146, is minus the
// exponent of the unit. Every step truncates downward, so the result is never above the true value.
// For a true value from 1 to 2 it is low by less than 5 * 2^-127, the sum of all truncations. If a
// tie between two binary128 numbers lies within these limits, for one argument in 6,600, the wide
// computation decides.
namespace cellwarden {
namespace {

#include "numbers/exponential_tables.inc"

constexpr uint128 INFINITY_BITS = uint128{0x7fff} << STORED_BITS;

// Returns a * b / 2^128, low by up to 3, because it omits the product of the low halves.
constexpr uint128 mul_high(uint128 a, uint128 b) {
    return uint128{high_half(a)} * high_half(b) + high_half(uint128{high_half(a)} * low_half(b)) +
           high_half(uint128{low_half(a)} * high_half(b));
}

// x = (2^18 * power + fraction) * ln 2 / 2^18 + r
struct Multiple {
    uint64_t magnitude;  // |2^18 * power + fraction|; the sign is that of x
    int power;
    uint32_t fraction;  // below 2^18
};

// Requires |x| < 2^14.
Multiple multiple_below(const Unpacked& x) {
    // |x| / ln 2 in units of 2^(exponent - 61), too low by 0 to 2.4.
    constexpr uint64_t LOG2_E_62 = 0x5c551d94ae0bf85d;
    const uint64_t leading = high_half(x.significand) << 15 | low_half(x.significand) >> 49;
    const uint64_t quotient = high_half(uint128{leading} * LOG2_E_62);
    // For |x| below 2^-20 the multiple is 0, because the shift by 63 leaves 0.
    const int shift = std::min(43 - x.exponent, 63);
    // r must not be negative, so |multiple| must be below |x|, or above it for negative x.
    const uint64_t magnitude = x.negative ? ((quotient + 4) >> shift) + 1 : (quotient - 1) >> shift;
    const auto multiple =
        x.negative ? -static_cast<int64_t>(magnitude) : static_cast<int64_t>(magnitude);
    return {magnitude, static_cast<int>(multiple >> 18),
            static_cast<uint32_t>(multiple & ((1 << 18) - 1))};
}

// Returns r, low by up to 4 * 2^-146. r is below 2^-18, so it is computed modulo 2^-18.
uint128 remainder_146(const Unpacked& x, uint64_t multiple) {
    const int shift = x.exponent - STORED_BITS + 146;
    const uint128 magnitude =
        shift >= 0 ? wrapping_mul(x.significand, uint64_t{1} << shift) : x.significand >> -shift;
    // multiple * (ln 2 / 2^18); the three highest parts of ln 2 suffice.
    const uint128 highest = uint128{low_half(uint128{multiple} * LN2[4])} << 64;
    const uint128 product =
        wrapping_add(highest, uint128{multiple} * LN2[3] + high_half(uint128{multiple} * LN2[2]));
    // Both were truncated, by up to 1.01 together with ln 2; minus 2, the difference is below r.
    return wrapping_sub(
        x.negative ? wrapping_sub(product, magnitude) : wrapping_sub(magnitude, product), 2);
}

// exp(r) - 1 = r + r^2 * (1/2 + r * (1/6 + r * (1/24 + r/120 + r^2/720))). A product with
// s = r * 2^18 < 0.6932, shifted down by 18, is a product with r. The truncations reduce each
// bracket by at most, from the innermost outward:
//     1/24 + ...   5 truncations by 2^-64, 3 of them times s, and r^3/5040 < 0.07 * 2^-64:
//                  4 * 2^-64
//     1/6 + ...    0.6932 * 4 * 2^-64 and 0.05 * 2^-64 for truncating s to 64 bits, both / 2^18,
//                  and 2 truncations by 2^-128: 2.9 * 2^-82
//     1/2 + ...    0.6932 of that / 2^18, and 2 truncations by 2^-128: 2.1 * 2^-100
//     all          0.4806 of that / 2^18 = 1034 * 2^-128 for s, and 2 truncations: 1040 * 2^-146
uint128 series_146(uint128 r_146) {
    constexpr uint128 ONE_HALF = uint128{1} << 127;
    constexpr uint128 ONE_6TH = ~uint128{0} / 6;
    constexpr uint64_t ONE_24TH = UINT64_MAX / 24;
    constexpr uint64_t ONE_120TH_46 = (uint64_t{1} << 46) / 120;
    constexpr uint64_t ONE_720TH_28 = (uint64_t{1} << 28) / 720;
    const uint64_t s = high_half(r_146);
    const uint64_t from_5th = ONE_120TH_46 + high_half(uint128{s} * ONE_720TH_28);
    const uint64_t from_4th = ONE_24TH + high_half(uint128{s} * from_5th);
    const uint128 from_3rd = ONE_6TH + ((uint128{s} * from_4th) >> 18);
    const uint128 from_2nd = ONE_HALF + (mul_high(r_146, from_3rd) >> 18);
    return r_146 + (mul_high(mul_high(r_146, r_146), from_2nd) >> 18);
}

// --- The wide computation

// An unsigned number in units of 2^-320, with the lowest 64 bits first.
using Wide = std::array<uint64_t, 6>;
constexpr int WIDE_UNIT = 320;

Wide add(const Wide& a, const Wide& b) {
    Wide sum{};
    uint128 carry = 0;
    for (size_t i = 0; i < sum.size(); i++) {
        carry += uint128{a[i]} + b[i];
        sum[i] = low_half(carry);
        carry = high_half(carry);
    }
    return sum;
}

// Requires a >= b.
Wide subtract(const Wide& a, const Wide& b) {
    Wide difference{};
    bool borrow = false;
    for (size_t i = 0; i < difference.size(); i++) {
        const uint128 lower = wrapping_sub(a[i], uint128{b[i]} + (borrow ? 1 : 0));
        difference[i] = low_half(lower);
        borrow = high_half(lower) != 0;
    }
    return difference;
}

// Truncates to the unit. Requires a product below 2^64.
Wide multiply(const Wide& a, const Wide& b) {
    std::array<uint64_t, 2 * std::tuple_size_v<Wide>> product{};
    for (size_t i = 0; i < a.size(); i++) {
        uint128 carry = 0;
        for (size_t j = 0; j < b.size(); j++) {
            carry += uint128{a[i]} * b[j] + product[i + j];
            product[i + j] = low_half(carry);
            carry = high_half(carry);
        }
        product[i + b.size()] = low_half(carry);
    }
    Wide result{};
    std::copy_n(product.begin() + WIDE_UNIT / 64, result.size(), result.begin());
    return result;
}

Wide divide(const Wide& a, uint64_t divisor) {
    Wide quotient{};
    uint128 rest = 0;
    for (size_t i = a.size(); i > 0; i--) {
        rest = rest << 64 | a[i - 1];
        quotient[i - 1] = low_half(rest / divisor);
        rest %= divisor;
    }
    return quotient;
}

// Returns a / 2^count, truncated.
Wide shift_down(const Wide& a, int count) {
    const auto limb = [&](size_t i) { return i < a.size() ? a[i] : 0; };
    const auto limbs = static_cast<size_t>(count / 64);
    Wide result{};
    for (size_t i = 0; i < result.size(); i++) {
        result[i] = low_half(from_halves(limb(i + limbs + 1), limb(i + limbs)) >> count % 64);
    }
    return result;
}

// Returns exp(x); 2^power is the power of two below it. With r = x - power * ln 2, it sums the
// series of exp(r / 2^16) to its 17th power (the 18th is below 2^-349) and squares the sum 16
// times, which multiplies its error of about 4 * 2^-320 by 2^16. The relative error of the result
// is below 2^-300. No argument is expected to be that near to a tie: of all 2^127 arguments, the
// nearest is expected at 2^-240.
[[gnu::noinline, gnu::cold]] extended wide_exp(const Unpacked& x, int power) {
    constexpr int SQUARINGS = 16;
    constexpr int TERMS = 17;
    constexpr Wide ONE = {0, 0, 0, 0, 0, 1};
    constexpr Wide LN2_WIDE = {LN2[0], LN2[1], LN2[2], LN2[3], LN2[4], 0};
    const Wide magnitude =
        shift_down({0, 0, 0, 0, low_half(x.significand << 15), high_half(x.significand << 15)},
                   63 - x.exponent);
    const Wide multiple =
        multiply({0, 0, 0, 0, 0, static_cast<uint64_t>(std::abs(power))}, LN2_WIDE);
    const Wide r = shift_down(
        x.negative ? subtract(multiple, magnitude) : subtract(magnitude, multiple), SQUARINGS);
    Wide value = ONE;
    for (uint64_t n = TERMS; n > 0; n--) {
        value = add(ONE, divide(multiply(r, value), n));
    }
    for (int i = 0; i < SQUARINGS; i++) {
        value = multiply(value, value);
    }

    // The estimate of the power may be low by 1.
    const int carry = value.back() >= 2 ? 1 : 0;
    const int exponent = std::max(power + carry, MIN_EXPONENT);
    if (exponent > MAX_EXPONENT) {
        return std::bit_cast<extended>(INFINITY_BITS);
    }
    // One bit more than the result has. A subnormal number has fewer bits.
    const Wide doubled = shift_down(value, WIDE_UNIT - STORED_BITS - 1 + exponent - power);
    return pack({(from_halves(doubled[1], doubled[0]) + 1) >> 1, exponent, false});
}

// Returns the result for |x| >= 2^14 and for NaN.
extended exp_of_large(extended x) {
    if (x != x) {
        return x;
    }
    return x < 0 ? 0 : std::bit_cast<extended>(INFINITY_BITS);
}

// Requires |x| < 2^14.
[[gnu::always_inline]] inline Unpacked exp_of_moderate(const Unpacked& number) {
    constexpr uint64_t HALF = 1 << 14;  // half of the last bit of the result, in units of 2^-127
    constexpr uint64_t ERROR = 5;
    if (number.exponent < -114) {
        return unpack(1);
    }
    const Multiple multiple = multiple_below(number);
    if (multiple.power < MIN_EXPONENT || multiple.power > MAX_EXPONENT) {
        return unpack(wide_exp(number, multiple.power));
    }

    // The product of the factors. Each value and product is truncated, by less than 1 for the first
    // factor, 1.1 for the second, and 1.01 for the third and the series; the sum is below ERROR.
    const uint128 power_64th = POWERS_64TH[multiple.fraction >> 12];
    const uint128 power_4096th = POWERS_4096TH_LESS_1[multiple.fraction >> 6 & 63];
    const uint128 power_262144th = POWERS_262144TH_LESS_1[multiple.fraction & 63];
    const uint128 two_127 = power_64th + (mul_high(power_64th, power_4096th) >> 6);
    const uint128 three_127 = two_127 + (mul_high(two_127, power_262144th) >> 12);
    const uint128 series = series_146(remainder_146(number, multiple.magnitude));
    uint128 result_127 = 0;
    // The product reaches 2 if the multiple is low by 1.
    const bool overflows =
        __builtin_add_overflow(three_127, mul_high(three_127, series) >> 18, &result_127);
    const uint64_t rest = low_half(result_127) % (2 * HALF);
    if (overflows || (rest < HALF && rest + ERROR > HALF)) {
        return unpack(wide_exp(number, multiple.power));
    }
    const uint128 significand = ((result_127 >> 1) + HALF / 2) >> 14;  // no carry out of 128 bits
    const bool carries = significand >> SIGNIFICAND_BITS != 0;
    return {carries ? significand >> 1 : significand, multiple.power + (carries ? 1 : 0), false};
}

}  // namespace

extended extended_exp(extended x) {
    const Unpacked number = unpack(x);
    return number.exponent < 14 ? pack(exp_of_moderate(number)) : exp_of_large(x);
}

Unpacked unpacked_exp(const Unpacked& x) {
    return x.exponent < 14 ? exp_of_moderate(x) : unpack(exp_of_large(pack(x)));
}

}  // namespace cellwarden
