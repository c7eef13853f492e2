// Constants of the ageing models and the state-of-health estimates. Where a figure was fitted in
// double precision it is that double, widened; all others are rounded once to extended precision,
// as a quotient of exact integers. The difference reaches the stored digits.
#pragma once

#include <array>

#include "platform/extended.h"

namespace cellwarden {

inline constexpr extended KELVIN_OFFSET = extended{27315} / 100;

// Rate of the Arrhenius integral per second:
//     numerator / exp(activation_k / (T + 273.15) + line + offset)
// where the line is low_offset + low_slope * V up to the knee, high_offset + high_slope * V above.
struct ArrheniusConstants {
    double activation_k;
    double knee_v;
    double low_offset;
    double low_slope;  // per volt
    double high_offset;
    double high_slope;  // per volt
    double offset;
    double numerator;
};

inline constexpr ArrheniusConstants ARRHENIUS = {.activation_k = 9441.71,
                                                 .knee_v = 4.4,
                                                 .low_offset = 44.206,
                                                 .low_slope = -9.04,
                                                 .high_offset = 13.75,
                                                 .high_slope = -2.12,
                                                 .offset = -25.41,
                                                 .numerator = 5041};

// Capacity lost at full charge.
inline constexpr extended FULL_STAY_VOLTAGE = extended{8443} / 1000;  // per volt
inline constexpr extended FULL_STAY_ACTIVATION = 4600;                // K
inline constexpr extended FULL_STAY_OFFSET = -33;

// Capacity lost by charging.
inline constexpr extended CYCLE_VOLTAGE = extended{177} / 100;     // per volt
inline constexpr extended CYCLE_ACTIVATION = extended{9542} / 10;  // K
inline constexpr extended CYCLE_OFFSET = extended{-1396} / 100;
inline constexpr extended CHARGE_UNIT = extended{1} / 10'000;  // full charges per 0.01 %

// Share of the gauge's state of health that the user is shown at soft-charge level 0 to 5.
inline constexpr std::array<extended, 6> LEVEL_FACTORS = {
    extended{1},          extended{984} / 1000, extended{958} / 1000,
    extended{935} / 1000, extended{928} / 1000, extended{913} / 1000};

// What the user's state of health may fall to within one period.
inline constexpr extended STEP_FACTOR = extended{99} / 100;      // from 80 % up
inline constexpr extended STEP_FACTOR_LOW = extended{98} / 100;  // below 80 %

}  // namespace cellwarden
