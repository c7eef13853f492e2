// Soft charge: the battery-care level, 0 to 5, higher for a more aged battery, that the charger
// driver is given. It is the maximum of three indicators of ageing, and serves one battery model.
#pragma once

#include "platform/sysfs_params.h"
#include "product/policy.h"
#include "state/service_state.h"

namespace cellwarden {

// One cycle of soft charge: online time and state of health in any case; with the model that it
// serves, and unless the override suspends it, usage grids, ageing models, levels, states of
// health, and the level to the driver where the driver does not report it already.
void control_soft_charge(const Device& device, ServiceState& state, const SysfsParams& snapshot,
                         const Policy& policy);

// --- usage_accounting.cpp: what soft charge counts before it judges: online time, the gauge's
// state of health, the time spent per voltage and temperature, and the charge put in per state of
// charge and temperature

// Adds the boot-clock time since the previous call of control_soft_charge; the first call after
// start-up adds nothing.
void update_online_time(UsageState& usage, const CycleClock& clock, const SoftChargeMemory& memory);

// Gauge full-charge capacity over design capacity, where both are known.
void update_soh(UsageState& usage, const SysfsParams& snapshot);

// Books the interval since the previous call into the voltage x temperature grid, and the charge
// put in since then into the state of charge x temperature grid and total_cycle_count. Both spread
// along the straight line between the two readings, in a time that grows with the cells crossed.
void update_usage_tables(const Device& device, ServiceState& state, const SysfsParams& snapshot,
                         const UsageBins& bins);

// --- soft_charge_levels.cpp: the three indicators of the battery-care level, each a level of its
// own. A level per ten-day period is decided by the first cycle of soft charge in that period and
// stays for the rest of it.

// Level 0 to 5 from the charge put in over life, in 0.01 % (10000 = one full charge).
int32_t soft_charge1_level_of(uint32_t total_cycle_count, const Policy& policy);

// Arrhenius level of this cycle; decides, stores and logs it where the period has none yet.
int32_t decide_arrhenius_level(const Device& device, LevelState& levels, const AgeingState& ageing,
                               int32_t online_time, const Policy& policy);

// Full-stay level of this cycle, 0 to 4, judged against the battery's measured capacity; decides
// and stores it where the period has none yet. Only while `soh` is known.
int32_t decide_full_stay_level(LevelState& levels, const AgeingState& ageing,
                               const UsageState& usage, const Policy& policy);

// --- soh_estimates.cpp: four state-of-health figures, in 0.001 % of design capacity, and the
// capacity the user is shown

// Raw (from the learned capacity), filtered (the gauge's), predicted (from the ageing models) and
// user state of health. The user's never rises, stays at 100 % for the first 21 full charges, and
// falls by at most 1 % of its value per ten-day period (2 % below 80 %), toward the filtered one
// scaled down for the soft-charge level of the previous cycle.
void update_soh_estimates(ServiceState& state, const SysfsParams& snapshot, const Policy& policy);

// Design capacity x user state of health, in uAh.
void update_user_charge_full(HealthState& health, const SysfsParams& snapshot);

}  // namespace cellwarden
