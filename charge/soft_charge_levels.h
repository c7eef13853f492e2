// The three indicators of the battery-care level, each a level of its own. A level per ten-day
// period is decided by the first cycle of soft charge in that period and stays for the rest of it.
#pragma once

#include <cstdint>

#include "platform/device.h"
#include "product/policy.h"
#include "state/service_state.h"

namespace cellwarden {

// Level 0 to 5 from the charge put in over life, in 0.01 % (10000 = one full charge).
int32_t soft_charge1_level_of(uint32_t total_cycle_count, const Policy& policy);

// Arrhenius level of this cycle; decides, stores and logs it if the period has no level yet.
int32_t decide_arrhenius_level(const Device& device, LevelState& levels, const AgeingState& ageing,
                               int32_t online_time, const Policy& policy);

// Full-stay level of this cycle, 0 to 4, judged against the battery's measured capacity; decides
// and stores it if the period has no level yet. Requires a known `soh`.
int32_t decide_full_stay_level(LevelState& levels, const AgeingState& ageing,
                               const UsageState& usage, const Policy& policy);

}  // namespace cellwarden
