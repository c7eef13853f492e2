// Two duties of charge control at start-up: the device modes that other components ask for through
// units of the persistent store, and the learned capacity that the driver is handed back.
#pragma once

#include "platform/device.h"
#include "state/service_state.h"

namespace cellwarden {

// Reads the units of the device modes: start-up process and camera calibration put a limited-charge
// hold in force (the latter's limits win), charge disable suspends the charger's input for good. A
// unit that cannot be read counts as mode not set.
void handle_tessera(const Device& device, ServiceState& state);

// Writes the pending learned capacity (mAh), if any, to the driver; it counts as handed over even
// where the write failed.
void set_restored_capacity(const Device& device, ServiceState& state);

}  // namespace cellwarden
