#include "stats/batt_stat_update.h"

namespace cellwarden {

void update_batt_stat(const Device& device, ServiceState& state, BattStat& stat,
                      const SysfsParams& snapshot) {
    const StatStep step{device, state, snapshot, state.stat_update, stat};
    update_established_time(step);
    update_model_name(step);
    update_capacity_history(step);
    update_charging_time(step);
    copy_usage_tables(state.usage, stat);
    update_smart_charge_time(step);
    update_warm_time(step);
    update_charger_classes(step);
    update_shutdown_count(step);
    update_thermal_ranges(step);
    update_fast_charge_time(step);
    update_fast_charge_soc(step);
    update_extremes(step);
    update_discharge_time(step);
    update_shutdown_capacity(step);
    copy_soft_charge_history(state, stat);
    state.ageing.changed_periods = NO_PERIODS;
}

}  // namespace cellwarden
