// What soft charge counts before it judges: online time, the gauge's state of health, the time
// spent per voltage and temperature, and the charge put in per state of charge and temperature.
#pragma once

#include <cstdint>

#include "core/service_state.h"
#include "platform/sysfs_params.h"

namespace cellwarden {

// Bins of the two grids: bin i holds the readings above its threshold i and not above threshold
// i - 1; the last bin holds the rest.
int32_t temperature_bin(int32_t temperature_decic);  // 0 (above 60.0 degC) to 15 (-10.0 or less)
int32_t voltage_bin(int32_t voltage_uv);             // 0 (above 4.54 V) to 41 (3.0 V or less)
int32_t soc_bin(int32_t soc);  // 0 (above 90 %) to 9 (10 % or less), in 0.01 %

// Adds the boot-clock time since the previous call of control_soft_charge; the first call after
// start-up adds nothing.
void update_online_time(ServiceState& state);

// Gauge full-charge capacity over design capacity, where both are known.
void update_soh(ServiceState& state, const SysfsParams& snapshot);

// Books the interval since the previous call into the voltage x temperature grid, and the charge
// put in since then into the state of charge x temperature grid and total_cycle_count. Both spread
// along the straight line between the two readings, in a time that grows with the cells crossed.
void update_usage_tables(ServiceState& state, const SysfsParams& snapshot);

}  // namespace cellwarden
