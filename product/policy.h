// The battery-care policy: the cell's ageing models, and the constants by which soft charge and the
// states of health use them. The daemon uses POLICY; a simulator may pass another policy to the
// rules if policy_fault() accepts it.
//
// The figures come from the cell maker's ageing tests. T is in degC, V in volts; samples are valid
// for -100 <= T <= 100 and 1 <= V <= 5. The Arrhenius figures were fitted in double precision and
// are these doubles, widened; all others are quotients of exact integers, rounded once to extended
// precision. The difference affects stored digits.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>

#include "numbers/extended.h"

namespace cellwarden {

// The layout of the stored record determines these counts; the policy has the borders between the
// bins.
inline constexpr int32_t VOLTAGE_BIN_COUNT = 42;
inline constexpr int32_t TEMPERATURE_BIN_COUNT = 16;
inline constexpr int32_t SOC_BIN_COUNT = 10;
inline constexpr int32_t MAX_LEVEL = 5;

// The Arrhenius and full-stay levels project the ageing over the first 108 ten-day periods of
// online time (1080 days), and do not change after them.
inline constexpr int32_t LEVEL_HORIZON_PERIODS = 108;

inline constexpr extended KELVIN_OFFSET = extended{27315} / 100;

// Samples outside these limits add no ageing.
inline constexpr int32_t SAMPLE_TEMPERATURE_LIMIT_DECIC = 1000;  // valid from -1000 to 1000
inline constexpr int32_t SAMPLE_VOLTAGE_MIN_UV = 1'000'000;
inline constexpr int32_t SAMPLE_VOLTAGE_MAX_UV = 5'000'000;

// Rate per second: numerator / exp(activation_k / (T + 273.15) + line + offset); line is
// low_offset + low_slope * V up to the knee, and high_offset + high_slope * V above it.
struct ArrheniusConstants {
    extended activation_k;
    int32_t knee_uv;
    extended low_offset;
    extended low_slope;  // per volt
    extended high_offset;
    extended high_slope;  // per volt
    extended offset;
    extended numerator;
};

// Returns the exponent of the rate at a temperature, and at a voltage on one of the two lines.
constexpr extended arrhenius_exponent(const ArrheniusConstants& constants, int32_t celsius,
                                      extended line_offset, extended slope, int32_t voltage_uv) {
    return constants.activation_k / (celsius + KELVIN_OFFSET) + line_offset +
           slope * voltage_uv / 1'000'000 + constants.offset;
}

// Loss per hour at full charge, or per full charge, as a fraction of the design capacity:
// exp(voltage_slope * V - activation_k / (T + 273.15) + offset).
struct LossConstants {
    extended voltage_slope;  // per volt
    extended activation_k;
    extended offset;
};

// Borders of the usage grids in falling order: bin i contains the readings above border i and not
// above border i - 1; the last bin contains the rest.
struct UsageBins {
    std::array<int32_t, VOLTAGE_BIN_COUNT - 1> voltage_uv;
    std::array<int32_t, TEMPERATURE_BIN_COUNT - 1> temperature_decic;
    std::array<int32_t, SOC_BIN_COUNT - 1> soc;  // 0.01 %
};

struct Policy {
    ArrheniusConstants arrhenius;
    LossConstants full_stay;     // per hour at full charge, V = battery voltage
    LossConstants charge_cycle;  // per full charge, V = the charger's full-charge voltage

    // Borders of the charge put in over life, 0.01 %: the level is i + 1 above border i.
    std::array<uint32_t, MAX_LEVEL> cycle_count_borders;

    // The projected Arrhenius sum raises the level from arrhenius_raise_from on, and lowers it
    // below arrhenius_lower_below.
    uint32_t arrhenius_raise_from;
    uint32_t arrhenius_lower_below;

    // The full-stay level falls while the measured capacity minus the projected loss is above
    // `capacity_kept_percent`. It rises, to at most `top_rising_level`, only while the measured
    // capacity is at least `rise_from_percent`. In the last period of the horizon, a level of
    // `top_rising_level` or more becomes `top_rising_level` + 1.
    int32_t capacity_kept_percent;
    int32_t rise_from_percent;
    int32_t top_rising_level;

    // The user's state of health is 100 % until the charge put in reaches this value, 0.01 %. Then
    // it falls toward the gauge's state of health times the factor of the level, within one period
    // to no less than its value times the step factor.
    uint32_t smoothing_from_cycle_count;
    std::array<extended, MAX_LEVEL + 1> level_factors;
    extended step_factor;      // from `low_soh_percent` on
    extended step_factor_low;  // below `low_soh_percent`
    int32_t low_soh_percent;

