// Brings the statistics record up to date, once per full cycle with a known battery, right after
// soft charge.
#pragma once

#include "platform/sysfs_params.h"
#include "state/batt_stat.h"
#include "state/service_state.h"

namespace cellwarden {

// Counters wrap at their width. An interval or a gain is booked by the readings of its earlier call
// unless a step says otherwise, so the first call after start-up books none.
void update_batt_stat(const Device& device, ServiceState& state, BattStat& stat,
                      const SysfsParams& snapshot);

}  // namespace cellwarden
