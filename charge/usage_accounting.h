// What soft charge counts before it judges: online time, the gauge's state of health, the time
// spent per voltage and temperature, and the charge put in per state of charge and temperature.
#pragma once

#include "platform/sysfs_params.h"
#include "product/policy.h"
#include "state/service_state.h"

namespace cellwarden {

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

}  // namespace cellwarden
