// Time and difference arithmetic with its widths written out. No input overflows.
#pragma once

#include <cstdint>

#include "state/wrapping.h"

namespace cellwarden {

// Seconds from `then` to `now`; negative where the clock went back. Differences that 64 bits cannot
// hold give the nearest end.
constexpr int64_t elapsed_s(int64_t now, int64_t then) {
    int64_t difference = 0;
    if (__builtin_sub_overflow(now, then, &difference)) {
        return now < then ? INT64_MIN : INT64_MAX;
    }
    return difference;
}

// The same as a signed 32-bit number, held within its range.
constexpr int32_t elapsed_i32(int64_t now, int64_t then) {
    const int64_t elapsed = elapsed_s(now, then);
    return elapsed > INT32_MAX   ? INT32_MAX
           : elapsed < INT32_MIN ? INT32_MIN
                                 : static_cast<int32_t>(elapsed);
}

// The same for unsigned counters: a clock that went back gives 0.
constexpr uint64_t elapsed_u64(int64_t now, int64_t then) {
    const int64_t elapsed = elapsed_s(now, then);
    return elapsed < 0 ? 0 : static_cast<uint64_t>(elapsed);
}
constexpr uint32_t elapsed_u32(int64_t now, int64_t then) {
    const uint64_t elapsed = elapsed_u64(now, then);
    return elapsed > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(elapsed);
}

// Difference of two readings: computed in 64 bits, of which the low 32 are kept.
constexpr int32_t difference_i32(int64_t a, int64_t b) {
    return low_i32(a - b);
}

}  // namespace cellwarden
