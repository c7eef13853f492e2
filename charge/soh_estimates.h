// Four states of health, in 0.001 % of design capacity, and the capacity that the user sees.
#pragma once

#include "platform/sysfs_params.h"
#include "product/policy.h"
#include "state/service_state.h"

namespace cellwarden {

// Updates the raw (from the learned capacity), filtered (from the gauge), predicted (from the
// ageing models) and user's state of health. The user's never rises and is 100 % for the first 21
// full charges. Then it falls by at most 1 % of its value per ten-day period (2 % below 80 %)
// toward the filtered value times the factor of the previous cycle's soft-charge level.
void update_soh_estimates(ServiceState& state, const SysfsParams& snapshot, const Policy& policy);

// Returns design capacity x user's state of health, in uAh.
void update_user_charge_full(HealthState& health, const SysfsParams& snapshot);

}  // namespace cellwarden
