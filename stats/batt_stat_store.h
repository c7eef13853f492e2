// Loads and saves the statistics record.
#pragma once

#include "platform/device.h"
#include "platform/sysfs_params.h"
#include "state/batt_stat.h"
#include "state/service_state.h"

namespace cellwarden {

// Loads the stored record into `stat`, or resets `stat` if the stored record is unusable. Seeds the
// working state of soft charge from it. Logs nothing.
void init_batt_stat(const Device& device, ServiceState& state, BattStat& stat);

// Writes the record to its unit once a day of boot time, in every cycle of shutdown phase 4, and
// when last_learning_time has changed from a value other than 0. A failed write is logged and
// counts as a save.
void save_batt_stat_if_is_timing(const Device& device, ServiceState& state,
                                 const SysfsParams& snapshot, const BattStat& stat);

}  // namespace cellwarden
