#include "numbers/extended.h"

#include <gtest/gtest.h>

#include <bit>

#include "support/rows.h"

namespace cellwarden {
namespace {

TEST(Extended, BecomesAnIntegerTowardZeroWithinItsRange) {
    for (const test::Row& row : test::values_of(NUMBERS_TESTS "/integers.csv")) {
        const extended value = test::number(row, 1);
        EXPECT_EQ(std::to_string(to_u32(value)), row.at(2)) << row.at(0);
        EXPECT_EQ(std::to_string(to_i32(value)), row.at(3)) << row.at(0);
    }
}

// The 128 bits of 32 hexadecimal digits.
unsigned __int128 bits_of(const std::string& digits) {
    const auto half = [&](size_t start) { return std::stoull(digits.substr(start, 16), nullptr, 16); };
    return static_cast<unsigned __int128>(half(0)) << 64 | half(16);
}

// Expected bits: the MPFR library's. benchmarks/prove_exponential.cpp compares arguments by the million; these are the
// ones where a fault would hide: next to the middle of two results, of a power of two, of the ends of the range.
TEST(Exponential, IsTheNearestNumber) {
    for (const test::Row& row : test::values_of(NUMBERS_TESTS "/exponential.csv")) {
        const extended result = extended_exp(std::bit_cast<extended>(bits_of(row.at(1))));
        EXPECT_TRUE(std::bit_cast<unsigned __int128>(result) == bits_of(row.at(2)))
            << row.at(0) << ": exp is " << static_cast<double>(result);
    }
}

}  // namespace
}  // namespace cellwarden
