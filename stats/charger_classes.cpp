#include "stats/charger_classes.h"

#include <array>

#include "core/elapsed.h"

namespace cellwarden {
namespace {

constexpr int32_t NO_CLASS = -1;

struct ClassRow {
    int32_t charger_type;
    int32_t max_wattage_uw;  // the row holds up to this wattage
    int32_t charger_class;
};

constexpr int32_t ANY_WATTAGE = INT32_MAX;

// The first row of the type whose wattage is not exceeded gives the class.
constexpr std::array CLASS_ROWS = {
    ClassRow{2, ANY_WATTAGE, 1},   ClassRow{3, ANY_WATTAGE, 3},   ClassRow{4, ANY_WATTAGE, 2},
    ClassRow{5, ANY_WATTAGE, 0},   ClassRow{6, ANY_WATTAGE, 5},   ClassRow{7, ANY_WATTAGE, 4},
    ClassRow{8, ANY_WATTAGE, 4},   ClassRow{9, ANY_WATTAGE, 4},   ClassRow{15, 20'000'000, 7},
    ClassRow{15, 30'000'000, 8},   ClassRow{15, 45'000'000, 9},   ClassRow{15, 65'000'000, 10},
    ClassRow{15, ANY_WATTAGE, 11}, ClassRow{16, 20'000'000, 7},   ClassRow{16, 30'000'000, 8},
    ClassRow{16, 45'000'000, 9},   ClassRow{16, 65'000'000, 10},  ClassRow{16, ANY_WATTAGE, 11},
    ClassRow{19, ANY_WATTAGE, 6},  ClassRow{21, ANY_WATTAGE, 13}, ClassRow{22, ANY_WATTAGE, 14},
};

}  // namespace

int32_t charger_class_of(int32_t charger_type, int32_t max_wattage_uw) {
    for (const ClassRow& row : CLASS_ROWS) {
        if (row.charger_type == charger_type && max_wattage_uw <= row.max_wattage_uw) {
            return row.charger_class;
        }
    }
    return NO_CLASS;
}

void update_charger_classes(ServiceState& state, BattStat& stat, const SysfsParams& snapshot) {
    StatUpdateMemory& memory = state.stat_update;
    const int32_t now_class = charger_class_of(param_integer(snapshot, PARAM_ACTIVE_CHARGER_TYPE),
                                               param_integer(snapshot, PARAM_CHARGER_MAX_WATTAGE));
    const int32_t soc = param_integer(snapshot, PARAM_BATT_SOC);
    if (now_class != NO_CLASS && now_class != memory.prev_charger_class) {
        stat.dev_attach[static_cast<size_t>(now_class)].dev_attach_count++;
    }
    if (memory.prev_charger_class != NO_CLASS) {
        DevAttachEntry& entry = stat.dev_attach[static_cast<size_t>(memory.prev_charger_class)];
        if (memory.class_start_time != 0) {
            entry.dev_attach_total_time +=
                elapsed_u32(state.cycle_boot_time, memory.class_start_time);
        }
        const int32_t gain = difference_i32(soc, memory.class_start_soc);
        if (gain > 0) {
            entry.dev_charge_count += static_cast<uint32_t>(gain);
        }
    }
    if (now_class != NO_CLASS) {
        memory.class_start_time = state.cycle_boot_time;
        memory.class_start_soc = soc;
    }
    memory.prev_charger_class = now_class;
}

}  // namespace cellwarden
