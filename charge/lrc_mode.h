// The limited-charge hold of a device mode: keeps the battery's capacity between two limits through
// two switches of the charger driver.
#pragma once

#include <cstdint>

#include "platform/sysfs_params.h"
#include "state/service_state.h"

namespace cellwarden {

// States of the hold.
enum LrcState : int32_t {
    LRC_CHARGING = 0,
    LRC_HOLDING = 1,   // not charged, runs from the charger
    LRC_DRAINING = 2,  // charger input suspended, runs from the battery
};

// The state that follows `state` at a capacity, all in per cent. A state outside the three drains
// above the upper limit and charges otherwise.
int32_t next_lrc_state(int32_t state, int32_t capacity, int32_t upper, int32_t lower);

// Moves the hold by one cycle and sets the driver's switches where they differ. Called in every
// full cycle while a hold is in force.
void control_lrc_mode(const Device& device, ServiceState& state, const SysfsParams& snapshot);

}  // namespace cellwarden
