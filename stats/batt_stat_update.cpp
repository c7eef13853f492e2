#include "stats/batt_stat_update.h"

#include "stats/capacity_history.h"
#include "stats/charge_counters.h"
#include "stats/charger_classes.h"
#include "stats/discharge_extremes.h"
#include "stats/soft_charge_history.h"
#include "stats/thermal_ranges.h"

namespace cellwarden {

void update_batt_stat(const Device& device, ServiceState& state, BattStat& stat,
                      const SysfsParams& snapshot) {
    const CycleClock& clock = state.clock;
    StatUpdateMemory& memory = state.stat_update;
    update_established_time(clock, stat);
    update_model_name(stat, snapshot);
    update_capacity_history(state, memory, stat, snapshot);
    update_charging_time(clock, memory, stat, snapshot);
    copy_usage_tables(state.usage, stat);
    update_smart_charge_time(clock, memory, stat, snapshot);
    update_warm_time(clock, memory, stat, snapshot);
    update_charger_classes(clock, memory, stat, snapshot);
    update_shutdown_count(memory, stat, snapshot);
    update_thermal_ranges(clock, memory, stat, snapshot);
    update_fast_charge_time(clock, memory, stat, snapshot);
    update_fast_charge_soc(device, memory, stat, snapshot);
    update_extremes(clock, stat, snapshot);
    update_discharge_time(clock, memory, stat, snapshot);
    update_shutdown_capacity(stat, snapshot);
    copy_soft_charge_history(state, stat);
    state.ageing.changed_periods = NO_PERIODS;
}

}  // namespace cellwarden
