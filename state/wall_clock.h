// Whether the phone's wall clock can be believed.
#pragma once

#include <cstdint>

#include "state/service_state.h"

namespace cellwarden {

// The wall clock is taken for set from 2017-01-01 00:00:00 UTC on.
inline bool wall_clock_is_set(const ServiceState& state) {
    constexpr int64_t FIRST_VALID_WALL_TIME = 1'483'228'800;
    return state.cycle_wall_time >= FIRST_VALID_WALL_TIME;
}

}  // namespace cellwarden
