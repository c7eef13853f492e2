// The three indicators of the battery-care level, each a level of its own. A level per ten-day
// period is decided by the first cycle of soft charge in that period and stays for the rest of it.
#pragma once

#include <array>
#include <cstdint>

#include "platform/device.h"
#include "state/service_state.h"

namespace cellwarden {

inline constexpr int32_t MAX_LEVEL = 5;

// Total charge above which a level holds, in 0.01 %: level i + 1 above row i.
inline constexpr std::array<uint32_t, MAX_LEVEL> CYCLE_COUNT_BORDERS = {
    1'000'000, 2'000'000, 4'000'000, 11'000'000, 13'000'000};

// The other two indicators project the ageing over the first 108 periods (1080 days): the latest
// whole period stands for all that are to come.
inline constexpr int32_t LEVEL_HORIZON_PERIODS = 108;

// The projected Arrhenius sum raises the level from the first on and lowers it below the second.
inline constexpr uint32_t ARRHENIUS_RAISE_FROM = 6'591'601;
inline constexpr uint32_t ARRHENIUS_LOWER_BELOW = 6'555'600;

// The full-stay level falls while the measured capacity less the projected loss stays above this.
inline constexpr int32_t CAPACITY_KEPT_PERCENT = 80;

// Level 0 to 5 from the charge put in over life, in 0.01 % (10000 = one full charge).
int32_t soft_charge1_level_of(uint32_t total_cycle_count);

// Arrhenius level of this cycle; decides, stores and logs it if the period has no level yet.
int32_t decide_arrhenius_level(const Device& device, ServiceState& state);

// Full-stay level of this cycle, 0 to 4, judged against the battery's measured capacity; decides
// and stores it if the period has no level yet. Requires a known `soh`.
int32_t decide_full_stay_level(ServiceState& state);

}  // namespace cellwarden
