// The limited-charge hold of a device mode: keeps the battery's capacity between two limits with
// two switches of the charger driver.
#pragma once

#include <cstdint>

#include "platform/sysfs_params.h"
#include "state/service_state.h"

namespace cellwarden {

// States of the hold.
enum LrcState : int32_t {
    LRC_CHARGING = 0,
    LRC_HOLDING = 1,   // not charging, phone runs from the charger
    LRC_DRAINING = 2,  // charger input suspended, phone runs from the battery
};

// Returns the state after `state` at a capacity in %. From an unknown state, the hold drains above
// the upper limit and charges otherwise.
int32_t next_lrc_state(int32_t state, int32_t capacity, int32_t upper, int32_t lower);

// Updates the hold and sets the driver's switches that differ. Called in every full cycle while a
// hold is in force.
void control_lrc_mode(const Device& device, ServiceState& state, const SysfsParams& snapshot);

}  // namespace cellwarden
