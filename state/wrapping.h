// Integer arithmetic that keeps the low bits of its result. Calls of these functions mark intended
// wraps: a counter continues at 0 after its largest value, and negative seconds are subtracted from
// it. At any other place, a result beyond its type is a fault, and the integer sanitizer reports
// it.
#pragma once

#include <concepts>
#include <cstdint>
#include <type_traits>

namespace cellwarden {

template <std::unsigned_integral T>
constexpr T wrapping_add(T a, std::type_identity_t<T> b) {
    T sum{};
    (void)__builtin_add_overflow(a, b, &sum);
    return sum;
}

template <std::unsigned_integral T>
constexpr T wrapping_sub(T a, std::type_identity_t<T> b) {
    T difference{};
    (void)__builtin_sub_overflow(a, b, &difference);
    return difference;
}

template <std::unsigned_integral T>
constexpr T wrapping_mul(T a, std::type_identity_t<T> b) {
    T product{};
    (void)__builtin_mul_overflow(a, b, &product);
    return product;
}

// Adds `amount` to a counter.
template <std::unsigned_integral T>
constexpr void wrapping_count(T& counter, std::type_identity_t<T> amount = 1) {
    counter = wrapping_add(counter, amount);
}

// Returns the low 32 bits of a 64-bit result, as a signed field stores them.
constexpr int32_t low_i32(int64_t value) {
    return static_cast<int32_t>(static_cast<uint32_t>(value));
}

}  // namespace cellwarden
