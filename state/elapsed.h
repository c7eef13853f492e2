// Differences of times and readings with explicit widths. No input overflows.
#pragma once

#include <cstdint>

#include "state/wrapping.h"

namespace cellwarden {

// Returns the seconds from `then` to `now`, negative if the clock went back. A difference beyond 64
// bits returns the nearest limit.
constexpr int64_t elapsed_s(int64_t now, int64_t then) {
    int64_t difference = 0;
    if (__builtin_sub_overflow(now, then, &difference)) {
        return now < then ? INT64_MIN : INT64_MAX;
    }
    return difference;
}

// Returns the same as a signed 32-bit number, limited to its range.
constexpr int32_t elapsed_i32(int64_t now, int64_t then) {
    const int64_t elapsed = elapsed_s(now, then);
    return elapsed > INT32_MAX   ? INT32_MAX
           : elapsed < INT32_MIN ? INT32_MIN
                                 : static_cast<int32_t>(elapsed);
}

// Returns the same for unsigned counters; 0 if the clock went back.
constexpr uint64_t elapsed_u64(int64_t now, int64_t then) {
    const int64_t elapsed = elapsed_s(now, then);
    return elapsed < 0 ? 0 : static_cast<uint64_t>(elapsed);
}
constexpr uint32_t elapsed_u32(int64_t now, int64_t then) {
    const uint64_t elapsed = elapsed_u64(now, then);
    return elapsed > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(elapsed);
}

// Returns the low 32 bits of the difference of two readings, computed in 64 bits.
constexpr int32_t difference_i32(int64_t a, int64_t b) {
    return low_i32(a - b);
}

}  // namespace cellwarden
