// Finite numbers of extended precision that are not negative, taken apart into integers. A loop
// that keeps its sums in this form takes a third of the time that the compiler's 128-bit floats
// take, and ends with the same bits.
#pragma once

#include <bit>
#include <cstdint>
#include <utility>

#include "platform/extended.h"

namespace cellwarden {

// significand * 2^(exponent - 112). The significand has 113 bits; fewer only at MIN_EXPONENT, as
// that of 0.
struct Positive {
    unsigned __int128 significand;
    int exponent;

    static constexpr int STORED_BITS = 112;  // of the significand; the highest one is implied
    static constexpr int EXPONENT_BIAS = 16'383;
    static constexpr int MIN_EXPONENT = -16'382;
    static constexpr int MAX_EXPONENT = 16'383;
};

// Ignores the sign.
inline Positive take_apart(extended value) {
    const auto bits = std::bit_cast<unsigned __int128>(value);
    const auto stored_exponent = static_cast<int>(bits >> Positive::STORED_BITS & 0x7fff);
    const auto implied = static_cast<unsigned __int128>(stored_exponent != 0 ? 1 : 0);
    const unsigned __int128 stored = bits & (((unsigned __int128){1} << Positive::STORED_BITS) - 1);
    return {implied << Positive::STORED_BITS | stored,
            (stored_exponent != 0 ? stored_exponent : 1) - Positive::EXPONENT_BIAS};
}

// Also takes a significand of 2^113, which adds one to the exponent.
inline extended put_together(const Positive& number, bool negative = false) {
    // The highest bit of the significand is not stored: it adds the one that the exponent lacks.
    const auto exponent = static_cast<uint64_t>(number.exponent + Positive::EXPONENT_BIAS - 1 +
                                                (negative ? 0x8000 : 0));
    const uint64_t high = (exponent << 48) + static_cast<uint64_t>(number.significand >> 64);
    // Through a vector: a load of 16 bytes would wait for two stores of 8.
    using Halves [[gnu::vector_size(16)]] = uint64_t;
    return std::bit_cast<extended>(Halves{static_cast<uint64_t>(number.significand), high});
}

// value / 2^excess, to nearest, ties to even. Requires 0 < excess < 64.
constexpr unsigned __int128 round_off(unsigned __int128 value, int excess) {
    const uint64_t half = uint64_t{1} << (excess - 1);
    const uint64_t last_kept = static_cast<uint64_t>(value >> excess) & 1;
    return (value + (half - 1 + last_kept)) >> excess;
}

// a + b, rounded once. Requires a finite sum.
inline Positive add(Positive a, Positive b) {
    // Bits below the significand. The lowest one keeps whether anything was cut off below it, which
    // is all that rounding asks of it.
    constexpr int SPARE = 14;
    if (a.exponent < b.exponent) {
        std::swap(a, b);
    }
    const int distance = a.exponent - b.exponent;
    if (distance > Positive::STORED_BITS + 2) {
        return a;  // b is below a quarter of the last bit
    }
    const unsigned __int128 addend = b.significand << SPARE;
    const unsigned __int128 shifted = addend >> distance;
    const unsigned __int128 lost = shifted << distance != addend ? 1 : 0;
    const unsigned __int128 sum = (a.significand << SPARE) + (shifted | lost);
    const int carry = static_cast<int>(sum >> (Positive::STORED_BITS + 1 + SPARE));
    const unsigned __int128 rounded = round_off(sum, SPARE + carry);
    // Rounding may end at the next power of two.
    const int carry_2 = static_cast<int>(rounded >> (Positive::STORED_BITS + 1));
    return {rounded >> carry_2, a.exponent + carry + carry_2};
}

}  // namespace cellwarden
