#include <gtest/gtest.h>

#include "stats/update_rows.h"

namespace cellwarden {
namespace {

using namespace test;

// Returns readings of the battery while it discharges.
std::vector<Given> reading(int32_t temperature_decic, int32_t voltage_uv, int32_t current_ua) {
    return {{PARAM_BATTERY_TEMP, temperature_decic},
            {PARAM_BATTERY_VOLTAGE_NOW, voltage_uv},
            {PARAM_BATTERY_CURRENT_NOW, current_ua}};
}

// The stored temperature extremes include all temperatures, which therefore change nothing.
const std::string TEMPERATURES = "max_temp=32767 min_temp=-32768";

// Returns the maxima 0 to `last` with the value `ma`, and their times.
std::string maxima(size_t last, int32_t ma) {
    static const char* const NAMES[] = {"max_discharge_current", "max_dischg_cur_3500mv_10c",
                                        "max_dischg_cur_3500mv_5c", "max_dischg_cur_3500mv_0c"};
    std::string values, times;
    for (size_t i = 0; i <= last; i++) {
        values += NAMES[i] + ("=" + std::to_string(ma)) + " ";
        times += (i > 0 ? " " : "") + ("max_discharge_time[" + std::to_string(i)) + "]=7";
    }
    return values + times;
}

TEST(DischargeMaxima, AreKeptByTemperatureAndVoltage) {
    check_first_calls(
        update_extremes,
        {
            {"no current", reading(-1, 3'499'999, 0), ""},
            {"charging", reading(-1, 3'499'999, 9'000'000), ""},
            {"less than 1 mA", reading(-1, 3'499'999, -999), ""},
            {"1 mA", reading(-1, 3'499'999, -1000), maxima(3, 1)},
            {"10 degC", reading(100, 3'499'999, -2'500'000), maxima(0, 2500)},
            {"below 10 degC", reading(99, 3'499'999, -2'500'000), maxima(1, 2500)},
            {"5 degC", reading(50, 3'499'999, -2'500'000), maxima(1, 2500)},
            {"below 5 degC", reading(49, 3'499'999, -2'500'000), maxima(2, 2500)},
            {"0 degC", reading(0, 3'499'999, -2'500'000), maxima(2, 2500)},
            {"below 0 degC", reading(-1, 3'499'999, -2'500'000), maxima(3, 2500)},
            {"3.5 V", reading(-1, 3'500'000, -2'500'000), maxima(0, 2500)},
            {"as large as stored", reading(250, 0, -2'500'999), "", "max_discharge_current=2500"},
            {"1 mA more than stored", reading(250, 0, -2'501'000), maxima(0, 2501), "max_discharge_current=2500"},
            {"each maximum is compared with its own value", reading(-1, 0, -2'501'000),
             "max_dischg_cur_3500mv_5c=2501 max_discharge_time[2]=7",
             "max_discharge_current=9000 max_dischg_cur_3500mv_10c=2501 max_dischg_cur_3500mv_0c=2502"},
            {"highest value in 16 bits", reading(250, 0, -32'768'000), maxima(0, 32'768)},
            {"wrapped in 16 bits", reading(250, 0, -32'769'000), ""},
            {"wrapped twice in 16 bits", reading(250, 0, -65'537'000), maxima(0, 1)},
            {"lowest current", reading(250, 0, INT32_MIN), ""},  // 50,331 in 16 bits
        },
        TEMPERATURES);
}

TEST(Extremes, OfCellVoltageAndTemperature) {
    const auto cell = [](int32_t voltage) { return std::vector<Given>{{PARAM_VCELL_MAX, voltage}}; };
    const auto temperature = [](int32_t decic) { return std::vector<Given>{{PARAM_BATTERY_TEMP, decic}}; };
    check_first_calls(
        update_extremes,
        {
            {"as high as stored", cell(4480), "", "max_cell_voltage=4480"},
            {"higher", cell(4481), "max_cell_voltage=4481 max_cell_voltage_time=7", "max_cell_voltage=4480"},
            {"compared unsigned", cell(-1), "max_cell_voltage=65535 max_cell_voltage_time=7", "max_cell_voltage=32767"},
            {"low 16 bits", cell(65'536 + 4480), "", "max_cell_voltage=4480"},
        },
        TEMPERATURES);
    check_first_calls(
        update_extremes,
        {
            {"the first temperature is a maximum", temperature(250), "max_temp=250 max_temp_time=7"},
            {"the same again is the minimum", temperature(250), "min_temp=250 min_temp_time=7", "max_temp=250"},
            {"as high as stored", temperature(250), "", "max_temp=250 min_temp=249"},
            {"as low as stored", temperature(249), "", "max_temp=250 min_temp=249"},
            {"lower", temperature(248), "min_temp=248 min_temp_time=7", "max_temp=250 min_temp=249"},
            {"a new maximum is not also a minimum", temperature(251), "max_temp=251 max_temp_time=7", "max_temp=250"},
            {"compared in 32 bits, stored in 16 bits", temperature(32'768), "max_temp=-32768 max_temp_time=7",
             "max_temp=32767"},
        });
}

// Returns the named buckets of heavy discharge, each with `seconds`.
std::string booked(std::initializer_list<int> buckets, int64_t seconds = 60) {
    std::string text;
    for (const int bucket : buckets) {
        text += (text.empty() ? "" : " ") + ("total_discharge_time[" + std::to_string(bucket)) +
                "]=" + std::to_string(seconds);
    }
    return text;
}

TEST(DischargeTime, IsBookedByTheLaterReading) {
    check_updates(update_discharge_time,
                  {
                      {"2 A", {}, reading(-1, 0, -2'000'999), ""},
                      {"more than 2 A", {}, reading(150, 3'499'999, -2'001'000), booked({0})},
                      {"3 A", {}, reading(150, 3'499'999, -3'000'999), booked({0})},
                      {"more than 3 A", {}, reading(150, 3'499'999, -3'001'000), booked({0, 1})},
                      {"below 15 degC", {}, reading(149, 3'500'000, -2'001'000), booked({0, 2})},
                      {"below 15 degC, low", {}, reading(149, 3'499'999, -2'001'000), booked({0, 2, 3})},
                      {"5 degC, low", {}, reading(50, 3'499'999, -2'001'000), booked({0, 2, 3})},
                      {"below 5 degC", {}, reading(49, 3'500'000, -2'001'000), booked({0, 2, 4})},
                      {"below 5 degC, low", {}, reading(49, 3'499'999, -2'001'000), booked({0, 2, 3, 4, 5})},
                      {"0 degC, low", {}, reading(0, 3'499'999, -2'001'000), booked({0, 2, 3, 4, 5})},
                      {"below 0 degC, 3.8 V", {}, reading(-1, 3'800'000, -2'001'000), booked({0, 2, 4, 6})},
                      {"below 0 degC, below 3.8 V", {}, reading(-1, 3'799'999, -2'001'000), booked({0, 2, 4, 6, 7})},
                      {"all buckets", {}, reading(-300, 0, -3'001'000), booked({0, 1, 2, 3, 4, 5, 6, 7})},
                      {"one second", {}, reading(150, 0, -2'001'000), booked({0}, 1), 1},
                      {"the clock stands", {}, reading(150, 0, -2'001'000), "", 0},
                      {"the clock went back", {}, reading(150, 0, -2'001'000), "", -1},
                      {"the counter wraps",
                       {},
                       reading(150, 0, -2'001'000),
                       booked({0}, 59),
                       60,
                       "total_discharge_time[0]=4294967295"},
                      {"charging before",
                       {{PARAM_BATTERY_STATUS, 1}, {PARAM_BATTERY_CURRENT_NOW, -2'001'000}},
                       {{PARAM_BATTERY_STATUS, 0}},
                       ""},
                      {"full now", {{PARAM_BATTERY_CURRENT_NOW, -2'001'000}}, {{PARAM_BATTERY_STATUS, 2}}, ""},
                  });
    check_first_calls(update_discharge_time, {{"first call", reading(-1, 0, -3'001'000), ""}});
}

TEST(DischargeTime, IsNotBookedAcrossACharge) {
    ServiceState state;
    BattStat stat{};
    for (const int32_t status : {0, 1, 0}) {
        state.clock.cycle_boot_time += 60;
        SysfsParams snapshot = snapshot_of(reading(-1, 0, -3'001'000));
        set_param(snapshot, {PARAM_BATTERY_STATUS, status});
        update_discharge_time({device, state, snapshot, state.stat_update, stat});
    }
    EXPECT_EQ(changes({}, stat), "");
}

}  // namespace
}  // namespace cellwarden
