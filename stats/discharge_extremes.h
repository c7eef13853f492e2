// Extremes of discharge current, cell voltage and temperature, each with the wall clock at which it
// was reached, and the time spent in heavy discharge. Currents are negative while discharging.
#pragma once

#include <array>
#include <cstdint>

#include "platform/sysfs_params.h"
#include "product/limits.h"
#include "state/batt_stat.h"
#include "state/service_state.h"

namespace cellwarden {

// In the order of max_discharge_time and of DISCHARGE_MAXIMA_LIMITS.
inline constexpr std::array<uint16_t BattStat::*, DISCHARGE_MAXIMA_LIMITS.size()> DISCHARGE_MAXIMA =
    {&BattStat::max_discharge_current, &BattStat::max_dischg_cur_3500mv_10c,
     &BattStat::max_dischg_cur_3500mv_5c, &BattStat::max_dischg_cur_3500mv_0c};

void update_extremes(const CycleClock& clock, BattStat& stat, const SysfsParams& snapshot);

// Seconds of heavy discharge by condition. An interval is booked by the readings of its later call,
// and only where neither of its calls was charging or full.
void update_discharge_time(const CycleClock& clock, StatUpdateMemory& memory, BattStat& stat,
                           const SysfsParams& snapshot);

}  // namespace cellwarden
