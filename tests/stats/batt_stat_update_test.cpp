#include "stats/batt_stat_update.h"

#include <gtest/gtest.h>

#include "stats/update_rows.h"

namespace cellwarden {
namespace {

using namespace test;

// Three calls in which every step has an effect; values that a step takes from another one show their order.
TEST(BattStatUpdate, RunsEveryStepOnce) {
    const SysfsParams snapshot = snapshot_of({{PARAM_BATTERY_MODEL_NAME, "K"},
                                              {PARAM_BATTERY_STATUS, "Charging"},
                                              {PARAM_BATTERY_HEALTH, "Warm"},
                                              {PARAM_BATTERY_TEMP, 250},
                                              {PARAM_BATTERY_CAPACITY, -1},
                                              {PARAM_BATTERY_CURRENT_NOW, -3'001'000},
                                              {PARAM_BATTERY_CHARGE_FULL_DESIGN, -9'000'000},
                                              {PARAM_BATT_SOC, 5000},
                                              {PARAM_BOOTUP_SHUTDOWN_PHASE, 3},
                                              {PARAM_SMART_CHARGING_STATUS, 1},
                                              {PARAM_ACTIVE_CHARGER_TYPE, 7},
                                              {PARAM_VCELL_MAX, 4480},
                                              {PARAM_LEARNING_COUNTER, 1}});
    ServiceState state{.clock = {.cycle_boot_time = FIRST_CALL, .cycle_wall_time = WALL - 60},
                       .usage = {.online_time = 500, .soh = 94'999, .total_cycle_count = 3000},
                       .levels = {.soft_charge_mode = 2}};
    state.levels.arrhenius_lv.fill(255);
    state.levels.full_stay_capacity_degradation_aging_lv.fill(255);
    state.health.latest_raw_soh = 90'000;
    BattStat stat;
    reset_batt_stat(stat);
    BattStat before = stat;
    update_batt_stat(device, state, stat, snapshot);
    EXPECT_EQ(changes(before, stat),
              "learning_total_count=1 battery_model_name[0]=75 online_time=500 last_learning_time=4294967243 "
              "latest_raw_soh=45000 first_soh_time[0]=4294967243 soft_charge_mode=2 total_cycle_count=3000 "
              "max_discharge_current=3001 max_temp=250 max_discharge_time[0]=4294967243 max_temp_time=4294967243 "
              "max_cell_voltage=4480 max_cell_voltage_time=4294967243 dev_attach[4].count=1 "
              "raw_soh_per_10days[0]=45000");
    before = stat;
    SysfsParams later = snapshot;
    set_param(later, {PARAM_BATTERY_STATUS, "Discharging"});
    set_param(later, {PARAM_BATT_SOC, 5010});
    set_param(later, {PARAM_BOOTUP_SHUTDOWN_PHASE, 4});
    state.levels.soft_charge_mode = 3;
    for (int call = 0; call < 2; call++) {
        state.clock.cycle_boot_time += 60;
        state.clock.cycle_wall_time = WALL;
        update_batt_stat(device, state, stat, later);
    }
    EXPECT_EQ(changes(before, stat),
              "initialized_time=4294966243 shutdown_capacity=255 soft_charge_mode=3 soc0_shutdown_cnt=1 "
              "on_charge_total_time=60 smart_charge_mode_total_time=120 jeita_warm_total_time=120 "
              "thermal_range_stay_time[0]=120 over_08c_total_time=120 over_08c_charge_count=10 min_temp=250 "
              "min_temp_time=7 total_discharge_time[0]=60 total_discharge_time[1]=60 dev_attach[4].total_time=120 "
              "dev_attach[4].charge_count=10");
}

}  // namespace
}  // namespace cellwarden
