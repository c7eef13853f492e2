// Seconds spent per range of the system's thermal mitigation level.
#pragma once

#include <cstdint>

#include "platform/sysfs_params.h"
#include "state/batt_stat.h"
#include "state/service_state.h"

namespace cellwarden {

// The time since the previous call is booked to the range of that call's level; levels above the
// last range are booked nowhere.
void update_thermal_ranges(const CycleClock& clock, StatUpdateMemory& memory, BattStat& stat,
                           const SysfsParams& snapshot);

}  // namespace cellwarden
