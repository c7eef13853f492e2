// Updates the statistics record, once per full cycle with a known battery, right after soft charge.
// Each source file is named for what its steps count.
#pragma once

#include <array>
#include <cstdint>

#include "platform/sysfs_params.h"
#include "product/limits.h"
#include "state/batt_stat.h"
#include "state/service_state.h"

namespace cellwarden {

// Runs all steps in order. Counters wrap at their width. A step books an interval or a gain by the
// readings of the earlier call, unless its comment differs. The first call after start-up does not
// book any.
void update_batt_stat(const Device& device, ServiceState& state, BattStat& stat,
                      const SysfsParams& snapshot);

// Arguments of a step. It reads the working state and this cycle's readings, and updates the record
// and its memory of the previous call.
struct StatStep {
    const Device& device;
    const ServiceState& state;
    const SysfsParams& snapshot;
    StatUpdateMemory& memory;
    BattStat& stat;
};

// --- capacity_history.cpp: identity of the battery and the history of its capacity

// Sets `initialized_time` once, to the wall clock of this boot, as soon as the wall clock is set
// and the record, as of the previous call, contains 0.3 full charges or more.
void update_established_time(const StatStep& step);

// Sets the model's name if it is empty: at most 15 characters, padded with zeros.
void update_model_name(const StatStep& step);

// Adds the change of the learning counter to the learning events. Shifts both capacity histories by
// one entry if the learning counter or the soft-charge level has changed.
void update_capacity_history(const StatStep& step);

// --- charge_counters.cpp: time and charge by manner of charging, and the capacity at shutdown

// Counts the seconds charging or full while the phone was off (boot phase 1) or on (3).
void update_charging_time(const StatStep& step);

// Counts the seconds with smart charging active.
void update_smart_charge_time(const StatStep& step);

// Counts the seconds with battery health "Warm".
void update_warm_time(const StatStep& step);

// Counts the seconds of intervals that begin and end with charging at 0.8C or more, otherwise at
// 0.6C or more.
void update_fast_charge_time(const StatStep& step);

// Counts the state of charge gained in the same way. Logs and skips an invalid state of charge.
void update_fast_charge_soc(const StatStep& step);

// Counts the shutdowns (entries into phase 4) with an empty battery.
void update_shutdown_count(const StatStep& step);

// Stores the capacity in % during the shutdown phase, low 8 bits.
void update_shutdown_capacity(const StatStep& step);

// --- charger_classes.cpp: use of chargers by class, 0 to 15

// Returns the class by the driver's charger type and, for power-delivery types, the charger's
// wattage in uW; -1 if the type has no class.
int32_t charger_class_of(int32_t charger_type, int32_t max_wattage_uw);

// Counts an attachment when the class changes. Books time and gained charge to the class of the
// previous call.
void update_charger_classes(const StatStep& step);

// --- thermal_ranges.cpp

// Counts the seconds per range of the system's thermal mitigation level, by the level of the
// previous call. Time at levels above the last range is not counted.
void update_thermal_ranges(const StatStep& step);

// --- discharge_extremes.cpp. Currents are negative while discharging.

// The maxima in the order of max_discharge_time and of DISCHARGE_MAXIMA_LIMITS.
inline constexpr std::array<uint16_t BattStat::*, DISCHARGE_MAXIMA_LIMITS.size()> DISCHARGE_MAXIMA =
    {&BattStat::max_discharge_current, &BattStat::max_dischg_cur_3500mv_10c,
     &BattStat::max_dischg_cur_3500mv_5c, &BattStat::max_dischg_cur_3500mv_0c};

// Updates the extremes of discharge current, cell voltage and temperature, and the wall clock of
// each.
void update_extremes(const StatStep& step);

// Counts the seconds of heavy discharge by condition. Books an interval by the readings of its
// later call, and only if the battery was neither charging nor full in either call.
void update_discharge_time(const StatStep& step);

// --- soft_charge_history.cpp: copies soft charge's working state to the record, in its stored
// encodings, and back; records when levels and state-of-health milestones were first reached

// Highest working state of health below each milestone, 0.001 %, in the order of first_soh_time.
inline constexpr std::array<int32_t, SOH_MILESTONE_COUNT> SOH_MILESTONES = {
    94'999, 89'999, 84'999, 79'999, 69'999, 59'999, 49'999, 39'999, 19'999};

// Seeds the working state of soft charge from an accepted record.
void seed_service_state(ServiceState& state, const BattStat& stat);

void copy_usage_tables(const UsageState& usage, BattStat& stat);

// Copies level, online time, ageing sums, degradations and the four states of health with their
// histories, and records when levels and milestones were reached. Encodes only the sums of
// `changed_periods`. A level or state of health of -1 leaves its stored value unchanged; an online
// time outside all periods leaves the histories unchanged.
void copy_soft_charge_history(const ServiceState& state, BattStat& stat);

}  // namespace cellwarden
