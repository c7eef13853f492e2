// Classes, ranges and limits for the statistics and for the charge holds.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

namespace cellwarden {

// --- Charger classes

struct ChargerClassRow {
    int32_t charger_type;    // value of the driver's active_charger_type
    int32_t max_wattage_uw;  // the row applies up to this wattage, in uW
    int32_t charger_class;   // 0 to 15
};

inline constexpr int32_t ANY_WATTAGE = INT32_MAX;

// The class is that of the type's first row with a sufficient max_wattage_uw. Classes 12 and 15 are
// never assigned.
inline constexpr std::array<ChargerClassRow, 21> CHARGER_CLASS_ROWS = {
    {{2, ANY_WATTAGE, 1},   {3, ANY_WATTAGE, 3},   {4, ANY_WATTAGE, 2},  {5, ANY_WATTAGE, 0},
     {6, ANY_WATTAGE, 5},   {7, ANY_WATTAGE, 4},   {8, ANY_WATTAGE, 4},  {9, ANY_WATTAGE, 4},
     {15, 20'000'000, 7},   {15, 30'000'000, 8},   {15, 45'000'000, 9},  {15, 65'000'000, 10},
     {15, ANY_WATTAGE, 11}, {16, 20'000'000, 7},   {16, 30'000'000, 8},  {16, 45'000'000, 9},
     {16, 65'000'000, 10},  {16, ANY_WATTAGE, 11}, {19, ANY_WATTAGE, 6}, {21, ANY_WATTAGE, 13},
     {22, ANY_WATTAGE, 14}}};
static_assert(std::all_of(CHARGER_CLASS_ROWS.begin(), CHARGER_CLASS_ROWS.end(),
                          [](const ChargerClassRow& row) {
                              return row.charger_class >= 0 && row.charger_class < 16;
                          }));

// --- Heat: highest system thermal level of each range
inline constexpr std::array<int32_t, 4> THERMAL_RANGE_ENDS = {0, 12, 13, 14};
static_assert(std::is_sorted(THERMAL_RANGE_ENDS.begin(), THERMAL_RANGE_ENDS.end()));

// --- Heavy charge, in tenths of the current that charges the design capacity in an hour
inline constexpr int32_t OVER_08C_TENTHS = 8;
inline constexpr int32_t OVER_06C_TENTHS = 6;
static_assert(OVER_08C_TENTHS > OVER_06C_TENTHS);

// --- Heavy discharge

// A discharge meets the condition if it exceeds none of the three. Currents are negative while
// discharging.
struct DischargeLimits {
    int32_t temperature_decic;
    int32_t voltage_uv;
    int32_t current_ua;
};

inline constexpr int32_t ANY_READING = INT32_MAX;

// Conditions of the four discharge maxima, in the order of max_discharge_time.
inline constexpr std::array<DischargeLimits, 4> DISCHARGE_MAXIMA_LIMITS = {{
    {ANY_READING, ANY_READING, ANY_READING},
    {99, 3'499'999, ANY_READING},
    {49, 3'499'999, ANY_READING},
    {-1, 3'499'999, ANY_READING},
}};

// In the order of total_discharge_time: more than 2 A, more than 3 A, then more than 2 A at low
// temperatures and voltages.
inline constexpr std::array<DischargeLimits, 8> DISCHARGE_BUCKETS = {{
    {ANY_READING, ANY_READING, -2'001'000},
    {ANY_READING, ANY_READING, -3'001'000},
    {149, ANY_READING, -2'001'000},
    {149, 3'499'999, -2'001'000},
    {49, ANY_READING, -2'001'000},
    {49, 3'499'999, -2'001'000},
    {-1, ANY_READING, -2'001'000},
    {-1, 3'799'999, -2'001'000},
}};

// --- Holds of the device modes, in % of capacity

struct HoldLimits {
    int32_t upper_percent;
    int32_t lower_percent;
};

inline constexpr HoldLimits STARTUP_PROCESS_HOLD = {60, 40};
inline constexpr HoldLimits CAMERA_CALIBRATION_HOLD = {70, 55};

constexpr bool is_hold(const HoldLimits& limits) {
    return limits.lower_percent >= 0 && limits.lower_percent < limits.upper_percent &&
           limits.upper_percent <= 100;
}
static_assert(is_hold(STARTUP_PROCESS_HOLD) && is_hold(CAMERA_CALIBRATION_HOLD));

}  // namespace cellwarden
