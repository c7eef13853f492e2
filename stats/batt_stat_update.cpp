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
    update_established_time(state, stat);
    update_model_name(stat, snapshot);
    update_capacity_history(state, stat, snapshot);
    update_charging_time(state, stat, snapshot);
    copy_usage_tables(state, stat);
    update_smart_charge_time(state, stat, snapshot);
    update_warm_time(state, stat, snapshot);
    update_charger_classes(state, stat, snapshot);
    update_shutdown_count(state, stat, snapshot);
    update_thermal_ranges(state, stat, snapshot);
    update_fast_charge_time(state, stat, snapshot);
    update_fast_charge_soc(device, state, stat, snapshot);
    update_extremes(state, stat, snapshot);
    update_discharge_time(state, stat, snapshot);
    update_shutdown_capacity(stat, snapshot);
    copy_soft_charge_history(state, stat);
    state.changed_periods = NO_PERIODS;
}

}  // namespace cellwarden
