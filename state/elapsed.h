// Differences of times and readings with explicit widths. No input overflows.
#pragma once

#include <algorithm>
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
    return static_cast<int32_t>(std::clamp<int64_t>(elapsed_s(now, then), INT32_MIN, INT32_MAX));
}

// Returns the same for unsigned counters; 0 if the clock went back.
constexpr uint64_t elapsed_u64(int64_t now, int64_t then) {
    return static_cast<uint64_t>(std::max<int64_t>(elapsed_s(now, then), 0));
}
constexpr uint32_t held_u32(uint64_t seconds) {
    return static_cast<uint32_t>(std::min<uint64_t>(seconds, UINT32_MAX));
}
constexpr uint32_t elapsed_u32(int64_t now, int64_t then) {
    return held_u32(elapsed_u64(now, then));
}

// Returns the low 32 bits of the difference of two readings, computed in 64 bits.
constexpr int32_t difference_i32(int64_t a, int64_t b) {
    return low_i32(a - b);
}

}  // namespace cellwarden
