// The rate of the Arrhenius integral: how fast a battery ages at a temperature and a voltage.
#pragma once

#include <cstdint>

#include "charge/model_constants.h"
#include "state/service_state.h"

namespace cellwarden {

// The constants as the fixed-point arithmetic uses them.
struct ArrheniusModel {
    struct Line {
        ArrheniusFixed offset;
        uint64_t slope_52;  // its magnitude per volt, in units of 2^-52
        bool rises;
    };

    extended activation_k;
    int32_t last_low_uv;  // the highest voltage that is not above the knee
    Line low;
    Line high;
    ArrheniusFixed offset;
    extended numerator;
};

namespace arrhenius {

inline constexpr int UNIT = 112;  // minus the power of two that a fixed-point value counts
inline constexpr int SLOPE_UNIT = 52;

inline constexpr int32_t TEMPERATURE_MIN_DECIC = -1000;
inline constexpr int32_t TEMPERATURE_MAX_DECIC = 1000;
inline constexpr int32_t VOLTAGE_MIN_UV = 1'000'000;
inline constexpr int32_t VOLTAGE_MAX_UV = 5'000'000;

// Requires |value| < 2^15; cuts below the unit.
constexpr ArrheniusFixed to_fixed(extended value) {
    return static_cast<ArrheniusFixed>(value * static_cast<extended>(ArrheniusFixed{1} << UNIT));
}

constexpr ArrheniusModel::Line to_line(extended offset, extended slope) {
    const extended magnitude = slope < 0 ? -slope : slope;
    return {.offset = to_fixed(offset),
            .slope_52 =
                static_cast<uint64_t>(magnitude * static_cast<extended>(uint64_t{1} << SLOPE_UNIT)),
            .rises = slope > 0};
}

}  // namespace arrhenius

// Whether the fixed-point arithmetic represents every term of these constants exactly, at all valid
// temperatures and voltages. A product below 1 would have bits below the unit, and sums must stay
// within 15 bits above the point. The model's own values lie well inside: terms up to 55, slopes
// from 2.12 up. Constants that do not hold must be rejected.
constexpr bool holds(const ArrheniusConstants& constants) {
    const auto within = [](extended value, extended low, extended high) {
        return value >= low && value <= high;
    };
    const auto is_offset = [&](extended value) {
        return within(value, -4096, 4096) &&
               static_cast<extended>(arrhenius::to_fixed(value)) ==
                   value * static_cast<extended>(ArrheniusFixed{1} << arrhenius::UNIT);
    };
    const auto is_slope = [&](extended value) {
        return within(value < 0 ? -value : value, 1, 800);
    };
    const extended hottest = arrhenius::TEMPERATURE_MAX_DECIC / 10 + KELVIN_OFFSET;
    const extended coldest = arrhenius::TEMPERATURE_MIN_DECIC / 10 + KELVIN_OFFSET;
    return within(constants.activation_k, hottest + 1, 4096 * coldest) &&
           within(constants.knee_v, 1, 5) && is_offset(constants.low_offset) &&
           is_slope(constants.low_slope) && is_offset(constants.high_offset) &&
           is_slope(constants.high_slope) && is_offset(constants.offset) &&
           within(constants.numerator, 1, 1e9);
}

// Requires constants that hold.
constexpr ArrheniusModel arrhenius_model(const ArrheniusConstants& constants) {
    auto last_low_uv = static_cast<int32_t>(constants.knee_v * 1'000'000) + 1;
    while (static_cast<extended>(last_low_uv) / 1'000'000 > constants.knee_v) {
        last_low_uv--;
    }
    return {.activation_k = constants.activation_k,
            .last_low_uv = last_low_uv,
            .low = arrhenius::to_line(constants.low_offset, constants.low_slope),
            .high = arrhenius::to_line(constants.high_offset, constants.high_slope),
            .offset = arrhenius::to_fixed(constants.offset),
            .numerator = constants.numerator};
}

// The Arrhenius rate per second of a reading in 0.1 degC and uV: 5041 / exp(A + B - 25.41) with
// A = 9441.71 / (T + 273.15) and B = 44.206 - 9.04 V up to 4.4 V, 13.75 - 2.12 V above, for
// -100 <= T <= 100 (degC) and 1 <= V <= 5 (volts); 0 for other samples. About 1 at 45 degC and
// 4.48 V, 0.115 at 25 degC and 4.4 V.
//
// Neighbouring seconds mostly share a reading: `terms` keeps what was computed last, and nothing is
// computed again whose input did not change; it must not be handed to another model. The result is
// bit for bit that of the formula in extended precision, each operation rounded once.
extended arrhenius_rate(const ArrheniusModel& model, ArrheniusTerms& terms,
                        int32_t temperature_decic, int32_t voltage_uv);

}  // namespace cellwarden
