// Two duties of charge control at start-up: the device modes that other components ask for through
// units of the persistent store, and the learned capacity that the driver is handed back.
#pragma once

#include <cstdint>

#include "platform/sysfs_params.h"
#include "state/service_state.h"

namespace cellwarden {

// Reads the units of the device modes: start-up process and camera calibration put a limited-charge
// hold in force (the latter's limits win), charge disable suspends the charger's input for good. A
// unit that cannot be read counts as mode not set.
void handle_tessera(const Device& device, ServiceState& state);

// Writes the pending learned capacity (mAh), if any, to the driver; it counts as handed over even
// where the write failed.
void set_restored_capacity(const Device& device, ServiceState& state);

// --- lrc_mode.cpp: the limited-charge hold of a device mode, which keeps the battery's capacity
// between two limits through two switches of the charger driver

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
