// Soft charge: the battery-care level, 0 to 5, higher for a more aged battery, that the charger
// driver is given. It is the maximum of three indicators of ageing, and serves one battery model.
#pragma once

#include "platform/sysfs_params.h"
#include "state/service_state.h"

namespace cellwarden {

// One cycle of soft charge: online time and state of health in any case; with the model that it
// serves, and unless the override suspends it, usage grids, ageing models, levels, states of
// health, and the level to the driver where the driver does not report it already.
void control_soft_charge(const Device& device, ServiceState& state, const SysfsParams& snapshot);

}  // namespace cellwarden
