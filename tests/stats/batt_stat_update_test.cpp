#include "stats/batt_stat_update.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <tuple>
#include <vector>

#include "stats/charger_classes.h"
#include "support/phone.h"
#include "support/sysfs.h"

namespace cellwarden {
namespace {

using namespace test;

// In place of a parameter: the level that soft charge has chosen.
constexpr auto MODE = static_cast<SysfsParamId>(SYSFS_PARAM_COUNT);

struct Battery {
    ServiceState state;
    BattStat stat;
    SysfsParams snapshot = snapshot_of({});

    Battery() { reset_batt_stat(stat); }

    void call(int64_t now, int64_t wall_at_boot = 0) {
        state.cycle_boot_time = now;
        state.cycle_wall_time = wall_at_boot + now;
        update_batt_stat(state, stat, snapshot);
    }
};

using Figures = std::vector<int64_t>;

// Of the charger classes in use.
void append(Figures& figures, const DevAttachEntry& entry) {
    if (entry.dev_attach_count != 0) {
        figures.insert(figures.end(), {entry.dev_attach_count, entry.dev_attach_total_time, entry.dev_charge_count});
    }
}

template <typename Field>
void append(Figures& figures, const Field& field) {
    if constexpr (std::is_integral_v<Field>) {
        figures.push_back(static_cast<int64_t>(field));
    } else {
        for (const auto& element : field) {
            append(figures, element);
        }
    }
}

struct CallsRow {
    const char* name;
    // A boot time, then the values of the table's parameters; those left out stay as they were.
    std::vector<std::vector<int32_t>> calls;
    Figures expected;
};

// Runs each row on a reset record and looks at the given fields of it.
template <typename... Fields>
void check_calls(const std::vector<SysfsParamId>& ids, std::initializer_list<CallsRow> rows,
                 Fields BattStat::*... fields) {
    for (const CallsRow& row : rows) {
        Battery battery;
        for (const auto& call : row.calls) {
            for (size_t i = 1; i < call.size(); i++) {
                if (ids[i - 1] == MODE) {
                    battery.state.soft_charge_mode = call[i];
                } else {
                    set_param(battery.snapshot, {ids[i - 1], call[i]});
                }
            }
            battery.call(call[0]);
        }
        Figures figures;
        (append(figures, battery.stat.*fields), ...);
        EXPECT_EQ(figures, row.expected) << row.name;
    }
}

// --- Identity, capacity history and the counters of how the battery is charged.

TEST(BattStatUpdate, EstablishedTimeIsTheBootAfterTheFirstCharge) {
    const std::tuple<const char*, uint32_t, int64_t, uint64_t> steps[] = {
        {"a unit less, though enough as of this call", 2999, 1'700'000'000, 0},
        {"last second of an unset clock", 3000, 1'483'228'789, 0},
        {"first second of a set clock", 3000, 1'483'228'790, 1'483'228'790},
        {"set for good", 3000, 1'700'000'000, 1'483'228'790},
    };
    Battery battery;
    battery.state.total_cycle_count = 3000;
    for (const auto& [name, stored_count, wall_at_boot, expected] : steps) {
        battery.stat.total_cycle_count = stored_count;
        battery.call(10, wall_at_boot);
        EXPECT_EQ(battery.stat.initialized_time, expected) << name;
    }
}

TEST(BattStatUpdate, ModelNameIsFilledInOnce) {
    Battery battery;
    battery.stat.battery_model_name = {'\0', 'r', 'e', 'm', 'a', 'i', 'n', 's'};
    for (const char* text : {"1234567890123456", "KIRO"}) {
        set_param(battery.snapshot, {PARAM_BATTERY_MODEL_NAME, text});
        battery.call(10);
        EXPECT_EQ(battery.stat.battery_model_name, (std::array<char, 16>{"123456789012345"})) << text;
    }
}

TEST(BattStatUpdate, CapacityHistoryShiftsWithLearningsAndLevels) {
    // Learnings, time of the latest, the newest capacities, the same as learned.
    check_calls(
        {PARAM_LEARNING_COUNTER, MODE, PARAM_QCOM_CHARGE_FULL, PARAM_LEARNED_CAPACITY},
        {
            {"two more", {{10, 3, 2, 1000, 2}, {30, 5, 2, 3999, 4}, {40}}, {5, 30, 3, 1, 0, 0, 0, 4, 2, 0, 0, 0}},
            {"new level", {{10, 0, 2, 1000, 2}, {20}, {30, 0, 3}, {40}}, {0, 0, 1, 0, 0, 0, 0, 2, 0, 0, 0, 0}},
            {"level becomes known", {{10, 0, -1, 1000, 2}, {20, 0, 3}}, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
            {"both", {{10, 0, 2, 1000, 2}, {20, 5, 3}, {30}}, {5, 20, 1, 0, 0, 0, 0, 2, 0, 0, 0, 0}},
            {"16 bits", {{10, 65'537, 2, 66'000'999, 70'000}}, {1, 10, 464, 0, 0, 0, 0, 4464, 0, 0, 0, 0}},
        },
        &BattStat::learning_total_count, &BattStat::last_learning_time, &BattStat::fcc_mah, &BattStat::fcc_mah_raw);
}

TEST(BattStatUpdate, TimesByTheEarlierCall) {
    // Seconds of charging with the phone off and on, of smart charging, of a warm battery.
    check_calls({PARAM_BATTERY_STATUS, PARAM_BOOTUP_SHUTDOWN_PHASE, PARAM_SMART_CHARGING_STATUS, PARAM_BATTERY_HEALTH},
                {
                    {"first call", {{100, 1, 1, 1, 1}}, {0, 0, 0, 0}},
                    {"off", {{100, 1, 1, 0, 0}, {160, 0, 3}, {200}}, {60, 0, 0, 0}},
                    {"on, charging then full", {{100, 1, 3, 0, 0}, {160, 2}, {200, 0}}, {0, 100, 0, 0}},
                    {"again after a pause", {{100, 2, 3, 0, 0}, {160, 0}, {900, 1}, {901}}, {0, 61, 0, 0}},
                    {"smart and warm", {{100, 0, 3, 1, 1}, {130}, {160, 0, 3, 0, 0}, {900}}, {0, 0, 60, 60}},
                    {"clock back", {{100, 1, 1, 1, 1}, {40}, {50}}, {10, 0, 10, 10}},
                    {"boot time 0 is no reference", {{0, 1, 1, 0, 0}, {60}, {70}}, {10, 0, 0, 0}},
                },
                &BattStat::off_charge_total_time, &BattStat::on_charge_total_time,
                &BattStat::smart_charge_mode_total_time, &BattStat::jeita_warm_total_time);
}

TEST(BattStatUpdate, ChargerClassByTypeAndWattage) {
    const int32_t classes[] = {-1, -1, 1, 3, 2, 0, 5, 4, 4, 4, -1, -1, -1, -1, -1, 11, 11, -1, -1, 6, -1, 13, 14, -1};
    for (int32_t type = 0; type < std::ssize(classes); type++) {
        EXPECT_EQ(charger_class_of(type, INT32_MAX), classes[type]) << type;
        int32_t step_class = 7;
        for (const int32_t step_uw : {20'000'000, 30'000'000, 45'000'000, 65'000'000}) {
            const bool by_wattage = type == 15 || type == 16;
            EXPECT_EQ(charger_class_of(type, step_uw), by_wattage ? step_class++ : classes[type]) << type;
            EXPECT_EQ(charger_class_of(type, step_uw + 1), by_wattage ? step_class : classes[type]) << type;
        }
    }
}

TEST(BattStatUpdate, ChargerUseGoesToTheClassOfTheEarlierCall) {
    // Attachments, seconds and gain of the classes in use, 1 and 3.
    check_calls({PARAM_ACTIVE_CHARGER_TYPE, PARAM_BATT_SOC},
                {
                    {"rises, falls, rises", {{10, 2, 5}, {20, 2, 9}, {30, 2, 4}, {40, 2, 7}}, {1, 30, 7}},
                    {"another class", {{10, 2, 500}, {20, 3, 540}, {40, 3, 541}}, {1, 10, 40, 1, 20, 1}},
                    {"removed and back", {{10, 2, 5}, {20, 0, 6}, {30, 0, 8}, {40, 2, 9}, {41}}, {2, 11, 1}},
                    {"clock back", {{100, 2, 5000}, {40}, {45}}, {1, 5, 0}},
                    {"boot time 0 is no reference", {{0, 2, 0}, {60}, {70}}, {1, 10, 0}},
                },
                &BattStat::dev_attach);
}

TEST(BattStatUpdate, ThermalRangesOfTheEarlierCallAndShutdownsWithAnEmptyBattery) {
    // Seconds in the four ranges; shutdowns, capacity in the latest.
    check_calls({PARAM_BOOTUP_SHUTDOWN_PHASE, PARAM_BATTERY_CAPACITY, PARAM_SYSTEM_TEMP_LEVEL},
                {
                    {"enters and stays", {{1, 3, 0, 15}, {2, 4, 0}, {3}}, {0, 0, 0, 0, 1, 0}},
                    {"start-up in the phase", {{1, 4, -1, 15}}, {0, 0, 0, 0, 1, 255}},
                    {"enters twice", {{1, 4, 1, 15}, {2, 4, 0}, {3, 3, 50}, {4, 4, 0}}, {0, 0, 0, 0, 1, 0}},
                    {"level 0 or less", {{1, 3, 0, INT32_MIN}, {2, 3, 0, 0}, {4, 3, 0, 15}}, {3, 0, 0, 0, 0, 0}},
                    {"level 1 to 12", {{1, 3, 0, 1}, {2, 3, 0, 12}, {4, 3, 0, 15}}, {0, 3, 0, 0, 0, 0}},
                    {"13, then 14", {{1, 3, 0, 13}, {2, 3, 0, 14}, {4, 3, 0, 15}, {9}}, {0, 0, 1, 2, 0, 0}},
                    {"clock back", {{100, 3, 0, 13}, {40}, {50}}, {0, 0, 10, 0, 0, 0}},
                },
                &BattStat::thermal_range_stay_time, &BattStat::soc0_shutdown_cnt, &BattStat::shutdown_capacity);
}

TEST(BattStatUpdate, FastChargeTimeAndGain) {
    constexpr int32_t D = 4'480'000, T8 = 3'584'000, T6 = 2'688'000;
    constexpr int32_t OVER = 300'000'000, OVER_T8 = -189'496'729;    // its product with 8 exceeds 32 bits
    constexpr int32_t OVER6 = 400'000'000, OVER6_T6 = -189'496'729;  // and with 6
    // Seconds and gain at 0.8C, then at 0.6C.
    check_calls({PARAM_BATTERY_CHARGE_FULL_DESIGN, PARAM_BATTERY_CURRENT_NOW, PARAM_BATT_SOC},
                {
                    {"0.8C at both", {{100, D, T8, 5000}, {160, D, T8, 5050}}, {60, 50, 0, 0}},
                    {"less after", {{100, D, T8, 5000}, {160, D, T6, 5050}}, {0, 0, 60, 50}},
                    {"too little before", {{100, D, T6 - 1, 5000}, {160, D, T8, 5050}}, {0, 0, 0, 0}},
                    {"too little after", {{100, D, T8, 5000}, {160, D, T6 - 1, 5050}}, {0, 0, 0, 0}},
                    {"clock, charge back", {{100, D, T8, 50}, {40, D, T8, 40}, {41, D, T8, 41}}, {1, 1, 0, 0}},
                    {"11000 is valid", {{100, D, T8, 10'999}, {160, D, T8, 11'000}}, {60, 1, 0, 0}},
                    {"an invalid charge keeps charge and current of the one before",
                     {{100, D, T6, 500}, {110, D, T8, 11'001}, {120, D, T8, -1}, {150, D, T8, 520}},
                     {40, 0, 10, 20}},
                    {"32 bits of 8 x", {{1, OVER, OVER_T8, 1}, {2, OVER, OVER_T8, 2}}, {1, 1, 0, 0}},
                    {"32 bits of 6 x", {{1, OVER6, OVER6_T6, 1}, {2, OVER6, OVER6_T6, 2}}, {0, 0, 1, 1}},
                },
                &BattStat::over_08c_total_time, &BattStat::over_08c_charge_count, &BattStat::over_06c_total_time,
                &BattStat::over_06c_charge_count);
    const std::string invalid = "<3>cellwarden: batt_soc is not valid (";
    const std::vector<std::string> log = {invalid + "11001), rapid_charge_count is not updated\n",
                                          invalid + "-1), rapid_charge_count is not updated\n"};
    EXPECT_EQ(phone.log, log);
}

// --- Extremes of discharge, cell voltage and temperature; the time of heavy discharge.

// The maxima and the buckets that a minute of a reading reaches, by their numbers.
TEST(BattStatUpdate, DischargeByCurrentVoltageAndTemperature) {
    const struct {
        const char* name;
        int32_t current_ua, voltage_uv, temperature_decic;
        const char *maxima, *buckets;
    } rows[] = {
        {"2 A", -2'000'999, 3'499'999, -1, "0123", ""},
        {"more than 2 A", -2'001'000, 3'800'000, 150, "0", "0"},
        {"more than 3 A, low voltage", -3'001'000, 3'499'999, 150, "0", "01"},
        {"below 15 degC", -2'001'000, 3'500'000, 149, "0", "02"},
        {"below 10 degC", -2'001'000, 3'499'999, 99, "01", "023"},
        {"5 degC, low voltage", -2'001'000, 3'499'999, 50, "01", "023"},
        {"below 5 degC", -2'001'000, 3'499'999, 49, "012", "02345"},
        {"0 degC, 3.5 V", -2'001'000, 3'500'000, 0, "0", "024"},
        {"below 0 degC, less than 3.8 V", -2'001'000, 3'799'999, -1, "0", "02467"},
        {"below 0 degC, low voltage", -2'001'000, 3'499'999, -1, "0123", "0234567"},
        {"less than 1 mA", -999, 3'499'999, -1, "", ""},
        {"charging", 2'500'000, 3'499'999, -1, "", ""},
    };
    for (const auto& row : rows) {
        Battery battery;
        battery.snapshot = snapshot_of({{PARAM_BATTERY_CURRENT_NOW, row.current_ua},
                                        {PARAM_BATTERY_VOLTAGE_NOW, row.voltage_uv},
                                        {PARAM_BATTERY_TEMP, row.temperature_decic}});
        battery.call(100);
        battery.call(160);
        const BattStat& stat = battery.stat;
        const uint16_t values[] = {stat.max_discharge_current, stat.max_dischg_cur_3500mv_10c,
                                   stat.max_dischg_cur_3500mv_5c, stat.max_dischg_cur_3500mv_0c};
        std::string maxima, buckets;
        for (size_t i = 0; i < 4; i++) {
            maxima += values[i] == row.current_ua / -1000 && stat.max_discharge_time[i] != 0 ? std::to_string(i) : "";
        }
        for (size_t i = 0; i < 8; i++) {
            buckets += stat.total_discharge_time[i] == 60 ? std::to_string(i) : "";
        }
        EXPECT_EQ(maxima, row.maxima) << row.name;
        EXPECT_EQ(buckets, row.buckets) << row.name;
    }
}

TEST(BattStatUpdate, LargestDischargeCellVoltageAndTemperaturesWithTheirTimes) {
    check_calls({PARAM_BATTERY_CURRENT_NOW, PARAM_VCELL_MAX, PARAM_BATTERY_TEMP},
                {
                    {"lower", {{1, -2000, 44, 250}, {2, -1000, 43, 240}}, {2, 44, 1, 250, 1, 240, 2}},
                    {"equal", {{1, -1000, 1, 9}, {2, -1999, 1, 8}, {3, 0, 1, 8}}, {1, 1, 1, 9, 1, 8, 2}},
                    {"higher", {{1, -1000, 1, 9}, {2, -2000, 2, 10}}, {2, 2, 2, 10, 2, INT16_MAX, 0}},
                    {"16 bits", {{1, 0, 65'536, 40'000}, {2, 0, 65'537, -40'000}}, {0, 1, 2, -25'536, 1, 25'536, 2}},
                    {"most", {{1, -32'768'000, 40'000, 0}, {2, -32'767'000, 32'767}}, {32'768, 40'000, 1, 0, 1, 0, 2}},
                    {"a discharge of more is none", {{1, -1000, 0, 0}, {2, -40'000'000}}, {1, 0, 0, 0, 1, 0, 2}},
                    {"nor is one of any more", {{1, -32'769'000, 0, 0}, {2, INT32_MIN}}, {0, 0, 0, 0, 1, 0, 2}},
                },
                &BattStat::max_discharge_current, &BattStat::max_cell_voltage, &BattStat::max_cell_voltage_time,
                &BattStat::max_temp, &BattStat::max_temp_time, &BattStat::min_temp, &BattStat::min_temp_time);
}

TEST(BattStatUpdate, HeavyDischargeIsBookedByTheLaterCall) {
    constexpr int32_t HEAVY = -2'500'000;
    check_calls(
        {PARAM_BATTERY_STATUS, PARAM_BATTERY_CURRENT_NOW, PARAM_BATTERY_TEMP},
        {
            {"the later reading counts", {{100, 0, -1, 150}, {160, 0, HEAVY}, {200, 0, -1}}, {60, 0, 0, 0, 0, 0, 0, 0}},
            {"charging between", {{100, 0, HEAVY, 150}, {110, 1}, {120, 0}, {125}}, {5, 0, 0, 0, 0, 0, 0, 0}},
            {"full at the end", {{100, 0, HEAVY, 150}, {110, 2}}, {0, 0, 0, 0, 0, 0, 0, 0}},
            {"clock back", {{100, 0, HEAVY, 150}, {40}, {50}}, {10, 0, 0, 0, 0, 0, 0, 0}},
        },
        &BattStat::total_discharge_time);
}

}  // namespace
}  // namespace cellwarden
