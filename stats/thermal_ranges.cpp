#include "stats/thermal_ranges.h"

#include <algorithm>

#include "product/limits.h"
#include "state/elapsed.h"
#include "state/wrapping.h"

namespace cellwarden {

void update_thermal_ranges(const CycleClock& clock, StatUpdateMemory& memory, BattStat& stat,
                           const SysfsParams& snapshot) {
    if (memory.thermal_sample_time != 0) {
        const int32_t seconds = elapsed_i32(clock.cycle_boot_time, memory.thermal_sample_time);
        const auto range = static_cast<size_t>(std::lower_bound(THERMAL_RANGE_ENDS.begin(),
                                                                THERMAL_RANGE_ENDS.end(),
                                                                memory.prev_system_temp_level) -
                                               THERMAL_RANGE_ENDS.begin());
        if (seconds >= 1 && range < THERMAL_RANGE_ENDS.size()) {
            wrapping_count(stat.thermal_range_stay_time[range], static_cast<uint32_t>(seconds));
        }
    }
    memory.prev_system_temp_level = param_integer(snapshot, PARAM_SYSTEM_TEMP_LEVEL);
    memory.thermal_sample_time = clock.cycle_boot_time;
}

}  // namespace cellwarden
