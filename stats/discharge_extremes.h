// Extremes of discharge current, cell voltage and temperature, each with the wall clock at which it
// was reached, and the time spent in heavy discharge. Currents are negative while discharging.
#pragma once

#include "core/service_state.h"
#include "platform/sysfs_params.h"
#include "stats/batt_stat.h"

namespace cellwarden {

void update_extremes(const ServiceState& state, BattStat& stat, const SysfsParams& snapshot);

// Seconds of heavy discharge by condition. An interval is booked by the readings of its later call,
// and only where neither of its calls was charging or full.
void update_discharge_time(ServiceState& state, BattStat& stat, const SysfsParams& snapshot);

}  // namespace cellwarden
