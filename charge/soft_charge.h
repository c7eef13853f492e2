// Soft charge: the battery-care level for the charger driver, 0 to 5, higher for a more aged
// battery. It is the maximum of three indicators of ageing. Soft charge serves one battery model.
#pragma once

#include "platform/sysfs_params.h"
#include "product/policy.h"
#include "state/service_state.h"

namespace cellwarden {

// Runs a cycle of soft charge. Always updates online time and state of health. With the served
// model, and unless the override suspends it, also updates usage grids, ageing models, levels and
// states of health, and writes the level to the driver if the driver reports another one.
void control_soft_charge(const Device& device, ServiceState& state, const SysfsParams& snapshot,
                         const Policy& policy);

}  // namespace cellwarden
