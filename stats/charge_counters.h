// Times and charge by the way the battery is charged, and what happens at shutdown.
#pragma once

#include "platform/sysfs_params.h"
#include "state/batt_stat.h"
#include "state/service_state.h"

namespace cellwarden {

// Seconds charging or full while the phone was off (boot phase 1) or on (3).
void update_charging_time(ServiceState& state, BattStat& stat, const SysfsParams& snapshot);

// Seconds with smart charging active.
void update_smart_charge_time(ServiceState& state, BattStat& stat, const SysfsParams& snapshot);

// Seconds with battery health "Warm".
void update_warm_time(ServiceState& state, BattStat& stat, const SysfsParams& snapshot);

// Seconds charging at 0.8C or more, else at 0.6C or more, at both ends of the interval.
void update_fast_charge_time(ServiceState& state, BattStat& stat, const SysfsParams& snapshot);

// State of charge gained likewise. An invalid state of charge is logged and skipped.
void update_fast_charge_soc(const Device& device, ServiceState& state, BattStat& stat,
                            const SysfsParams& snapshot);

// Shutdowns (phase 4 entered) with the battery empty.
void update_shutdown_count(ServiceState& state, BattStat& stat, const SysfsParams& snapshot);

// Capacity in the shutdown phase, low 8 bits.
void update_shutdown_capacity(BattStat& stat, const SysfsParams& snapshot);

}  // namespace cellwarden
