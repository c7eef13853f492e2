// Three empirical models of battery ageing: the Arrhenius integral, the capacity lost at full
// charge, and the capacity lost by charging. Each is summed over the battery's life and per ten-day
// period of online time, in extended precision. T is in degC, V in volts; samples are valid for
// -100 <= T <= 100 and 1 <= V <= 5.
#pragma once

#include <cstdint>

#include "platform/sysfs_params.h"
#include "product/policy.h"
#include "state/service_state.h"

namespace cellwarden {

// Adds the rate of every second of online time since the previous call, second by second along the
// straight line between the two readings.
void update_arrhenius(ServiceState& state, const SysfsParams& snapshot, const Policy& policy);

// Adds the time at full charge and the capacity lost in it, in % of design capacity:
//     exp(8.443 V - 4600 / (T + 273.15) - 33) x hours x 100
void update_full_stay_degradation(ServiceState& state, const SysfsParams& snapshot,
                                  const Policy& policy);

// Adds the capacity lost by the charge put in since the previous call, in % of design capacity,
// where V is the charger's full-charge voltage:
//     exp(1.77 V - 954.2 / (T + 273.15) - 13.96) x full charges x 100
void update_cycle_degradation(ServiceState& state, const SysfsParams& snapshot,
                              const Policy& policy);

}  // namespace cellwarden
