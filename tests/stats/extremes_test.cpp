// Extremes of discharge, cell voltage and temperature; the time of heavy discharge.
#include <string>

#include "stats/calls.h"

namespace cellwarden {
namespace {

using namespace test;

// The maxima and the buckets that a minute of a reading reaches, by their numbers.
TEST(Extremes, DischargeByCurrentVoltageAndTemperature) {
    const struct {
        const char* name;
        int32_t current_ua, voltage_uv, temperature_decic;
        const char *maxima, *buckets;
    } rows[] = {
        {"1 mA", -1000, 4'000'000, 150, "0", ""},
        {"2 A", -2'000'999, 3'499'999, -1, "0123", ""},
        {"more than 2 A", -2'001'000, 3'800'000, 150, "0", "0"},
        {"3 A", -3'000'999, 3'800'000, 150, "0", "0"},
        {"more than 3 A, low voltage", -3'001'000, 3'499'999, 150, "0", "01"},
        {"below 15 degC", -2'001'000, 3'500'000, 149, "0", "02"},
        {"10 degC, low voltage", -2'001'000, 3'499'999, 100, "0", "023"},
        {"below 10 degC", -2'001'000, 3'499'999, 99, "01", "023"},
        {"5 degC, low voltage", -2'001'000, 3'499'999, 50, "01", "023"},
        {"below 5 degC", -2'001'000, 3'499'999, 49, "012", "02345"},
        {"below 5 degC, 3.5 V", -2'001'000, 3'500'000, 49, "0", "024"},
        {"0 degC, low voltage", -2'001'000, 3'499'999, 0, "012", "02345"},
        {"below 0 degC", -2'001'000, 3'800'000, -1, "0", "0246"},
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
            maxima += values[i] == 0 ? "" : std::to_string(i);
            EXPECT_EQ(values[i], values[i] == 0 ? 0 : row.current_ua / -1000) << row.name;
            EXPECT_EQ(stat.max_discharge_time[i], values[i] == 0 ? 0 : WALL_AT_BOOT + 100) << row.name;
        }
        for (size_t i = 0; i < 8; i++) {
            buckets += stat.total_discharge_time[i] == 60 ? std::to_string(i) : "";
        }
        EXPECT_EQ(maxima, row.maxima) << row.name;
        EXPECT_EQ(buckets, row.buckets) << row.name;
    }
}

TEST(Extremes, LargestDischargeCellVoltageAndTemperaturesWithTheirTimes) {
    // Each with its seconds from boot, the lowest temperature last.
    check_calls(
        {PARAM_BATTERY_CURRENT_NOW, PARAM_VCELL_MAX, PARAM_BATTERY_TEMP},
        {
            {"lower", {{1, -2000, 44, 250}, {2, -1000, 43, 240}}, {2, 1, 44, 1, 250, 1, 240, 2}},
            {"equal", {{1, -1000, 1, 9}, {2, -1999, 1, 8}, {3, 0, 1, 8}}, {1, 1, 1, 1, 9, 1, 8, 2}},
            {"higher", {{1, -1000, 1, 9}, {2, -2000, 2, 10}}, {2, 2, 2, 2, 10, 2, INT16_MAX, 0}},
            {"16 bits of each", {{1, 0, 65'536, 40'000}, {2, 0, 65'537, -40'000}}, {0, 0, 1, 2, -25'536, 1, 25'536, 2}},
            {"the largest of 16 bits",
             {{1, -32'768'000, 40'000, 0}, {2, -32'767'000, 32'767}},
             {32'768, 1, 40'000, 1, 0, 1, 0, 2}},
            {"a discharge of more is none", {{1, -1000, 0, 0}, {2, -40'000'000}}, {1, 1, 0, 0, 0, 1, 0, 2}},
            {"where it is stored it gives way", {{1, -32'769'000, 0, 0}, {2, INT32_MIN}}, {0, 0, 0, 0, 0, 1, 0, 2}},
        },
        [](const BattStat& stat) {
            const auto since_boot = [](uint32_t time) { return time == 0 ? 0 : time - WALL_AT_BOOT; };
            return Figures{stat.max_discharge_current,
                           since_boot(stat.max_discharge_time[0]),
                           stat.max_cell_voltage,
                           since_boot(stat.max_cell_voltage_time),
                           stat.max_temp,
                           since_boot(stat.max_temp_time),
                           stat.min_temp,
                           since_boot(stat.min_temp_time)};
        });
}

TEST(Extremes, HeavyDischargeIsBookedByTheLaterCall) {
    constexpr int32_t HEAVY = -2'500'000;
    check_calls({PARAM_BATTERY_STATUS, PARAM_BATTERY_CURRENT_NOW},
                {
                    {"the later reading counts", {{100, 0, -1}, {160, 0, HEAVY}, {200, 0, -1}}, {60}},
                    {"charging between", {{100, 0, HEAVY}, {110, 1}, {120, 0}, {125}}, {5}},
                    {"full at the end", {{100, 0, HEAVY}, {110, 2}}, {0}},
                    {"clock back", {{100, 0, HEAVY}, {40}, {50}}, {10}},
                },
                [](const BattStat& stat) { return Figures{stat.total_discharge_time[0]}; });
}

}  // namespace
}  // namespace cellwarden
