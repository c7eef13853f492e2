#include "stats/thermal_ranges.h"

#include "product/limits.h"
#include "state/elapsed.h"
#include "state/wrapping.h"

namespace cellwarden {

int32_t thermal_range_of(int32_t system_temp_level) {
    for (size_t range = 0; range < THERMAL_RANGE_ENDS.size(); range++) {
        if (system_temp_level <= THERMAL_RANGE_ENDS[range]) {
            return static_cast<int32_t>(range);
        }
    }
    return NOT_KNOWN;
}

void update_thermal_ranges(const CycleClock& clock, StatUpdateMemory& memory, BattStat& stat,
                           const SysfsParams& snapshot) {
    if (memory.thermal_sample_time != 0) {
        const int32_t seconds = elapsed_i32(clock.cycle_boot_time, memory.thermal_sample_time);
        const int32_t range = thermal_range_of(memory.prev_system_temp_level);
        if (seconds >= 1 && range >= 0) {
            wrapping_count(stat.thermal_range_stay_time[static_cast<size_t>(range)],
                           static_cast<uint32_t>(seconds));
        }
    }
    memory.prev_system_temp_level = param_integer(snapshot, PARAM_SYSTEM_TEMP_LEVEL);
    memory.thermal_sample_time = clock.cycle_boot_time;
}

}  // namespace cellwarden
