// Extremes of discharge, cell voltage and temperature; the time of heavy discharge.
#include <string>

#include "stats/calls.h"
#include "stats/discharge_extremes.h"

namespace cellwarden {
namespace {

using namespace test;

constexpr int64_t WALL = 5'000'000'000;  // beyond 32 bits
constexpr auto STAMP = static_cast<uint32_t>(WALL);

struct Reading {
    int32_t current_ua, voltage_uv, temperature_decic;
};

SysfsParams snapshot_of_reading(const Reading& reading) {
    return snapshot_of({{PARAM_BATTERY_CURRENT_NOW, reading.current_ua},
                        {PARAM_BATTERY_VOLTAGE_NOW, reading.voltage_uv},
                        {PARAM_BATTERY_TEMP, reading.temperature_decic}});
}

// How many of the four maxima a discharge of 2.5 A sets, the one for all first, the coldest last.
TEST(Extremes, DischargeMaximaByVoltageAndTemperature) {
    const struct {
        const char* name;
        Reading reading;
        size_t count;
    } rows[] = {
        {"below 0 degC", {-2'500'000, 3'499'999, -1}, 4},  {"0 degC", {-2'500'000, 3'499'999, 0}, 3},
        {"below 5 degC", {-2'500'000, 3'499'999, 49}, 3},  {"5 degC", {-2'500'000, 3'499'999, 50}, 2},
        {"below 10 degC", {-2'500'000, 3'499'999, 99}, 2}, {"10 degC", {-2'500'000, 3'499'999, 100}, 1},
        {"3.5 V", {-2'500'000, 3'500'000, -1}, 1},         {"charging", {2'500'000, 3'499'999, -1}, 0},
    };
    for (const auto& row : rows) {
        BattStat stat{};
        update_extremes({.cycle_wall_time = WALL}, stat, snapshot_of_reading(row.reading));
        const uint16_t maxima[] = {stat.max_discharge_current, stat.max_dischg_cur_3500mv_10c,
                                   stat.max_dischg_cur_3500mv_5c, stat.max_dischg_cur_3500mv_0c};
        for (size_t i = 0; i < 4; i++) {
            EXPECT_EQ(maxima[i], i < row.count ? 2500 : 0) << row.name << ", maximum " << i;
            EXPECT_EQ(stat.max_discharge_time[i], i < row.count ? STAMP : 0) << row.name << ", " << i;
        }
    }
}

TEST(Extremes, ALargerDischargeIsJudgedAsASigned16BitCurrent) {
    const struct {
        const char* name;
        uint16_t stored_ma;
        int32_t current_ua;
        uint16_t expected_ma;
    } rows[] = {
        {"less than 1 mA", 0, -999, 0},
        {"equal", 2500, -2'500'999, 2500},
        {"larger", 2500, -2'501'000, 2501},
        {"largest of 16 bits", 32'767, -32'768'000, 32'768},
        {"nothing above it", 32'768, -32'767'000, 32'768},
        {"wraps to a charge", 1, -40'000'000, 1},
        {"a stored charge gives way", 40'000, -1'000, 1},
        {"least integer over a stored charge", 40'000, INT32_MIN, 50'331},
    };
    for (const auto& row : rows) {
        BattStat stat{};
        stat.max_discharge_current = row.stored_ma;
        update_extremes({.cycle_wall_time = WALL}, stat, snapshot_of_reading({row.current_ua, 4'000'000, 250}));
        EXPECT_EQ(stat.max_discharge_current, row.expected_ma) << row.name;
        EXPECT_EQ(stat.max_discharge_time[0], row.expected_ma == row.stored_ma ? 0 : STAMP) << row.name;
    }
}

TEST(Extremes, CellVoltageAndTemperatureWithTheirTimes) {
    // Cell voltage, highest, lowest temperature; the seconds from boot of each.
    check_calls({PARAM_VCELL_MAX, PARAM_BATTERY_TEMP},
                {
                    {"first reading", {{1, 4400, 250}}, {4400, 1, 250, 1, INT16_MAX, 0}},
                    {"lower", {{1, 4400, 250}, {2, 4399, 240}}, {4400, 1, 250, 1, 240, 2}},
                    {"equal", {{1, 1, 250}, {2, 1, 240}, {3, 1, 240}, {4, 1, 250}}, {1, 1, 250, 1, 240, 2}},
                    {"higher, no minimum", {{1, 1, 250}, {2, 2, 251}}, {2, 2, 251, 2, INT16_MAX, 0}},
                    {"unsigned cell voltage", {{1, 32'767, 0}, {2, 40'000}}, {40'000, 2, 0, 1, 0, 2}},
                    {"16 bits of it", {{1, 65'536, 0}, {2, 65'537}}, {1, 2, 0, 1, 0, 2}},
                    {"16 bits, judged whole", {{1, 0, 40'000}, {2, 0, -40'000}}, {0, 0, -25'536, 1, 25'536, 2}},
                },
                [](const BattStat& stat) {
                    const auto since_boot = [](uint32_t time) { return time == 0 ? 0 : time - WALL_AT_BOOT; };
                    return Figures{stat.max_cell_voltage, since_boot(stat.max_cell_voltage_time),
                                   stat.max_temp,         since_boot(stat.max_temp_time),
                                   stat.min_temp,         since_boot(stat.min_temp_time)};
                });
}

TEST(Extremes, HeavyDischargeBucketsOfOneInterval) {
    const struct {
        const char* name;
        Reading reading;
        const char* buckets;
    } rows[] = {
        {"2 A", {-2'000'999, 3'000'000, -1}, ""},
        {"more than 2 A", {-2'001'000, 3'800'000, 150}, "0"},
        {"3 A", {-3'000'999, 3'800'000, 150}, "0"},
        {"more than 3 A, low voltage", {-3'001'000, 3'499'999, 150}, "01"},
        {"below 15 degC", {-2'001'000, 3'500'000, 149}, "02"},
        {"5 degC, low voltage", {-2'001'000, 3'499'999, 50}, "023"},
        {"below 5 degC", {-2'001'000, 3'500'000, 49}, "024"},
        {"0 degC, low voltage", {-2'001'000, 3'499'999, 0}, "02345"},
        {"below 0 degC", {-2'001'000, 3'800'000, -1}, "0246"},
        {"below 0 degC, less than 3.8 V", {-3'200'000, 3'799'999, -1}, "012467"},
        {"below 0 degC, low voltage", {-2'001'000, 3'499'999, -1}, "0234567"},
        {"charging", {2'500'000, 3'499'999, -1}, ""},
    };
    for (const auto& row : rows) {
        ServiceState state;
        state.cycle_boot_time = 160;
        state.stat_update.discharge_sample_time = 100;
        BattStat stat{};
        stat.total_discharge_time.fill(UINT32_MAX);
        update_discharge_time(state, stat, snapshot_of_reading(row.reading));
        std::string buckets;
        for (size_t i = 0; i < stat.total_discharge_time.size(); i++) {
            if (stat.total_discharge_time[i] != UINT32_MAX) {
                EXPECT_EQ(stat.total_discharge_time[i], 59) << row.name << ", bucket " << i;
                buckets += std::to_string(i);
            }
        }
        EXPECT_EQ(buckets, row.buckets) << row.name;
    }
}

TEST(Extremes, HeavyDischargeIsBookedByTheLaterCall) {
    constexpr int32_t HEAVY = -2'500'000;
    check_calls({PARAM_BATTERY_STATUS, PARAM_BATTERY_CURRENT_NOW},
                {
                    {"first call", {{100, 0, HEAVY}}, {0}},
                    {"the later reading counts", {{100, 0, -1}, {160, 0, HEAVY}, {200, 0, -1}}, {60}},
                    {"charging between", {{100, 0, HEAVY}, {110, 1}, {120, 0}, {125}}, {5}},
                    {"full at the end", {{100, 0, HEAVY}, {110, 2}}, {0}},
                    {"standing clock, then a second", {{100, 0, HEAVY}, {100}, {101}}, {1}},
                    {"clock back", {{100, 0, HEAVY}, {40}, {50}}, {10}},
                },
                [](const BattStat& stat) { return Figures{stat.total_discharge_time[0]}; });
}

}  // namespace
}  // namespace cellwarden
