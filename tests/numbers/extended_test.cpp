#include "numbers/extended.h"

#include <gtest/gtest.h>

#include <bit>

namespace cellwarden {
namespace {

TEST(Extended, IsTruncatedToAnIntegerWithinItsRange) {
    const struct {
        const char* name;
        extended value;
        uint32_t as_u32;
        int32_t as_i32;
    } rows[] = {{"a negative fraction", -2.999, 0, -2},
                {"the largest i32", 2147483647.5, 2147483647, INT32_MAX},
                {"below i32", -2147483650.0, 0, INT32_MIN},
                {"beyond i32", 2147483648.0, 2147483648, INT32_MAX},
                {"the largest u32", 4294967295.5, UINT32_MAX, INT32_MAX},
                {"beyond u32", 4294967296.0, UINT32_MAX, INT32_MAX},
                {"not a number", __builtin_nan(""), 0, 0}};
    for (const auto& row : rows) {
        EXPECT_EQ(to_u32(row.value), row.as_u32) << row.name;
        EXPECT_EQ(to_i32(row.value), row.as_i32) << row.name;
    }
}

struct Bits {
    uint64_t high, low;
};

unsigned __int128 joined(Bits bits) {
    return static_cast<unsigned __int128>(bits.high) << 64 | bits.low;
}

// The expected bits come from the MPFR library. tests/numbers/prove_exponential.cpp compares millions of arguments;
// these are the arguments for which an error is most likely.
TEST(Exponential, IsTheNearestNumber) {
    const struct {
        const char* name;
        Bits argument, expected;
    } rows[] = {
        {"e", {0x3fff000000000000, 0}, {0x40005bf0a8b14576, 0x95355fb8ac404e7a}},
        {"0", {0, 0}, {0x3fff000000000000, 0}},
        {"-0", {0x8000000000000000, 0}, {0x3fff000000000000, 0}},
        {"1.8e-8 of the last bit from a tie (cycle model)",
         {0xc00289e465db60bc, 0x4307dca923905956},
         {0x3fed2eafa0444006, 0x9a48a8bedbaafdba}},
        {"6.4e-8 from a tie (Arrhenius)",
         {0x4004a261d9442988, 0x91dddf805716c5be},
         {0x404a5da4f6364d6b, 0xd5e8b754b1324389}},
        {"2.2e-7 from a tie (full stay)",
         {0xc0036389834a2b52, 0x92caba51fbee7ad8},
         {0x3fdeebbeed2e252f, 0x720aeb098e5dccd4}},
        {"above 94 ln 2", {0x4005049f9333fc28, 0xbab450866fc745cd}, {0x405d000000000000, 0x9}},
        {"below 94 ln 2", {0x4005049f9333fc28, 0xbab450866fc745cc}, {0x405cffffffffffff, 0xffffffffffffff93}},
        {"above -13 ln 2", {0xc002205966f2b4f1, 0x25b7281203d7066a}, {0x3ff2000000000000, 0x7}},
        {"below -13 ln 2", {0xc002205966f2b4f1, 0x25b7281203d7066b}, {0x3ff1ffffffffffff, 0xfffffffffffffffd}},
        {"2^-113: 2^-227 above a tie", {0x3f8e000000000000, 0}, {0x3fff000000000000, 1}},
        {"below a tie", {0x3f8dffffffffffff, 0xffffffffffffffff}, {0x3fff000000000000, 0}},
        {"-2^-114: nearest is 1", {0xbf8d000000000000, 0}, {0x3fff000000000000, 0}},
        {"below -2^-114", {0xbf8d000000000000, 1}, {0x3ffeffffffffffff, 0xffffffffffffffff}},
        {"argument of the largest finite result",
         {0x400c62e42fefa39e, 0xf35793c7673007e5},
         {0x7ffeffffffffffff, 0xffffffffffffc4a8}},
        {"lowest argument of an infinite result", {0x400c62e42fefa39e, 0xf35793c7673007e6}, {0x7fff000000000000, 0}},
        {"argument of the smallest normal result",
         {0xc00c62d918ce2421, 0xd65ff90ac8f4ce65},
         {0x0001000000000000, 0x15c6}},
        {"argument of the largest subnormal result",
         {0xc00c62d918ce2421, 0xd65ff90ac8f4ce66},
         {0x0000ffffffffffff, 0xfffffffffffff5c6}},
        {"lowest argument of a result above 0", {0xc00c654bb3b2c73e, 0xbb059fabb506ff33}, {0, 1}},
        {"highest argument of the result 0", {0xc00c654bb3b2c73e, 0xbb059fabb506ff34}, {0, 0}},
        {"16384", {0x400d000000000000, 0}, {0x7fff000000000000, 0}},
        {"-16384", {0xc00d000000000000, 0}, {0, 0}},
        {"infinity", {0x7fff000000000000, 0}, {0x7fff000000000000, 0}},
        {"-infinity", {0xffff000000000000, 0}, {0, 0}},
        {"NaN", {0x7fff800000000000, 0}, {0x7fff800000000000, 0}},
    };
    for (const auto& row : rows) {
        const extended result = extended_exp(std::bit_cast<extended>(joined(row.argument)));
        EXPECT_TRUE(std::bit_cast<unsigned __int128>(result) == joined(row.expected))
            << row.name << ": exp is " << static_cast<double>(result);
    }
}

}  // namespace
}  // namespace cellwarden
