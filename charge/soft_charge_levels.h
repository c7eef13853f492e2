// The three indicators of the battery-care level, each a level. The first cycle of soft charge in a
// ten-day period decides the period's level, which then does not change.
#pragma once

#include <cstdint>

#include "platform/device.h"
#include "product/policy.h"
#include "state/service_state.h"

namespace cellwarden {

// Returns a level of 0 to 5 from the charge put in over life, in 0.01 % (10000 = one full charge).
int32_t soft_charge1_level_of(uint32_t total_cycle_count, const Policy& policy);

// Returns the Arrhenius level of this cycle. Decides, stores and logs it if the period has no level
// yet.
int32_t decide_arrhenius_level(const Device& device, LevelState& levels, const AgeingState& ageing,
                               int32_t online_time, const Policy& policy);

// Returns the full-stay level of this cycle, 0 to 4, which depends on the measured capacity.
// Decides and stores it if the period has no level yet. Requires a known `soh`.
int32_t decide_full_stay_level(LevelState& levels, const AgeingState& ageing,
                               const UsageState& usage, const Policy& policy);

}  // namespace cellwarden
