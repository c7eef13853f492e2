// The rate of the Arrhenius integral: how fast a battery ages at a temperature and a voltage.
#pragma once

#include <cstdint>

#include "state/service_state.h"

namespace cellwarden {

// The Arrhenius rate per second of a reading in 0.1 degC and uV: 5041 / exp(A + B - 25.41) with
// A = 9441.71 / (T + 273.15) and B = 44.206 - 9.04 V up to 4.4 V, 13.75 - 2.12 V above, for
// -100 <= T <= 100 (degC) and 1 <= V <= 5 (volts); 0 for other samples. About 1 at 45 degC and
// 4.48 V, 0.115 at 25 degC and 4.4 V.
//
// Neighbouring seconds mostly share a reading: `terms` keeps what was computed last, and nothing is
// computed again whose input did not change. The result is bit for bit that of the formula in
// extended precision, each operation rounded once.
extended arrhenius_rate(ArrheniusTerms& terms, int32_t temperature_decic, int32_t voltage_uv);

}  // namespace cellwarden
