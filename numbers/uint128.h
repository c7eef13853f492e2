// Unsigned 128-bit integers and their halves.
#pragma once

#include <bit>
#include <cstdint>

namespace cellwarden {

using uint128 = unsigned __int128;

constexpr uint128 from_halves(uint64_t high, uint64_t low) {
    return uint128{high} << 64 | low;
}

constexpr uint64_t high_half(uint128 value) {
    return static_cast<uint64_t>(value >> 64);
}

constexpr uint64_t low_half(uint128 value) {
    return static_cast<uint64_t>(value);
}

// Returns 128 for 0.
constexpr int leading_zeros(uint128 value) {
    return high_half(value) != 0 ? std::countl_zero(high_half(value))
                                 : 64 + std::countl_zero(low_half(value));
}

// --- Modulo 2^128.

constexpr uint128 wrapping_add(uint128 a, uint128 b) {
    uint128 sum = 0;
    (void)__builtin_add_overflow(a, b, &sum);
    return sum;
}

constexpr uint128 wrapping_sub(uint128 a, uint128 b) {
    uint128 difference = 0;
    (void)__builtin_sub_overflow(a, b, &difference);
    return difference;
}

constexpr uint128 wrapping_mul(uint128 a, uint64_t b) {
    return wrapping_add(uint128{low_half(a)} * b,
                        from_halves(low_half(uint128{high_half(a)} * b), 0));
}

}  // namespace cellwarden
