#include "numbers/extended.h"

#include <gtest/gtest.h>

namespace cellwarden {
namespace {

TEST(Extended, BecomesAnIntegerTowardZeroWithinItsRange) {
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
                {"no number", __builtin_nan(""), 0, 0}};
    for (const auto& row : rows) {
        EXPECT_EQ(to_u32(row.value), row.as_u32) << row.name;
        EXPECT_EQ(to_i32(row.value), row.as_i32) << row.name;
    }
}

// 10^32 e is 271828182845904523536028747135266.2...: 33 digits, of which a double has 16.
TEST(Extended, TheExponentialHas113Bits) {
    const extended scaled = extended_exp(1) * extended{1e16} * extended{1e16};
    const extended difference = scaled - extended{2718281828459045} * extended{1e17} - extended{23536028747135266};
    EXPECT_TRUE(difference < 1 && difference > -1);
}

}  // namespace
}  // namespace cellwarden
