#include <algorithm>

#include "state/wrapping.h"
#include "stats/batt_stat_update.h"

namespace cellwarden {
namespace {

struct SohHistory {
    int32_t HealthState::*working;
    uint16_t BattStat::*latest;
    PerPeriod<uint16_t> BattStat::*per_10days;
};

constexpr std::array<SohHistory, 4> SOH_HISTORIES = {{
    {&HealthState::latest_user_soh, &BattStat::latest_user_soh, &BattStat::user_soh_per_10days},
    {&HealthState::latest_raw_soh, &BattStat::latest_raw_soh, &BattStat::raw_soh_per_10days},
    {&HealthState::latest_filtered_soh, &BattStat::latest_filtered_soh,
     &BattStat::filtered_soh_per_10days},
    {&HealthState::latest_predicted_soh, &BattStat::latest_predicted_soh,
     &BattStat::predicted_soh_per_10days},
}};

int32_t leading_non_zero(const std::array<uint64_t, 5>& times) {
    const auto* const end = std::find(times.begin(), times.end(), 0U);
    return static_cast<int32_t>(end - times.begin());
}

void seed_user_soh_reference(ServiceState& state, const BattStat& stat) {
    const int32_t previous_period = state.usage.online_time / PERIOD_S - 1;
    if (previous_period >= 0 && previous_period < PERIOD_COUNT) {
        state.health.prev_soh_bucket_index = previous_period;
        state.health.prev_bucket_user_soh =
            from_half_units(stat.user_soh_per_10days[static_cast<size_t>(previous_period)]);
    }
}

void copy_level(const LevelState& levels, int32_t online_time, BattStat& stat) {
    if (levels.soft_charge_mode != NOT_KNOWN) {
        stat.soft_charge_mode = static_cast<uint32_t>(levels.soft_charge_mode);
    }
    const int32_t level = levels.soft_charge1_level;
    if (level >= 1) {
        uint64_t& reached = stat.soft_charge1_onlinetime[static_cast<size_t>(level - 1)];
        if (reached == 0) {
            reached = static_cast<uint64_t>(online_time);
        }
    }
}

void copy_ageing(const AgeingState& ageing, const LevelState& levels, BattStat& stat) {
    stat.total_arrhenius = to_u32(ageing.total_arrhenius);
    stat.arrhenius_lv = levels.arrhenius_lv;
    stat.soc_full_total_time = static_cast<uint64_t>(ageing.soc_full_total_time);
    stat.total_full_stay_cap_degradation = to_micropercent(ageing.total_full_stay_cap_degradation);
    stat.full_stay_capacity_degradation_aging_lv = levels.full_stay_capacity_degradation_aging_lv;
    stat.total_cycle_degradation = to_micropercent(ageing.total_cycle_degradation);
    for (int32_t period = ageing.changed_periods.first; period <= ageing.changed_periods.last;
         period++) {
        const auto i = static_cast<size_t>(period);
        stat.arrhenius_per_10days[i] = to_u32(ageing.arrhenius_per_10days[i]);
        stat.full_stay_capacity_degradation_per_10days[i] =
            to_micropercent(ageing.full_stay_capacity_degradation_per_10days[i]);
        stat.cycle_degradation_per_10days[i] =
            to_micropercent(ageing.cycle_degradation_per_10days[i]);
    }
}

void stamp_soh_milestones(int32_t soh, int64_t wall_time, BattStat& stat) {
    if (soh == NOT_KNOWN) {
        return;
    }
    for (size_t i = 0; i < SOH_MILESTONES.size(); i++) {
        if (stat.first_soh_time[i] == 0 && soh <= SOH_MILESTONES[i]) {
            stat.first_soh_time[i] = static_cast<uint64_t>(wall_time);
        }
    }
}

void copy_soh_histories(const HealthState& health, int32_t online_time, BattStat& stat) {
    const int32_t period = online_time / PERIOD_S;
    const bool has_period = online_time >= 0 && period < PERIOD_COUNT;
    for (const SohHistory& history : SOH_HISTORIES) {
        const int32_t soh = health.*history.working;
        if (soh == NOT_KNOWN) {
            continue;
        }
        stat.*history.latest = to_half_units(soh);
        if (has_period) {
            (stat.*history.per_10days)[static_cast<size_t>(period)] = to_half_units(soh);
        }
    }
}

}  // namespace

void seed_service_state(ServiceState& state, const BattStat& stat) {
    state.levels.soft_charge_override = stat.soft_charge_override;
    state.levels.soft_charge_mode = low_i32(stat.soft_charge_mode);
    state.usage.online_time = low_i32(stat.online_time);
    state.usage.soh = from_half_units(stat.latest_filtered_soh);
    state.usage.vt_cet_table = stat.vt_cet_table;
    state.usage.ct_charge_table = stat.ct_charge_table;
    state.usage.total_cycle_count = stat.total_cycle_count;
    state.levels.soft_charge1_level = leading_non_zero(stat.soft_charge1_onlinetime);
    state.ageing.total_arrhenius = static_cast<extended>(stat.total_arrhenius);
    state.levels.arrhenius_lv = stat.arrhenius_lv;
    state.ageing.soc_full_total_time = low_i32(static_cast<int64_t>(stat.soc_full_total_time));
    state.ageing.total_full_stay_cap_degradation =
        from_micropercent(stat.total_full_stay_cap_degradation);
    state.levels.full_stay_capacity_degradation_aging_lv =
        stat.full_stay_capacity_degradation_aging_lv;
    state.ageing.total_cycle_degradation = from_micropercent(stat.total_cycle_degradation);
    for (size_t i = 0; i < PERIOD_COUNT; i++) {
        state.ageing.arrhenius_per_10days[i] = static_cast<extended>(stat.arrhenius_per_10days[i]);
        state.ageing.full_stay_capacity_degradation_per_10days[i] =
            from_micropercent(stat.full_stay_capacity_degradation_per_10days[i]);
        state.ageing.cycle_degradation_per_10days[i] =
            from_micropercent(stat.cycle_degradation_per_10days[i]);
    }
    state.ageing.changed_periods = ALL_PERIODS;
    for (const SohHistory& history : SOH_HISTORIES) {
        state.health.*history.working = from_half_units(stat.*history.latest);
    }
    seed_user_soh_reference(state, stat);
}

void copy_usage_tables(const UsageState& usage, BattStat& stat) {
    stat.vt_cet_table = usage.vt_cet_table;
    stat.total_cycle_count = usage.total_cycle_count;
    stat.ct_charge_table = usage.ct_charge_table;
}

void copy_soft_charge_history(const ServiceState& state, BattStat& stat) {
    copy_level(state.levels, state.usage.online_time, stat);
    stat.online_time = static_cast<uint32_t>(state.usage.online_time);
    copy_ageing(state.ageing, state.levels, stat);
    stamp_soh_milestones(state.usage.soh, state.clock.cycle_wall_time, stat);
    copy_soh_histories(state.health, state.usage.online_time, stat);
}

}  // namespace cellwarden
