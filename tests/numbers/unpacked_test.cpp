#include "numbers/unpacked.h"

#include <gtest/gtest.h>

#include <random>

namespace cellwarden {
namespace {

std::mt19937_64 random_bits(20261123);

// Half of the significands have a long run of zeros or ones, so that rounding meets ties and carries; half of the
// exponents are close together.
extended any_number() {
    uint128 significand = from_halves(random_bits(), random_bits()) >> 16;
    const uint128 tail = (uint128{1} << random_bits() % STORED_BITS) - 1;
    const uint64_t kind = random_bits() % 4;
    if (kind == 0) {
        significand &= ~tail;
    } else if (kind == 1) {
        significand |= tail;
    }
    const uint128 exponent = MAX_EXPONENT - 120 + random_bits() % (random_bits() % 2 == 0 ? 4 : 240);
    return std::bit_cast<extended>(uint128{random_bits() % 2} << 127 | exponent << STORED_BITS | significand);
}

void expect_same(const char* operation, extended a, extended b, const Unpacked& ours, extended expected) {
    EXPECT_TRUE(std::bit_cast<uint128>(pack(ours)) == std::bit_cast<uint128>(expected))
        << operation << std::hexfloat << ' ' << static_cast<double>(a) << ' ' << static_cast<double>(b);
}

TEST(Unpacked, ComputesTheBitsOfTheFloats) {
    for (int i = 0; i < 200'000 && !testing::Test::HasFailure(); i++) {
        const extended a = any_number();
        // Sometimes the negative of `a`, or close to it.
        const extended near = std::bit_cast<extended>(std::bit_cast<uint128>(-a) + random_bits() % 3);
        const extended b = i % 8 == 0 ? near : any_number();
        expect_same("sum", a, b, add(unpack(a), unpack(b)), a + b);
        expect_same("product", a, b, multiply(unpack(a), unpack(b)), a * b);
        expect_same("quotient", a, b, divide(unpack(a), unpack(b)), a / b);
        expect_same("sum with 0", a, 0, add(unpack(0), unpack(a)), a);
        const auto integer = i == 0 ? 0 : static_cast<uint32_t>(random_bits() >> (32 + random_bits() % 32));
        expect_same("integer", integer, 0, unpack_integer(integer), integer);
    }
}

}  // namespace
}  // namespace cellwarden
