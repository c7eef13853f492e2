#include "stats/soft_charge_history.h"

namespace cellwarden {
namespace {

struct SohHistory {
    int32_t ServiceState::*working;
    uint16_t BattStat::*latest;
    PerPeriod<uint16_t> BattStat::*per_10days;
};

constexpr std::array<SohHistory, 4> SOH_HISTORIES = {{
    {&ServiceState::latest_user_soh, &BattStat::latest_user_soh, &BattStat::user_soh_per_10days},
    {&ServiceState::latest_raw_soh, &BattStat::latest_raw_soh, &BattStat::raw_soh_per_10days},
    {&ServiceState::latest_filtered_soh, &BattStat::latest_filtered_soh,
     &BattStat::filtered_soh_per_10days},
    {&ServiceState::latest_predicted_soh, &BattStat::latest_predicted_soh,
     &BattStat::predicted_soh_per_10days},
}};

constexpr uint16_t to_half_units(int32_t soh) {
    return static_cast<uint16_t>(soh / 2);
}

// A stored signed working value: its bits in 32, its sign carried into 64.
constexpr uint32_t bits_of(int32_t value) {
    return static_cast<uint32_t>(value);
}
constexpr uint64_t sign_extended(int32_t value) {
    return static_cast<uint64_t>(int64_t{value});
}

void copy_level(const ServiceState& state, BattStat& stat) {
    if (state.soft_charge_mode != NOT_KNOWN) {
        stat.soft_charge_mode = bits_of(state.soft_charge_mode);
    }
    const int32_t level = state.soft_charge1_level;
    if (level >= 1) {
        uint64_t& reached = stat.soft_charge1_onlinetime[static_cast<size_t>(level - 1)];
        if (reached == 0) {
            reached = sign_extended(state.online_time);
        }
    }
}

void copy_ageing(const ServiceState& state, BattStat& stat) {
    stat.total_arrhenius = to_u32(state.total_arrhenius);
    stat.arrhenius_lv = state.arrhenius_lv;
    stat.soc_full_total_time = sign_extended(state.soc_full_total_time);
    stat.total_full_stay_cap_degradation = to_micropercent(state.total_full_stay_cap_degradation);
    stat.full_stay_capacity_degradation_aging_lv = state.full_stay_capacity_degradation_aging_lv;
    stat.total_cycle_degradation = to_micropercent(state.total_cycle_degradation);
    for (int32_t period = state.changed_periods.first; period <= state.changed_periods.last;
         period++) {
        const auto i = static_cast<size_t>(period);
        stat.arrhenius_per_10days[i] = to_u32(state.arrhenius_per_10days[i]);
        stat.full_stay_capacity_degradation_per_10days[i] =
            to_micropercent(state.full_stay_capacity_degradation_per_10days[i]);
        stat.cycle_degradation_per_10days[i] =
            to_micropercent(state.cycle_degradation_per_10days[i]);
    }
}

void stamp_soh_milestones(const ServiceState& state, BattStat& stat) {
    if (state.soh == NOT_KNOWN) {
        return;
    }
    for (size_t i = 0; i < SOH_MILESTONES.size(); i++) {
        if (stat.first_soh_time[i] == 0 && state.soh <= SOH_MILESTONES[i]) {
            stat.first_soh_time[i] = static_cast<uint64_t>(state.cycle_wall_time);
        }
    }
}

void copy_soh_histories(const ServiceState& state, BattStat& stat) {
    const int32_t period = state.online_time / PERIOD_S;
    const bool has_period = state.online_time >= 0 && period < PERIOD_COUNT;
    for (const SohHistory& history : SOH_HISTORIES) {
        const int32_t soh = state.*history.working;
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

uint32_t to_micropercent(extended percent) {
    return to_u32(percent * 1'000'000);
}

void copy_usage_tables(const ServiceState& state, BattStat& stat) {
    stat.vt_cet_table = state.vt_cet_table;
    stat.total_cycle_count = state.total_cycle_count;
    stat.ct_charge_table = state.ct_charge_table;
}

void copy_soft_charge_history(const ServiceState& state, BattStat& stat) {
    copy_level(state, stat);
    stat.online_time = bits_of(state.online_time);
    copy_ageing(state, stat);
    stamp_soh_milestones(state, stat);
    copy_soh_histories(state, stat);
}

}  // namespace cellwarden
