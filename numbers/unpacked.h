// Finite numbers of extended precision, split into integers, and their arithmetic. The results have
// the same bits as those of the compiler's 128-bit floats (each operation rounded once to nearest,
// ties to even) in less than half of the time. Loops that dominate the time of a simulation use
// this form.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <utility>

#include "numbers/extended.h"
#include "numbers/uint128.h"

namespace cellwarden {

// significand * 2^(exponent - 112), with a significand of 113 bits. 0 has the significand 0.
// Results below 2^-16382 and of 2^16384 or more are not supported.
struct Unpacked {
    uint128 significand;
    int exponent;
    bool negative;
};

inline constexpr int SIGNIFICAND_BITS = 113;
inline constexpr int STORED_BITS = 112;  // the highest bit of the significand is not stored
inline constexpr int MIN_EXPONENT = -16'382;
inline constexpr int MAX_EXPONENT = 16'383;

constexpr Unpacked unpack(extended value) {
    const auto bits = std::bit_cast<uint128>(value);
    const auto stored_exponent = static_cast<int>(bits >> STORED_BITS & 0x7fff);
    const uint128 implied = stored_exponent != 0 ? 1 : 0;
    const uint128 stored = bits & ((uint128{1} << STORED_BITS) - 1);
    return {implied << STORED_BITS | stored, std::max(stored_exponent, 1) - MAX_EXPONENT,
            bits >> 127 != 0};
}

constexpr Unpacked unpack_integer(uint32_t value) {
    const int width = 32 - std::countl_zero(value);
    return {uint128{value} << (SIGNIFICAND_BITS - width), value == 0 ? MIN_EXPONENT : width - 1,
            false};
}

// Also accepts a significand of 2^113, which adds one to the exponent, and shorter significands at
// MIN_EXPONENT.
inline extended pack(const Unpacked& number) {
    // The highest bit of the significand adds the 1 that the stored exponent needs.
    const auto exponent =
        static_cast<uint64_t>(number.exponent - MIN_EXPONENT + (number.negative ? 0x8000 : 0));
    const uint64_t high = (exponent << 48) + high_half(number.significand);
    // A vector is faster: a load of 16 bytes would wait for two stores of 8.
    using Halves [[gnu::vector_size(16)]] = uint64_t;
    return std::bit_cast<extended>(Halves{low_half(number.significand), high});
}

// Returns value * 2^(exponent - 112 - excess), rounded. Requires 0 < excess < 15 and a value of 113
// + excess bits, so that half of the last bit can be added before the shift. `is_exact` returns
// whether no bits were truncated below the value; it is called only for a possible tie.
template <typename IsExact>
[[gnu::always_inline]] inline Unpacked round_off(uint128 value, int excess, IsExact is_exact,
                                                 int exponent, bool negative) {
    const uint64_t half = uint64_t{1} << (excess - 1);
    uint128 rounded = (value + half) >> excess;
    if ((low_half(value) & (2 * half - 1)) == half && is_exact()) {
        rounded &= ~uint128{1};
    }
    if (rounded >> SIGNIFICAND_BITS != 0) {
        return {rounded >> 1, exponent + 1, negative};
    }
    return {rounded, exponent, negative};
}

[[gnu::always_inline]] inline Unpacked add(Unpacked a, Unpacked b) {
    constexpr int SPARE = 13;  // bits below the significand; one bit above it holds the carry
    if (a.exponent < b.exponent) {
        std::swap(a, b);
    }
    const int distance = a.exponent - b.exponent;
    if (distance > SIGNIFICAND_BITS + 1) {
        return a;  // b is less than a quarter of the last bit, even if a is a power of two
    }
    const uint128 large = a.significand << SPARE;
    const uint128 small = b.significand << SPARE;
    const uint128 shifted = small >> distance;
    const auto is_exact = [&] { return shifted << distance == small; };
    if (a.negative == b.negative) {
        const uint128 sum = large + shifted;
        return sum >> 126 == 0 ? round_off(sum, SPARE, is_exact, a.exponent, a.negative)
                               : round_off(sum, SPARE + 1, is_exact, a.exponent + 1, a.negative);
    }
    // With equal exponents, b may be larger.
    const bool negative = large >= shifted ? a.negative : b.negative;
    const uint128 difference =
        large >= shifted ? large - shifted - (is_exact() ? 0 : 1) : shifted - large;
    if (difference == 0) {
        return {0, MIN_EXPONENT, false};
    }
    // Only an exact difference loses more than two bits.
    const int zeros = leading_zeros(difference) - 1;
    return round_off(difference << zeros, SPARE + 1, is_exact, a.exponent + 1 - zeros, negative);
}

// Requires nonzero factors.
[[gnu::always_inline]] inline Unpacked multiply(const Unpacked& a, const Unpacked& b) {
    // The product has 225 or 226 bits; `leading` has the highest 126 or 127.
    const uint64_t a_high = high_half(a.significand);
    const uint64_t b_high = high_half(b.significand);
    const uint128 low = uint128{low_half(a.significand)} * low_half(b.significand);
    const uint128 middle = uint128{a_high} * low_half(b.significand) +
                           uint128{low_half(a.significand)} * b_high + high_half(low);
    const uint128 high = uint128{a_high} * b_high + high_half(middle);
    const int carry = static_cast<int>(high >> 97);
    const uint128 leading = high << 29 | low_half(middle) >> 35;
    const auto is_exact = [&] {
        return low_half(low) == 0 && low_half(middle) % (uint64_t{1} << 35) == 0;
    };
    return round_off(leading << (1 - carry), 14, is_exact, a.exponent + b.exponent + carry,
                     a.negative != b.negative);
}

// Returns exp(x) correctly rounded, as extended_exp() does. Requires a finite result.
Unpacked unpacked_exp(const Unpacked& x);

// Requires nonzero numbers.
[[gnu::always_inline]] inline Unpacked divide(const Unpacked& dividend, const Unpacked& divisor) {
    const uint128 a = dividend.significand;
    const uint128 b = divisor.significand;
    // The 64 leading bits of b have the reciprocal 2^127 / b_64. The processor's division returns
    // its leading 31 bits, and a step of Newton's method doubles them. Neither is too large; minus
    // 4, the result is below the reciprocal of b itself, by less than 2^-59 of it.
    const auto b_64 = static_cast<uint64_t>(b >> 49);
    const uint64_t half_reciprocal = UINT64_MAX / ((b_64 >> 32) + 1);
    const uint128 missing = (uint128{1} << 96) - uint128{b_64} * half_reciprocal;
    const uint64_t reciprocal =
        low_half((uint128{half_reciprocal} << 31) + (missing * half_reciprocal >> 65)) - 4;
    // a * 2^61 / b, low by less than 10, and the 53 bits after it, rarely low by 1.
    const auto a_64 = static_cast<uint64_t>(a >> 49);
    const uint64_t first = high_half(uint128{a_64} * reciprocal) >> 2;
    uint128 rest = wrapping_sub(wrapping_mul(a, uint64_t{1} << 61), wrapping_mul(b, first));
    const uint64_t second = high_half(uint128{low_half(rest >> 53)} * reciprocal) >> 6;
    rest = wrapping_sub(wrapping_mul(rest, uint64_t{1} << 53), wrapping_mul(b, second));
    uint128 quotient = (uint128{first} << 53) + second;
    for (; rest >= b; rest -= b) {
        quotient++;
    }
    const int carry = quotient >> 114 != 0 ? 1 : 0;
    // The quotient is never a tie: an odd number of 114 bits does not divide a number of 113 bits.
    return round_off(
        quotient, 1 + carry, [] { return false; }, dividend.exponent - divisor.exponent - 1 + carry,
        dividend.negative != divisor.negative);
}

}  // namespace cellwarden
