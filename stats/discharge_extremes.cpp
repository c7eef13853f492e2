#include "product/attribute_texts.h"
#include "state/elapsed.h"
#include "state/wrapping.h"
#include "stats/batt_stat_update.h"

namespace cellwarden {
namespace {

struct Reading {
    int32_t temperature_decic;
    int32_t voltage_uv;
    int32_t current_ua;  // negative while discharging
};

constexpr bool within(const Reading& reading, const DischargeLimits& limits) {
    return reading.temperature_decic <= limits.temperature_decic &&
           reading.voltage_uv <= limits.voltage_uv && reading.current_ua <= limits.current_ua;
}

Reading reading_of(const SysfsParams& snapshot) {
    return {.temperature_decic = param_integer(snapshot, PARAM_BATTERY_TEMP),
            .voltage_uv = param_integer(snapshot, PARAM_BATTERY_VOLTAGE_NOW),
            .current_ua = param_integer(snapshot, PARAM_BATTERY_CURRENT_NOW)};
}

// Compares the negative currents as signed 16-bit values, so magnitudes above 32,768 mA wrap.
bool is_larger(uint16_t magnitude_ma, uint16_t stored_ma) {
    return static_cast<int16_t>(-magnitude_ma) < static_cast<int16_t>(-stored_ma);
}

void update_discharge_maxima(BattStat& stat, const Reading& reading, uint32_t wall) {
    constexpr int32_t UA_PER_MA = 1000;
    if (reading.current_ua >= 0) {
        return;
    }
    const auto magnitude_ma = static_cast<uint16_t>(-int64_t{reading.current_ua} / UA_PER_MA);
    for (size_t i = 0; i < DISCHARGE_MAXIMA.size(); i++) {
        uint16_t& stored = stat.*DISCHARGE_MAXIMA[i];
        if (is_larger(magnitude_ma, stored) && within(reading, DISCHARGE_MAXIMA_LIMITS[i])) {
            stored = magnitude_ma;
            stat.max_discharge_time[i] = wall;
        }
    }
}

}  // namespace

void update_extremes(const StatStep& step) {
    BattStat& stat = step.stat;
    const Reading reading = reading_of(step.snapshot);
    const auto cell_voltage = static_cast<uint16_t>(param_integer(step.snapshot, PARAM_VCELL_MAX));
    const auto wall = static_cast<uint32_t>(step.state.clock.cycle_wall_time);
    update_discharge_maxima(stat, reading, wall);
    if (cell_voltage > stat.max_cell_voltage) {
        stat.max_cell_voltage = cell_voltage;
        stat.max_cell_voltage_time = wall;
    }
    if (reading.temperature_decic > stat.max_temp) {
        stat.max_temp = static_cast<int16_t>(reading.temperature_decic);
        stat.max_temp_time = wall;
    } else if (reading.temperature_decic < stat.min_temp) {
        stat.min_temp = static_cast<int16_t>(reading.temperature_decic);
        stat.min_temp_time = wall;
    }
}

void update_discharge_time(const StatStep& step) {
    const int64_t now = step.state.clock.cycle_boot_time;
    int64_t& since = step.memory.discharge_sample_time;
    const bool discharging =
        param_integer(step.snapshot, PARAM_BATTERY_STATUS) == STATUS_DISCHARGING;
    const int32_t seconds = elapsed_i32(now, since);
    if (discharging && since != 0 && seconds >= 1) {
        const Reading reading = reading_of(step.snapshot);
        for (size_t i = 0; i < DISCHARGE_BUCKETS.size(); i++) {
            if (within(reading, DISCHARGE_BUCKETS[i])) {
                wrapping_count(step.stat.total_discharge_time[i], static_cast<uint32_t>(seconds));
            }
        }
    }
    since = discharging ? now : 0;
}

}  // namespace cellwarden
