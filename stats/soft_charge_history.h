// The way of soft charge's working state back into the record, in its stored encodings, with the
// moments at which levels and milestones of the state of health were first reached.
#pragma once

#include <array>
#include <cstdint>

#include "state/batt_stat.h"
#include "state/service_state.h"

namespace cellwarden {

// In the order of first_soh_time: highest working state of health that is below the milestone,
// 0.001 %.
inline constexpr std::array<int32_t, SOH_MILESTONE_COUNT> SOH_MILESTONES = {
    94'999, 89'999, 84'999, 79'999, 69'999, 59'999, 49'999, 39'999, 19'999};

void copy_usage_tables(const UsageState& usage, BattStat& stat);

// Level, online times, ageing sums, degradations, milestones and the four state-of-health
// histories. Of the sums per period only those in `changed_periods` are encoded. A working value of
// -1 leaves what is stored; an online time without a period fills no history.
void copy_soft_charge_history(const ServiceState& state, BattStat& stat);

}  // namespace cellwarden
