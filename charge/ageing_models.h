// Three empirical models of how the battery ages, each summed over its life and per ten-day period
// of online time: the Arrhenius integral, the capacity lost while full, and the capacity lost by
// charging. All arithmetic is extended precision; T is in degC, V in volts. Samples are valid for
// -100 <= T <= 100 and 1 <= V <= 5.
#pragma once

#include <cstdint>

#include "platform/sysfs_params.h"
#include "product/policy.h"
#include "state/service_state.h"

namespace cellwarden {

// Adds the rate of every second of online time since the previous call, along the straight line
// between the two readings, each second on its own and in order.
void update_arrhenius(ServiceState& state, const SysfsParams& snapshot, const Policy& policy);

// Books the time at full charge and the capacity lost meanwhile:
//     exp(8.443 V - 4600 / (T + 273.15) - 33) x hours x 100 per cent of design capacity.
void update_full_stay_degradation(ServiceState& state, const SysfsParams& snapshot,
                                  const Policy& policy);

// Books the capacity lost by the charge put in since the previous call:
//     exp(1.77 V - 954.2 / (T + 273.15) - 13.96) x full charges x 100 per cent of design capacity,
// with V the charger's full-charge voltage.
void update_cycle_degradation(ServiceState& state, const SysfsParams& snapshot,
                              const Policy& policy);

}  // namespace cellwarden
