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

// --- usage_accounting.cpp: the inputs of soft charge: online time, the gauge's state of health,
// the time per voltage and temperature, and the charge put in per state of charge and temperature

// Adds the boot-clock time since the previous call of control_soft_charge; the first call after
// start-up adds nothing.
void update_online_time(UsageState& usage, const CycleClock& clock, const SoftChargeMemory& memory);

// Sets the state of health to the gauge's full-charge capacity over the design capacity, if both
// are known.
void update_soh(UsageState& usage, const SysfsParams& snapshot);

// Books the time since the previous call into the voltage x temperature grid, and the charge put in
// since then into the state of charge x temperature grid and total_cycle_count. Both are
// distributed along the straight line between the two readings; the run time grows with the number
// of crossed cells.
void update_usage_tables(const Device& device, ServiceState& state, const SysfsParams& snapshot,
                         const UsageBins& bins);

// --- soft_charge_levels.cpp: the three indicators of the battery-care level, each a level. The
// first cycle of soft charge in a ten-day period decides the period's level, which then does not
// change.

// Returns a level of 0 to 5 from the charge put in over life, in 0.01 % (10000 = one full charge).
int32_t soft_charge1_level_of(uint32_t total_cycle_count, const Policy& policy);

// Returns the Arrhenius level of this cycle. Decides, stores and logs it if the period has no level
// yet.
int32_t decide_arrhenius_level(const Device& device, LevelState& levels, const AgeingState& ageing,
                               int32_t online_time, const Policy& policy);

// Returns the full-stay level of this cycle, 0 to 4, which depends on the measured capacity.
// Decides and stores it if the period has no level yet. Requires a known `soh`.
int32_t decide_full_stay_level(LevelState& levels, const AgeingState& ageing,
                               const UsageState& usage, const Policy& policy);

// --- soh_estimates.cpp: four states of health, in 0.001 % of design capacity, and the capacity
// that the user sees

// Updates the raw (from the learned capacity), filtered (from the gauge), predicted (from the
// ageing models) and user's state of health. The user's never rises and is 100 % for the first 21
// full charges. Then it falls by at most 1 % of its value per ten-day period (2 % below 80 %)
// toward the filtered value times the factor of the previous cycle's soft-charge level.
void update_soh_estimates(ServiceState& state, const SysfsParams& snapshot, const Policy& policy);

// Sets `user_charge_full` to design capacity x user's state of health, in uAh.
void update_user_charge_full(HealthState& health, const SysfsParams& snapshot);

}  // namespace cellwarden
