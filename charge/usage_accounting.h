// The inputs of soft charge: online time, the gauge's state of health, the time per voltage and
// temperature, and the charge put in per state of charge and temperature.
#pragma once

#include "platform/sysfs_params.h"
#include "product/policy.h"
#include "state/service_state.h"

namespace cellwarden {

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

}  // namespace cellwarden
