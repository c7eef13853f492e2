// Charge control at start-up: the device modes that other components request through units of the
// persistent store, and the learned capacity, which is restored to the driver.
#pragma once

#include "platform/device.h"
#include "state/service_state.h"

namespace cellwarden {

// Reads the units of the device modes. Start-up process and camera calibration start a
// limited-charge hold (camera calibration's limits win); charge disable suspends the charger's
// input permanently. If a unit cannot be read, its mode is not set.
void handle_tessera(const Device& device, ServiceState& state);

// Writes the pending learned capacity (mAh), if any, to the driver once, even if the write fails.
void set_restored_capacity(const Device& device, ServiceState& state);

}  // namespace cellwarden
