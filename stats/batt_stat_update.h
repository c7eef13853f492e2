// Brings the statistics record up to date, once per full cycle with a known battery, right after
// soft charge. Each step of the update stands in a file named for what it counts.
#pragma once

#include <array>
#include <cstdint>

#include "platform/sysfs_params.h"
#include "product/limits.h"
#include "state/batt_stat.h"
#include "state/service_state.h"

namespace cellwarden {

// Counters wrap at their width. An interval or a gain is booked by the readings of its earlier call
// unless a step says otherwise, so the first call after start-up books none.
void update_batt_stat(const Device& device, ServiceState& state, BattStat& stat,
                      const SysfsParams& snapshot);

// What a step works on: it reads the working state and this cycle's readings, and updates its
// memory of the previous call and the record.
struct StatStep {
    const Device& device;
    const ServiceState& state;
    const SysfsParams& snapshot;
    StatUpdateMemory& memory;
    BattStat& stat;
};

// --- capacity_history.cpp: identity of the battery and the history of its capacity

// Sets `initialized_time`, once, to the wall clock of this boot: when the wall clock is set and the
// record (as of the previous call) holds 0.3 full charges or more.
void update_established_time(const StatStep& step);

// Fills in the model's name while it is empty: at most 15 characters, then zeros.
void update_model_name(const StatStep& step);

// A changed learning counter counts as that many learning events; it, or a changed soft-charge
// level, shifts both capacity histories by one.
void update_capacity_history(const StatStep& step);

// --- charge_counters.cpp: times and charge by the way the battery is charged, and what happens at
// shutdown

// Seconds charging or full while the phone was off (boot phase 1) or on (3).
void update_charging_time(const StatStep& step);

// Seconds with smart charging active.
void update_smart_charge_time(const StatStep& step);

// Seconds with battery health "Warm".
void update_warm_time(const StatStep& step);

// Seconds charging at 0.8C or more, else at 0.6C or more, at both ends of the interval.
void update_fast_charge_time(const StatStep& step);

// State of charge gained likewise. An invalid state of charge is logged and skipped.
void update_fast_charge_soc(const StatStep& step);

// Shutdowns (phase 4 entered) with the battery empty.
void update_shutdown_count(const StatStep& step);

// Capacity in the shutdown phase, low 8 bits.
void update_shutdown_capacity(const StatStep& step);

// --- charger_classes.cpp: use of chargers by class, 0 to 15

// Class of a charger from the driver's charger type and, for power-delivery types, the charger's
// wattage in microwatts; -1 = none.
int32_t charger_class_of(int32_t charger_type, int32_t max_wattage_uw);

// Counts an attachment when the class changes; time and gain of charge are booked to the class of
// the previous call.
void update_charger_classes(const StatStep& step);

// --- thermal_ranges.cpp

// Seconds per range of the system's thermal mitigation level. The time since the previous call is
// booked to the range of that call's level; levels above the last range are booked nowhere.
void update_thermal_ranges(const StatStep& step);

// --- discharge_extremes.cpp. Currents are negative while discharging.

// In the order of max_discharge_time and of DISCHARGE_MAXIMA_LIMITS.
inline constexpr std::array<uint16_t BattStat::*, DISCHARGE_MAXIMA_LIMITS.size()> DISCHARGE_MAXIMA =
    {&BattStat::max_discharge_current, &BattStat::max_dischg_cur_3500mv_10c,
     &BattStat::max_dischg_cur_3500mv_5c, &BattStat::max_dischg_cur_3500mv_0c};

// Extremes of discharge current, cell voltage and temperature, each with the wall clock at which it
// was reached.
void update_extremes(const StatStep& step);

// Seconds of heavy discharge by condition. An interval is booked by the readings of its later call,
// and only where neither of its calls was charging or full.
void update_discharge_time(const StatStep& step);

// --- soft_charge_history.cpp: soft charge's working state into the record and back, in its stored
// encodings, with the moments at which levels and milestones of the state of health were first
// reached

// In the order of first_soh_time: highest working state of health that is below the milestone,
// 0.001 %.
inline constexpr std::array<int32_t, SOH_MILESTONE_COUNT> SOH_MILESTONES = {
    94'999, 89'999, 84'999, 79'999, 69'999, 59'999, 49'999, 39'999, 19'999};

// Seeds the working state of soft charge from an accepted record.
void seed_service_state(ServiceState& state, const BattStat& stat);

void copy_usage_tables(const UsageState& usage, BattStat& stat);

// Level, online times, ageing sums, degradations, milestones and the four state-of-health
// histories. Of the sums per period only those in `changed_periods` are encoded. A working value of
// -1 leaves what is stored; an online time without a period fills no history.
void copy_soft_charge_history(const ServiceState& state, BattStat& stat);

}  // namespace cellwarden
