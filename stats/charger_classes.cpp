#include "state/elapsed.h"
#include "state/wrapping.h"
#include "stats/batt_stat_update.h"

namespace cellwarden {
int32_t charger_class_of(int32_t charger_type, int32_t max_wattage_uw) {
    for (const ChargerClassRow& row : CHARGER_CLASS_ROWS) {
        if (row.charger_type == charger_type && max_wattage_uw <= row.max_wattage_uw) {
            return row.charger_class;
        }
    }
    return NOT_KNOWN;
}

void update_charger_classes(const StatStep& step) {
    const auto& [device, state, snapshot, memory, stat] = step;
    const int32_t now_class = charger_class_of(param_integer(snapshot, PARAM_ACTIVE_CHARGER_TYPE),
                                               param_integer(snapshot, PARAM_CHARGER_MAX_WATTAGE));
    const int32_t soc = param_integer(snapshot, PARAM_BATT_SOC);
    if (now_class != NOT_KNOWN && now_class != memory.prev_charger_class) {
        wrapping_count(stat.dev_attach[static_cast<size_t>(now_class)].dev_attach_count);
    }
    if (memory.prev_charger_class != NOT_KNOWN) {
        DevAttachEntry& entry = stat.dev_attach[static_cast<size_t>(memory.prev_charger_class)];
        if (memory.class_start_time != 0) {
            wrapping_count(entry.dev_attach_total_time,
                           elapsed_u32(state.clock.cycle_boot_time, memory.class_start_time));
        }
        const int32_t gain = difference_i32(soc, memory.class_start_soc);
        if (gain > 0) {
            wrapping_count(entry.dev_charge_count, static_cast<uint32_t>(gain));
        }
    }
    if (now_class != NOT_KNOWN) {
        memory.class_start_time = state.clock.cycle_boot_time;
        memory.class_start_soc = soc;
    }
    memory.prev_charger_class = now_class;
}

}  // namespace cellwarden
