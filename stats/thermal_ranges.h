// Seconds spent per range of the system's thermal mitigation level.
#pragma once

#include <cstdint>

#include "core/service_state.h"
#include "platform/sysfs_params.h"
#include "stats/batt_stat.h"

namespace cellwarden {

// Range of a thermal level: 0 (level 0 or less), 1 (1 to 12), 2 (13), 3 (14); -1 (15 or more) is
// booked nowhere.
int32_t thermal_range_of(int32_t system_temp_level);

void update_thermal_ranges(ServiceState& state, BattStat& stat, const SysfsParams& snapshot);

}  // namespace cellwarden
