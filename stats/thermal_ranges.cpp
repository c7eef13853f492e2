#include <algorithm>

#include "state/elapsed.h"
#include "state/wrapping.h"
#include "stats/batt_stat_update.h"

namespace cellwarden {

void update_thermal_ranges(const StatStep& step) {
    const auto& [device, state, snapshot, memory, stat] = step;
    const auto* const range = std::lower_bound(THERMAL_RANGE_ENDS.begin(), THERMAL_RANGE_ENDS.end(),
                                               memory.prev_system_temp_level);
    const int32_t seconds = elapsed_i32(state.clock.cycle_boot_time, memory.thermal_sample_time);
    if (memory.thermal_sample_time != 0 && seconds >= 1 && range != THERMAL_RANGE_ENDS.end()) {
        const auto i = static_cast<size_t>(range - THERMAL_RANGE_ENDS.begin());
        wrapping_count(stat.thermal_range_stay_time[i], static_cast<uint32_t>(seconds));
    }
    memory.prev_system_temp_level = param_integer(snapshot, PARAM_SYSTEM_TEMP_LEVEL);
    memory.thermal_sample_time = state.clock.cycle_boot_time;
}

}  // namespace cellwarden
