// Seconds spent per range of the system's thermal mitigation level.
#pragma once

#include <array>
#include <cstdint>

#include "platform/sysfs_params.h"
#include "state/batt_stat.h"
#include "state/service_state.h"

namespace cellwarden {

// Highest level of each range, in the order of thermal_range_stay_time.
inline constexpr std::array<int32_t, 4> THERMAL_RANGE_ENDS = {0, 12, 13, 14};

// Range of a thermal level; -1 (above the last end) is booked nowhere.
int32_t thermal_range_of(int32_t system_temp_level);

void update_thermal_ranges(ServiceState& state, BattStat& stat, const SysfsParams& snapshot);

}  // namespace cellwarden
