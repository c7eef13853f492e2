// The rate of the Arrhenius integral: the speed of ageing at a temperature and a voltage.
#pragma once

#include <cstdint>

#include "numbers/unpacked.h"
#include "product/policy.h"
#include "state/service_state.h"

namespace cellwarden {

// The constants as numbers for the integer arithmetic.
struct ArrheniusModel {
    struct Line {
        Unpacked offset;
        Unpacked slope;
    };

    extended activation_k;
    int32_t knee_uv;
    Line low;
    Line high;
    Unpacked offset;
    Unpacked numerator;
};

// Requires constants that policy_fault() accepts.
constexpr ArrheniusModel arrhenius_model(const ArrheniusConstants& constants) {
    return {.activation_k = constants.activation_k,
            .knee_uv = constants.knee_uv,
            .low = {unpack(constants.low_offset), unpack(constants.low_slope)},
            .high = {unpack(constants.high_offset), unpack(constants.high_slope)},
            .offset = unpack(constants.offset),
            .numerator = unpack(constants.numerator)};
}

// Returns the Arrhenius rate per second of a reading in 0.1 degC and uV: 5041 / exp(A + B - 25.41)
// with A = 9441.71 / (T + 273.15) and B = 44.206 - 9.04 V up to 4.4 V, 13.75 - 2.12 V above, for
// -100 <= T <= 100 (degC) and 1 <= V <= 5 (volts); 0 for other samples. The rate is about 1 at 45
// degC and 4.48 V, and 0.115 at 25 degC and 4.4 V.
//
// Consecutive seconds often share a reading: `terms` keeps the latest terms, and a term is computed
// only if its input has changed. Do not pass the same `terms` with another model. The result has
// the same bits as the formula in extended precision, with each operation rounded once.
const Unpacked& arrhenius_rate(const ArrheniusModel& model, ArrheniusTerms& terms,
                               int32_t temperature_decic, int32_t voltage_uv);

}  // namespace cellwarden
