// Identity of the battery and the history of its capacity.
#pragma once

#include "platform/sysfs_params.h"
#include "state/batt_stat.h"
#include "state/service_state.h"

namespace cellwarden {

// Sets `initialized_time`, once, to the wall clock of this boot: when the wall clock is set and the
// record (as of the previous call) holds 0.3 full charges or more.
void update_established_time(const CycleClock& clock, BattStat& stat);

// Fills in the model's name while it is empty: at most 15 characters, then zeros.
void update_model_name(BattStat& stat, const SysfsParams& snapshot);

// A changed learning counter counts as that many learning events; it, or a changed soft-charge
// level, shifts both capacity histories by one.
void update_capacity_history(const ServiceState& state, StatUpdateMemory& memory, BattStat& stat,
                             const SysfsParams& snapshot);

}  // namespace cellwarden
