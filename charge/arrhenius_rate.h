// The rate of the Arrhenius integral: how fast a battery ages at a temperature and a voltage.
#pragma once

#include <cstdint>

#include "charge/model_constants.h"
#include "platform/unpacked.h"
#include "state/service_state.h"

namespace cellwarden {

inline constexpr int32_t ARRHENIUS_TEMPERATURE_LIMIT_DECIC = 1000;
inline constexpr int32_t ARRHENIUS_VOLTAGE_MIN_UV = 1'000'000;
inline constexpr int32_t ARRHENIUS_VOLTAGE_MAX_UV = 5'000'000;

// The constants as the integer arithmetic uses them.
struct ArrheniusModel {
    struct Line {
        Unpacked offset;
        Unpacked slope;
    };

    extended activation_k;
    int32_t last_low_uv;  // the highest voltage that is not above the knee
    Line low;
    Line high;
    Unpacked offset;
    Unpacked numerator;
};

// Whether the rate of every valid sample is a number that the integer arithmetic can represent: no
// factor may be 0, and exp() must neither become infinite nor 0. Callers must reject constants that
// do not hold; NaN does not.
constexpr bool holds(const ArrheniusConstants& constants) {
    const auto is_within = [](extended value, extended low, extended high) {
        return value >= low && value <= high;
    };
    bool exponents_hold = true;
    for (const int celsius : {-100, 100}) {
        const extended sum = constants.activation_k / (celsius + KELVIN_OFFSET) + constants.offset;
        for (const extended low_v : {extended{1}, extended{constants.knee_v}}) {
            const extended line = constants.low_offset + constants.low_slope * low_v;
            exponents_hold = exponents_hold && is_within(sum + line, -11'000, 11'000);
        }
        for (const extended high_v : {extended{constants.knee_v}, extended{5}}) {
            const extended line = constants.high_offset + constants.high_slope * high_v;
            exponents_hold = exponents_hold && is_within(sum + line, -11'000, 11'000);
        }
    }
    return exponents_hold && constants.activation_k != 0 && constants.low_slope != 0 &&
           constants.high_slope != 0 && is_within(constants.knee_v, 1, 5) &&
           is_within(constants.numerator, 1e-9, 1e9);
}

// Requires constants that hold.
constexpr ArrheniusModel arrhenius_model(const ArrheniusConstants& constants) {
    auto last_low_uv = static_cast<int32_t>(constants.knee_v * 1'000'000) + 1;
    while (static_cast<extended>(last_low_uv) / 1'000'000 > constants.knee_v) {
        last_low_uv--;
    }
    return {.activation_k = constants.activation_k,
            .last_low_uv = last_low_uv,
            .low = {unpack(constants.low_offset), unpack(constants.low_slope)},
            .high = {unpack(constants.high_offset), unpack(constants.high_slope)},
            .offset = unpack(constants.offset),
            .numerator = unpack(constants.numerator)};
}

// The Arrhenius rate per second of a reading in 0.1 degC and uV: 5041 / exp(A + B - 25.41) with
// A = 9441.71 / (T + 273.15) and B = 44.206 - 9.04 V up to 4.4 V, 13.75 - 2.12 V above, for
// -100 <= T <= 100 (degC) and 1 <= V <= 5 (volts); 0 for other samples. About 1 at 45 degC and
// 4.48 V, 0.115 at 25 degC and 4.4 V.
//
// Neighbouring seconds mostly share a reading: `terms` keeps what was computed last, and nothing is
// computed again whose input did not change; it must not be passed with another model. The result
// is bit for bit that of the formula in extended precision, each operation rounded once.
extended arrhenius_rate(const ArrheniusModel& model, ArrheniusTerms& terms,
                        int32_t temperature_decic, int32_t voltage_uv);

}  // namespace cellwarden
