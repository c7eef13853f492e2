// Identity, capacity history and the counters of how the battery is charged.
#include <algorithm>
#include <string>

#include "stats/calls.h"
#include "stats/capacity_history.h"
#include "stats/charger_classes.h"
#include "support/phone.h"

namespace cellwarden {
namespace {

using namespace test;

TEST(BattStatUpdate, EstablishedTimeIsTheBootAfterTheFirstCharge) {
    const struct {
        const char* name;
        uint32_t stored_count, working_count;
        int calls;
        int64_t wall_at_boot;
        uint64_t stored, expected;
    } rows[] = {
        {"enough charge", 3000, 0, 1, WALL_AT_BOOT, 0, WALL_AT_BOOT},
        {"a unit less", 2999, 0, 1, WALL_AT_BOOT, 0, 0},
        {"enough only as of this call", 0, 3000, 1, WALL_AT_BOOT, 0, 0},
        {"enough as of the call before", 0, 3000, 2, WALL_AT_BOOT, 0, WALL_AT_BOOT},
        {"first second of a set clock", 3000, 0, 1, 1'483'228'790, 0, 1'483'228'790},
        {"last second of an unset clock", 3000, 0, 1, 1'483'228'789, 0, 0},
        {"set for good", 3000, 0, 1, WALL_AT_BOOT, 77, 77},
    };
    for (const auto& row : rows) {
        Battery battery;
        battery.stat.total_cycle_count = row.stored_count;
        battery.stat.initialized_time = row.stored;
        battery.state.total_cycle_count = row.working_count;
        battery.wall_at_boot = row.wall_at_boot;
        for (int call = 0; call < row.calls; call++) {
            battery.call(10);
        }
        EXPECT_EQ(battery.stat.initialized_time, row.expected) << row.name;
    }
}

TEST(BattStatUpdate, ModelNameIsFilledInOnce) {
    const struct {
        const char* name;
        std::string stored;
        const char* text;
        std::string expected;
    } rows[] = {
        {"remains are wiped", std::string("\0bcdefghijklmnop", 16), "VOSKA", "VOSKA"},
        {"16 characters", "", "1234567890123456", "123456789012345"},
        {"a stored name stays", "KIRO", "PELLAMIR_VOSKA", "KIRO"},
    };
    for (const auto& row : rows) {
        Battery battery;
        std::copy(row.stored.begin(), row.stored.end(), battery.stat.battery_model_name.begin());
        set_param(battery.snapshot, {PARAM_BATTERY_MODEL_NAME, row.text});
        battery.call(10);
        std::array<char, 16> expected{};
        std::copy(row.expected.begin(), row.expected.end(), expected.begin());
        EXPECT_EQ(battery.stat.battery_model_name, expected) << row.name;
    }
}

TEST(BattStatUpdate, CapacityHistoryShiftsWithLearningsAndLevels) {
    // Learnings, seconds from boot to the latest, the newest capacities, the same as learned.
    check_calls({PARAM_LEARNING_COUNTER, MODE, PARAM_QCOM_CHARGE_FULL, PARAM_LEARNED_CAPACITY},
                {
                    {"no learning", {{10, 0, 2, 4'480'999, 4400}, {20}}, {0, 0, 0, 0, 0, 0}},
                    {"first call", {{10, 3, 2, 4'480'999, 4400}, {20}}, {3, 10, 4480, 0, 4400, 0}},
                    {"two more", {{10, 3, 2, 1000, 2}, {30, 5, 2, 3999, 4}, {40}}, {5, 30, 3, 1, 4, 2}},
                    {"new level", {{10, 0, 2, 1000, 2}, {20}, {30, 0, 3}, {40}}, {0, 0, 1, 0, 2, 0}},
                    {"level becomes known", {{10, 0, -1, 1000, 2}, {20, 0, 3}}, {0, 0, 0, 0, 0, 0}},
                    {"both at once", {{10, 0, 2, 1000, 2}, {20, 5, 3}, {30}}, {5, 20, 1, 0, 2, 0}},
                    {"16 bits are kept", {{10, 1, 2, 66'000'999, 70'000}}, {1, 10, 464, 0, 4464, 0}},
                },
                [](const BattStat& stat) {
                    const uint64_t learned = stat.last_learning_time;
                    const int64_t since_boot = static_cast<int64_t>(learned) - WALL_AT_BOOT;
                    return Figures{stat.learning_total_count, learned == 0 ? 0 : since_boot, stat.fcc_mah[0],
                                   stat.fcc_mah[1],           stat.fcc_mah_raw[0],           stat.fcc_mah_raw[1]};
                });

    ServiceState state;
    BattStat stat{};
    stat.fcc_mah = {1, 2, 3, 4, 5};
    stat.fcc_mah_raw = {10, 20, 30, 40, 50};
    update_capacity_history(state, stat, snapshot_of({{PARAM_LEARNING_COUNTER, 1}}));
    EXPECT_EQ(stat.fcc_mah, (std::array<uint16_t, 5>{0, 1, 2, 3, 4}));
    EXPECT_EQ(stat.fcc_mah_raw, (std::array<uint16_t, 5>{0, 10, 20, 30, 40}));
}

TEST(BattStatUpdate, TimesByTheEarlierCall) {
    // Seconds of charging with the phone off and on, of smart charging, of a warm battery.
    check_calls({PARAM_BATTERY_STATUS, PARAM_BOOTUP_SHUTDOWN_PHASE, PARAM_SMART_CHARGING_STATUS, PARAM_BATTERY_HEALTH},
                {
                    {"first call", {{100, 1, 1, 1, 1}}, {0, 0, 0, 0}},
                    {"off", {{100, 1, 1, 0, 0}, {160, 0, 3}, {200}}, {60, 0, 0, 0}},
                    {"on, charging then full", {{100, 1, 3, 0, 0}, {160, 2}, {200, 0}}, {0, 100, 0, 0}},
                    {"again after a pause", {{100, 2, 3, 0, 0}, {160, 0}, {900, 1}, {901}}, {0, 61, 0, 0}},
                    {"another phase", {{100, 1, 2, 0, 0}, {160, 1, 4}, {200, 1, 3}}, {0, 0, 0, 0}},
                    {"other states", {{100, 3, 1, 2, 2}, {160}}, {0, 0, 0, 0}},
                    {"smart", {{100, 0, 3, 1, 0}, {130}, {160, 0, 3, 0}, {900}}, {0, 0, 60, 0}},
                    {"warm", {{100, 0, 3, 0, 1}, {130}, {160, 0, 3, 0, 0}, {900}}, {0, 0, 0, 60}},
                    {"clock back", {{100, 1, 1, 1, 1}, {40}, {50}}, {10, 0, 10, 10}},
                    {"boot time 0 is no reference", {{0, 1, 1, 0, 0}, {60}, {70}}, {10, 0, 0, 0}},
                },
                [](const BattStat& stat) {
                    return Figures{static_cast<int64_t>(stat.off_charge_total_time),
                                   static_cast<int64_t>(stat.on_charge_total_time),
                                   static_cast<int64_t>(stat.smart_charge_mode_total_time), stat.jeita_warm_total_time};
                });
}

TEST(BattStatUpdate, ChargerClassByTypeAndWattage) {
    constexpr int32_t ANY = 1;
    const struct {
        int32_t type, wattage_uw, charger_class;
    } rows[] = {
        {INT32_MIN, ANY, -1}, {0, ANY, -1},       {1, ANY, -1},        {2, ANY, 1},         {3, INT32_MAX, 3},
        {4, ANY, 2},          {5, ANY, 0},        {6, ANY, 5},         {7, ANY, 4},         {8, ANY, 4},
        {9, ANY, 4},          {10, ANY, -1},      {14, ANY, -1},       {17, ANY, -1},       {18, ANY, -1},
        {19, ANY, 6},         {20, ANY, -1},      {21, ANY, 13},       {22, INT32_MAX, 14}, {23, ANY, -1},
        {INT32_MAX, ANY, -1}, {15, INT32_MIN, 7}, {16, INT32_MAX, 11},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(charger_class_of(row.type, row.wattage_uw), row.charger_class) << row.type;
    }
    for (const int32_t type : {15, 16}) {
        int32_t charger_class = 7;
        for (const int32_t step_uw : {20'000'000, 30'000'000, 45'000'000, 65'000'000}) {
            EXPECT_EQ(charger_class_of(type, step_uw), charger_class++) << type;
            EXPECT_EQ(charger_class_of(type, step_uw + 1), charger_class) << type;
        }
    }
}

TEST(BattStatUpdate, ChargerUseGoesToTheClassOfTheEarlierCall) {
    // Attachments, seconds and gain of classes 1 and 3.
    check_calls(
        {PARAM_ACTIVE_CHARGER_TYPE, PARAM_BATT_SOC},
        {
            {"stays", {{100, 2, 5000}, {110, 2, 5010}, {130}}, {1, 30, 10, 0, 0, 0}},
            {"rises, falls, rises", {{10, 2, 5}, {20, 2, 9}, {30, 2, 4}, {40, 2, 7}}, {1, 30, 7, 0, 0, 0}},
            {"another class", {{10, 2, 500}, {20, 3, 540}, {40, 3, 541}}, {1, 10, 40, 1, 20, 1}},
            {"removed and back", {{10, 2, 50}, {20, 0, 51}, {30, 0, 60}, {40, 2, 70}, {41}}, {2, 11, 1, 0, 0, 0}},
            {"clock back", {{100, 2, 5000}, {40}, {45}}, {1, 5, 0, 0, 0, 0}},
            {"boot time 0 is no reference", {{0, 2, 0}, {60}, {70}}, {1, 10, 0, 0, 0, 0}},
            {"an invalid charge counts", {{1, 2, 0}, {2, 2, 20'000}}, {1, 1, 20'000, 0, 0, 0}},
        },
        [](const BattStat& stat) {
            const auto& [a, b] = std::pair(stat.dev_attach[1], stat.dev_attach[3]);
            return Figures{a.dev_attach_count, a.dev_attach_total_time, a.dev_charge_count,
                           b.dev_attach_count, b.dev_attach_total_time, b.dev_charge_count};
        });
}

TEST(BattStatUpdate, ThermalRangesOfTheEarlierCallAndShutdownsWithAnEmptyBattery) {
    // Seconds in the four ranges; shutdowns, capacity in the latest.
    check_calls({PARAM_BOOTUP_SHUTDOWN_PHASE, PARAM_BATTERY_CAPACITY, PARAM_SYSTEM_TEMP_LEVEL},
                {
                    {"enters and stays", {{1, 3, 0, 15}, {2, 4, 0}, {3}}, {0, 0, 0, 0, 1, 0}},
                    {"start-up in the phase", {{1, 4, -1, 15}}, {0, 0, 0, 0, 1, 255}},
                    {"enters with a rest", {{1, 4, 1, 15}, {2, 4, 0}}, {0, 0, 0, 0, 0, 0}},
                    {"enters twice", {{1, 4, 0, 15}, {2, 3, 50}, {3, 4, 0}}, {0, 0, 0, 0, 2, 0}},
                    {"capacity of the last call", {{1, 4, 50, 15}, {2, 4, 49}, {3, 3, 48}}, {0, 0, 0, 0, 0, 49}},
                    {"level 0 or less", {{1, 3, 0, INT32_MIN}, {2, 3, 0, 0}, {4, 3, 0, 15}}, {3, 0, 0, 0, 0, 0}},
                    {"level 1 to 12", {{1, 3, 0, 1}, {2, 3, 0, 12}, {4, 3, 0, 15}}, {0, 3, 0, 0, 0, 0}},
                    {"level 13", {{1, 3, 0, 13}, {2, 3, 0, 15}, {4}}, {0, 0, 1, 0, 0, 0}},
                    {"level 14", {{1, 3, 0, 14}, {2, 3, 0, 15}, {4}}, {0, 0, 0, 1, 0, 0}},
                    {"clock back", {{100, 3, 0, 13}, {40}, {50}}, {0, 0, 10, 0, 0, 0}},
                },
                [](const BattStat& stat) {
                    const auto& [none, some, more, most] = stat.thermal_range_stay_time;
                    return Figures{none, some, more, most, stat.soc0_shutdown_cnt, stat.shutdown_capacity};
                });
}

TEST(BattStatUpdate, FastChargeTimeAndGain) {
    constexpr int32_t D = 4'480'000, T8 = 3'584'000, T6 = 2'688'000;
    constexpr int32_t OVER = 300'000'000, OVER_T8 = -189'496'729;  // its product with 8 exceeds 32 bits
    // Seconds and gain at 0.8C, then at 0.6C.
    check_calls({PARAM_BATTERY_CHARGE_FULL_DESIGN, PARAM_BATTERY_CURRENT_NOW, PARAM_BATT_SOC},
                {
                    {"0.8C at both", {{100, D, T8, 5000}, {160, D, T8, 5050}}, {60, 50, 0, 0}},
                    {"less before", {{100, D, T8 - 1, 5000}, {160, D, T8, 5050}}, {0, 0, 60, 50}},
                    {"less after", {{100, D, T8, 5000}, {160, D, T8 - 1, 5050}}, {0, 0, 60, 50}},
                    {"0.6C at both", {{100, D, T6, 5000}, {160, D, T6, 5050}}, {0, 0, 60, 50}},
                    {"too little before", {{100, D, T6 - 1, 5000}, {160, D, T8, 5050}}, {0, 0, 0, 0}},
                    {"too little after", {{100, D, T8, 5000}, {160, D, T6 - 1, 5050}}, {0, 0, 0, 0}},
                    {"clock, charge back", {{100, D, T8, 50}, {40, D, T8, 40}, {41, D, T8, 41}}, {1, 1, 0, 0}},
                    {"11000 is valid", {{100, D, T8, 10'999}, {160, D, T8, 11'000}}, {60, 1, 0, 0}},
                    {"an invalid charge keeps charge and current of the one before",
                     {{100, D, T6, 500}, {110, D, T8, 11'001}, {120, D, T8, -1}, {150, D, T8, 520}},
                     {40, 0, 10, 20}},
                    {"32 bits of the product", {{1, OVER, OVER_T8, 1}, {2, OVER, OVER_T8, 2}}, {1, 1, 0, 0}},
                },
                [](const BattStat& stat) {
                    return Figures{stat.over_08c_total_time, stat.over_08c_charge_count, stat.over_06c_total_time,
                                   stat.over_06c_charge_count};
                });
    const std::vector<std::string> log = {
        "<3>cellwarden: batt_soc is not valid (11001), rapid_charge_count is not updated\n",
        "<3>cellwarden: batt_soc is not valid (-1), rapid_charge_count is not updated\n"};
    EXPECT_EQ(phone.log, log);
}

// Everything that can run at once, 60 seconds and 50 units of charge long, 10 before the counters' ends.
TEST(BattStatUpdate, CountersWrapAtTheirWidth) {
    constexpr uint32_t NEAR = UINT32_MAX - 9;
    Battery battery;
    BattStat& stat = battery.stat;
    stat.learning_total_count = UINT16_MAX;
    stat.on_charge_total_time = UINT64_MAX - 9;
    stat.dev_attach[1] = {UINT32_MAX, NEAR, NEAR, 0};
    stat.jeita_warm_total_time = stat.thermal_range_stay_time[0] = NEAR;
    stat.over_08c_total_time = stat.over_08c_charge_count = NEAR;
    stat.soc0_shutdown_cnt = UINT32_MAX;
    battery.snapshot = snapshot_of({{PARAM_LEARNING_COUNTER, 5},
                                    {PARAM_BATTERY_STATUS, 1},
                                    {PARAM_BATTERY_HEALTH, 1},
                                    {PARAM_BOOTUP_SHUTDOWN_PHASE, 3},
                                    {PARAM_ACTIVE_CHARGER_TYPE, 2}});
    battery.call(100);
    set_param(battery.snapshot, {PARAM_BATT_SOC, 50});
    set_param(battery.snapshot, {PARAM_BOOTUP_SHUTDOWN_PHASE, 4});
    battery.call(160);
    const auto& charger = stat.dev_attach[1];
    const struct {
        const char* name;
        uint64_t value, expected;
    } rows[] = {
        {"learnings", stat.learning_total_count, 4},      {"charging", stat.on_charge_total_time, 50},
        {"warm", stat.jeita_warm_total_time, 50},         {"attachments", charger.dev_attach_count, 0},
        {"attached", charger.dev_attach_total_time, 50},  {"charged", charger.dev_charge_count, 40},
        {"thermal", stat.thermal_range_stay_time[0], 50}, {"0.8C", stat.over_08c_total_time, 50},
        {"0.8C charge", stat.over_08c_charge_count, 40},  {"shutdowns", stat.soc0_shutdown_cnt, 0},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.value, row.expected) << row.name;
    }
}

}  // namespace
}  // namespace cellwarden
