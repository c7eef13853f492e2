// Seconds spent per range of the system's thermal mitigation level.
#pragma once

#include <cstdint>

#include "platform/sysfs_params.h"
#include "state/batt_stat.h"
#include "state/service_state.h"

namespace cellwarden {

// Range of a thermal level; -1 (above the last end) is booked nowhere.
int32_t thermal_range_of(int32_t system_temp_level);

void update_thermal_ranges(const CycleClock& clock, StatUpdateMemory& memory, BattStat& stat,
                           const SysfsParams& snapshot);

}  // namespace cellwarden
