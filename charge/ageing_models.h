// Three empirical models of how the battery ages, each summed over its life and per ten-day period
// of online time: the Arrhenius integral, the capacity lost while full, and the capacity lost by
// charging. All arithmetic is extended precision; T is in degC, V in volts. Samples are valid for
// -100 <= T <= 100 and 1 <= V <= 5.
#pragma once

#include <cstdint>

#include "core/service_state.h"
#include "platform/sysfs_params.h"

namespace cellwarden {

// The Arrhenius rate per second of a reading in 0.1 degC and uV: 5041 / exp(A + B - 25.41) with
// A = 9441.71 / (T + 273.15) and B = 44.206 - 9.04 V up to 4.4 V, 13.75 - 2.12 V above; 0 for an
// invalid sample. About 1 at 45 degC and 4.48 V, 0.115 at 25 degC and 4.4 V.
//
// Neighbouring seconds mostly share a reading: `terms` keeps what was computed last, and nothing is
// computed again whose input did not change. The result is bit for bit that of fresh terms.
extended arrhenius_rate(ArrheniusTerms& terms, int32_t temperature_decic, int32_t voltage_uv);

// Adds the rate of every second of online time since the previous call, along the straight line
// between the two readings, each second on its own and in order.
void update_arrhenius(ServiceState& state, const SysfsParams& snapshot);

// Books the time at full charge and the capacity lost meanwhile:
//     exp(8.443 V - 4600 / (T + 273.15) - 33) x hours x 100 per cent of design capacity.
void update_full_stay_degradation(ServiceState& state, const SysfsParams& snapshot);

// Books the capacity lost by the charge put in since the previous call:
//     exp(1.77 V - 954.2 / (T + 273.15) - 13.96) x full charges x 100 per cent of design capacity,
// with V the charger's full-charge voltage.
void update_cycle_degradation(ServiceState& state, const SysfsParams& snapshot);

}  // namespace cellwarden
