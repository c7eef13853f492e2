// Extremes of discharge current, cell voltage and temperature, each with the wall clock at which it
// was reached, and the time spent in heavy discharge. Currents are negative while discharging.
#pragma once

#include <array>
#include <cstdint>

#include "platform/sysfs_params.h"
#include "state/batt_stat.h"
#include "state/service_state.h"

namespace cellwarden {

// What a discharge must not exceed; all three must hold.
struct DischargeLimits {
    int32_t temperature_decic;
    int32_t voltage_uv;
    int32_t current_ua;
};

inline constexpr int32_t ANY_READING = INT32_MAX;

struct DischargeMaximum {
    uint16_t BattStat::*field;
    DischargeLimits limits;
};

// In the order of max_discharge_time.
inline constexpr std::array<DischargeMaximum, 4> DISCHARGE_MAXIMA = {{
    {&BattStat::max_discharge_current, {ANY_READING, ANY_READING, ANY_READING}},
    {&BattStat::max_dischg_cur_3500mv_10c, {99, 3'499'999, ANY_READING}},
    {&BattStat::max_dischg_cur_3500mv_5c, {49, 3'499'999, ANY_READING}},
    {&BattStat::max_dischg_cur_3500mv_0c, {-1, 3'499'999, ANY_READING}},
}};

// In the order of total_discharge_time: more than 2 A, more than 3 A, and the cold and low-voltage
// conditions of more than 2 A.
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

void update_extremes(const ServiceState& state, BattStat& stat, const SysfsParams& snapshot);

// Seconds of heavy discharge by condition. An interval is booked by the readings of its later call,
// and only where neither of its calls was charging or full.
void update_discharge_time(ServiceState& state, BattStat& stat, const SysfsParams& snapshot);

}  // namespace cellwarden
