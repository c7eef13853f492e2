// Loading the statistics record into the working state, and saving it.
#pragma once

#include "platform/device.h"
#include "platform/sysfs_params.h"
#include "state/batt_stat.h"
#include "state/service_state.h"

namespace cellwarden {

// Loads the record, or resets it, and seeds the working state of soft charge from it. Logs nothing.
void init_batt_stat(const Device& device, ServiceState& state, BattStat& stat);

// Writes the record to its unit once a day of boot time, in every cycle of shutdown phase 4, and
// when a capacity-learning event has come after the one first seen. A write that fails is logged
// and counts as a save.
void save_batt_stat_if_is_timing(const Device& device, ServiceState& state,
                                 const SysfsParams& snapshot, const BattStat& stat);

}  // namespace cellwarden
