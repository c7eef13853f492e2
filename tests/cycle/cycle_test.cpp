#include "cycle/cycle.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "platform/sysfs_io.h"
#include "platform/unit_store.h"
#include "support/phone.h"

namespace cellwarden {
namespace {

using namespace test;

TEST(Cycle, MasksSelectEverythingOrTheTwoThermalParameters) {
    const SysfsReadMask full = full_cycle_mask();
    const SysfsReadMask light = light_cycle_mask();
    for (uint32_t id = 0; id < SYSFS_PARAM_COUNT; id++) {
        EXPECT_NE(full[id], 0) << id;
        EXPECT_EQ(light[id] != 0, id == 49 || id == 78) << id;
    }
}

// A phone on which every rule has an effect: a hold that drains, a wrong ageing level, an online time
// that enters its second period, a charger inserted while the connector is hot, and all saves due.
struct Busy {
    ServiceState state{.clock = {.cycle_boot_time = 1000, .cycle_wall_time = 1'800'000'000},
                       .usage = {.online_time = 863'990},
                       .hold = {.lrc_hold_active = true, .lrc_upper_soc = 60, .lrc_lower_soc = 40},
                       .restore = {.restore_capacity_mah = 4400},
                       .soft_charge = {.last_soft_charge_boot_time = 990},
                       .insertion_removal_report = {.reported_thermal_level = 3},
                       .batt_degr2_report = {.last_reported_period = 0},
                       .passport = {.production_date_published = true, .first_usage_date_published = true}};
    BattStat stat{};
    ChgInsertionRemovalData connection;
    SysfsParams snapshot = snapshot_of({{PARAM_BATTERY_MODEL_NAME, 5},
                                        {PARAM_BATTERY_CHARGE_FULL_DESIGN, 4'480'000},
                                        {PARAM_BATT_SOC, 11'001},
                                        {PARAM_BATTERY_CAPACITY, 61},
                                        {PARAM_BATT_AGING_LEVEL, 3},
                                        {PARAM_USB_ONLINE, 1},
                                        {PARAM_SYSTEM_TEMP_LEVEL, 3},
                                        {PARAM_SYSTEM_TEMP_LEVEL_MAX, 3},
                                        {PARAM_BOOTUP_SHUTDOWN_PHASE, 4}});

    Busy() {
        for (const SysfsParamId id :
             {PARAM_LRC_INPUT_SUSPEND, PARAM_RESTORED_CAPACITY, PARAM_BATT_AGING_LEVEL, PARAM_BATTERY_CYCLE_COUNT,
              PARAM_BATTERY_CHARGE_FULL, PARAM_BATTERY_STATE_OF_HEALTH}) {
            write_attribute(id, "");
        }
    }
    void run() { run_full_cycle(device, state, stat, connection, snapshot, POLICY); }
};

TEST(Cycle, RulesRunInTheirOrder) {
    Busy busy;
    busy.run();
    const Calls order = {
        "write battchg_ext/lrc_input_suspend = 1",     // hold
        "write battchg_ext/restored_capacity = 4400",  // restored capacity
        "log <3>cellwarden: batt_soc is not valid (11001), ct_charge_table is not updated\n",
        "write battchg_ext/batt_aging_level = 0",  // soft charge
        "log <3>cellwarden: batt_soc is not valid (11001), rapid_charge_count is not updated\n",
        "write unit 2804",  // passport
        "write battery/cycle_count = 0",
        "write battery/charge_full = 4480000",
        "write unit 2805",
        "write battery/state_of_health = 100",
        "event BatteryDegradation2",
        "log <3>cellwarden: Sending ondra event for BatteryDegradation2\n",
        "event ChargerInsertionRemoval",
        "log <3>cellwarden: Sending ondra event for ChargerInsertionRemoval\n",
        "write unit 2491",
        "write unit 2319",
        "write unit 2310",
    };
    EXPECT_EQ(calls(), order);
    // The saved record contains the results of earlier rules.
    EXPECT_EQ(busy.stat.online_time, 864'000);
    EXPECT_EQ(phone.units[UNIT_BATT_STAT], bytes_of(busy.stat));
    EXPECT_EQ(phone.units[UNIT_HEAT_COUNT], "\1");
}

TEST(Cycle, ABatteryIsKnownByModelCapacityAndCharge) {
    const std::tuple<const char*, int32_t, int32_t, int32_t, bool> rows[] = {
        {"lowest known values", 2, 1, 1, true},      {"unknown model", 1, 1, 1, false},
        {"model compared unsigned", -1, 1, 1, true}, {"no design capacity", 5, 0, 1, false},
        {"empty battery", 5, 4'500'000, 0, false},
    };
    const Calls without_battery = {"write battchg_ext/lrc_input_suspend = 1",
                                   "event ChargerInsertionRemoval",
                                   "log <3>cellwarden: Sending ondra event for ChargerInsertionRemoval\n",
                                   "write unit 2491",
                                   "write unit 2319",
                                   "write unit 2310"};
    for (const auto& [name, model, full_design, soc, known] : rows) {
        phone = StandIn{};
        Busy busy;
        set_param(busy.snapshot, {PARAM_BATTERY_MODEL_NAME, model});
        set_param(busy.snapshot, {PARAM_BATTERY_CHARGE_FULL_DESIGN, full_design});
        set_param(busy.snapshot, {PARAM_BATT_SOC, soc});
        busy.run();
        EXPECT_EQ(busy.state.restore.restored_capacity_applied, known) << name;
        EXPECT_EQ(calls() == without_battery, !known) << name;
    }
}

TEST(Cycle, StartUpLoadsTheRecordsThenTheDeviceModes) {
    phone.units = {{UNIT_HEAT_COUNT, "\7"}, {UNIT_STARTUP_PROCESS, "\xAB"}};
    Busy busy;
    load_records(device, busy.state, busy.stat, busy.connection);
    EXPECT_EQ(calls(), (Calls{"read unit 2491 failed", "read unit 2319", "read unit 2310 failed", "read unit 2227",
                              "log <3>cellwarden: This phone is in startup process now, battery charge is limited.\n",
                              "read unit 66677 failed", "read unit 2312 failed"}));
    EXPECT_EQ(busy.state.heat.usb_connector_heat_count, 7);
    EXPECT_EQ(busy.state.restore.restore_capacity_mah, -1);
}

}  // namespace
}  // namespace cellwarden