    UsageBins bins;
};

inline constexpr Policy POLICY = {
    .arrhenius = {.activation_k = 9441.71,
                  .knee_uv = 4'400'000,
                  .low_offset = 44.206,
                  .low_slope = -9.04,
                  .high_offset = 13.75,
                  .high_slope = -2.12,
                  .offset = -25.41,
                  .numerator = 5041},
    .full_stay = {.voltage_slope = extended{8443} / 1000, .activation_k = 4600, .offset = -33},
    .charge_cycle = {.voltage_slope = extended{177} / 100,
                     .activation_k = extended{9542} / 10,
                     .offset = extended{-1396} / 100},
    .cycle_count_borders = {1'000'000, 2'000'000, 4'000'000, 11'000'000, 13'000'000},
    .arrhenius_raise_from = 6'591'601,
    .arrhenius_lower_below = 6'555'600,
    .capacity_kept_percent = 80,
    .rise_from_percent = 82,
    .top_rising_level = 3,
    .smoothing_from_cycle_count = 210'000,
    .level_factors = {extended{1}, extended{984} / 1000, extended{958} / 1000, extended{935} / 1000,
                      extended{928} / 1000, extended{913} / 1000},
    .step_factor = extended{99} / 100,
    .step_factor_low = extended{98} / 100,
    .low_soh_percent = 80,
    .bins = {
        // 10 mV steps near full charge, then 50 mV, then 100 mV
        .voltage_uv = {4'540'000, 4'530'000, 4'520'000, 4'510'000, 4'500'000, 4'490'000, 4'480'000,
                       4'470'000, 4'460'000, 4'450'000, 4'440'000, 4'430'000, 4'420'000, 4'410'000,
                       4'400'000, 4'390'000, 4'380'000, 4'370'000, 4'360'000, 4'350'000, 4'340'000,
                       4'330'000, 4'320'000, 4'310'000, 4'300'000, 4'250'000, 4'200'000, 4'150'000,
                       4'100'000, 4'050'000, 4'000'000, 3'900'000, 3'800'000, 3'700'000, 3'600'000,
                       3'500'000, 3'400'000, 3'300'000, 3'200'000, 3'100'000, 3'000'000},
        .temperature_decic = {600, 550, 500, 450, 400, 350, 300, 250, 200, 150, 100, 50, 0, -50,
                              -100},
        .soc = {9000, 8000, 7000, 6000, 5000, 4000, 3000, 2000, 1000}}};

// --- Limits of the arithmetic of the rules

constexpr extended loss_exponent(const LossConstants& loss, int32_t volts, int32_t celsius) {
    return loss.voltage_slope * volts - loss.activation_k / (celsius + KELVIN_OFFSET) + loss.offset;
}

// Returns the name of the first figure that is outside its range or contradicts another figure;
// null if the rules can work with all figures.
constexpr const char* policy_fault(const Policy& policy) {
    const ArrheniusConstants& a = policy.arrhenius;
    const char* fault = nullptr;
    const auto require = [&](const char* name, bool holds) {
        fault = fault == nullptr && !holds ? name : fault;
    };
    const auto require_range = [&](const char* name, extended value, extended lowest,
                                   extended highest) {
        require(name, value >= lowest && value <= highest);
    };
    const auto require_order = [&](const char* name, const auto& values, auto out_of_order) {
        require(name,
                std::adjacent_find(values.begin(), values.end(), out_of_order) == values.end());
    };
    // The rate of every valid sample and all its factors are finite and not 0.
    require("arrhenius.activation_k", a.activation_k != 0);
    require_range("arrhenius.knee_uv", a.knee_uv, SAMPLE_VOLTAGE_MIN_UV, SAMPLE_VOLTAGE_MAX_UV);
    require("arrhenius.low_slope", a.low_slope != 0);
    require("arrhenius.high_slope", a.high_slope != 0);
    require_range("arrhenius.numerator", a.numerator, 1e-9, 1e9);
    for (const int32_t celsius : {-100, 100}) {
        for (const int32_t low_uv : {SAMPLE_VOLTAGE_MIN_UV, a.knee_uv}) {
            require_range("arrhenius.low_offset",
                          arrhenius_exponent(a, celsius, a.low_offset, a.low_slope, low_uv),
                          -11'000, 11'000);
        }
        for (const int32_t high_uv : {a.knee_uv, SAMPLE_VOLTAGE_MAX_UV}) {
            require_range("arrhenius.high_offset",
                          arrhenius_exponent(a, celsius, a.high_offset, a.high_slope, high_uv),
                          -11'000, 11'000);
        }
    }
    // At 5 V and 100 degC, where the loss is largest, an hour or a full charge loses at most 100 %.
    require_range("full_stay.voltage_slope", policy.full_stay.voltage_slope, 0, 20);
    require_range("full_stay.activation_k", policy.full_stay.activation_k, 0, 60'000);
    require_range("full_stay.offset", loss_exponent(policy.full_stay, 5, 100), -100, 0);
    require_range("charge_cycle.voltage_slope", policy.charge_cycle.voltage_slope, 0, 20);
    require_range("charge_cycle.activation_k", policy.charge_cycle.activation_k, 0, 60'000);
    require_range("charge_cycle.offset", loss_exponent(policy.charge_cycle, 5, 100), -100, 0);
    require_order("cycle_count_borders", policy.cycle_count_borders, std::greater<>());
    require("arrhenius_lower_below", policy.arrhenius_lower_below <= policy.arrhenius_raise_from);
    require_range("capacity_kept_percent", policy.capacity_kept_percent, 0, 100);
    require_range("rise_from_percent", policy.rise_from_percent, 0, 100);
    require_range("top_rising_level", policy.top_rising_level, 0, MAX_LEVEL - 1);
    require_order("level_factors", policy.level_factors, std::less<>());
    require_range("level_factors", policy.level_factors.front(), 0, 1);
    require_range("level_factors", policy.level_factors.back(), 0, 1);
    require_range("step_factor", policy.step_factor, 0, 1);
    require_range("step_factor_low", policy.step_factor_low, 0, 1);
    require_range("low_soh_percent", policy.low_soh_percent, 0, 100);
    require_order("bins.voltage_uv", policy.bins.voltage_uv, std::less_equal<>());
    require_order("bins.temperature_decic", policy.bins.temperature_decic, std::less_equal<>());
    require_order("bins.soc", policy.bins.soc, std::less_equal<>());
    return fault;
}
static_assert(policy_fault(POLICY) == nullptr);

}  // namespace cellwarden
