// Charge control at start-up: the device modes that other components request through units of the
// persistent store, and the learned capacity, which is restored to the driver.
#pragma once

#include <cstdint>

#include "platform/sysfs_params.h"
#include "state/service_state.h"

namespace cellwarden {

// Reads the units of the device modes. Start-up process and camera calibration start a
// limited-charge hold (camera calibration's limits win); charge disable suspends the charger's
// input permanently. If a unit cannot be read, its mode is not set.
void handle_tessera(const Device& device, ServiceState& state);

// Writes the pending learned capacity (mAh), if any, to the driver once, even if the write fails.
void set_restored_capacity(const Device& device, ServiceState& state);

// --- lrc_mode.cpp: the limited-charge hold of a device mode, which keeps the battery's capacity
// between two limits with two switches of the charger driver

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
