// A random number generator with the same results on every machine and with every library.
#pragma once

#include <cstdint>

#include "state/wrapping.h"

namespace cellwarden::lifetime {

struct Random {
    uint64_t state;
};

// Returns a number in [0, 1).
inline double next_share(Random& random) {
    random.state = wrapping_add(random.state, 0x9E3779B97F4A7C15);
    uint64_t bits = random.state;
    bits = wrapping_mul(bits ^ (bits >> 30), 0xBF58476D1CE4E5B9);
    bits = wrapping_mul(bits ^ (bits >> 27), 0x94D049BB133111EB);
    bits ^= bits >> 31;
    return static_cast<double>(bits >> 11) * 0x1p-53;
}

// Returns a number in [-width, width).
inline double next_spread(Random& random, double width) {
    return (2 * next_share(random) - 1) * width;
}

}  // namespace cellwarden::lifetime
