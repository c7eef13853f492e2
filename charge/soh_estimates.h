// Four state-of-health figures, in 0.001 % of design capacity, and the capacity the user is shown.
#pragma once

#include "platform/sysfs_params.h"
#include "product/policy.h"
#include "state/service_state.h"

namespace cellwarden {

// Raw (from the learned capacity), filtered (the gauge's), predicted (from the ageing models) and
// user state of health. The user's never rises, stays at 100 % for the first 21 full charges, and
// falls by at most 1 % of its value per ten-day period (2 % below 80 %), toward the filtered one
// scaled down for the soft-charge level of the previous cycle.
void update_soh_estimates(ServiceState& state, const SysfsParams& snapshot, const Policy& policy);

// Design capacity x user state of health, in uAh.
void update_user_charge_full(HealthState& health, const SysfsParams& snapshot);

}  // namespace cellwarden
