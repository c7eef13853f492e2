#include "charge/soft_charge.h"

#include <algorithm>

#include "state/wrapping.h"

namespace cellwarden {
namespace {

void update_raw_soh(HealthState& health, const SysfsParams& snapshot) {
    const int64_t learned_mah = param_integer(snapshot, PARAM_LEARNED_CAPACITY);
    const int64_t design_uah = param_integer(snapshot, PARAM_BATTERY_CHARGE_FULL_DESIGN);
    if (learned_mah != 0 && design_uah != 0) {
        health.latest_raw_soh = low_i32(learned_mah * UAH_PER_MAH * FULL_SOH / design_uah);
    }
}

void update_predicted_soh(HealthState& health, const AgeingState& ageing) {
    const extended lost = ageing.total_full_stay_cap_degradation + ageing.total_cycle_degradation;
    health.latest_predicted_soh = to_i32((100 - lost) * 1000);
}

// The reference changes once per ten-day period.
void move_reference(HealthState& health, int32_t online_time) {
    const int32_t previous_period = online_time / PERIOD_S - 1;
    if (health.prev_soh_bucket_index != previous_period) {
        health.prev_bucket_user_soh = health.latest_user_soh;
        health.prev_soh_bucket_index = previous_period;
    }
}

void update_user_soh(HealthState& health, const UsageState& usage, int32_t mode,
                     const Policy& policy) {
    if (health.latest_user_soh == 0 ||
        usage.total_cycle_count < policy.smoothing_from_cycle_count) {
        health.latest_user_soh = FULL_SOH;
        return;
    }
    if (usage.soh == 0 || health.latest_predicted_soh == 0) {
        return;
    }
    const auto level = static_cast<size_t>(std::clamp(mode, 0, MAX_LEVEL));
    const int32_t target = to_i32(static_cast<extended>(usage.soh) * policy.level_factors[level]);

    move_reference(health, usage.online_time);
    const int32_t reference = health.prev_bucket_user_soh;
    const extended factor =
        reference / 1000 >= policy.low_soh_percent ? policy.step_factor : policy.step_factor_low;
    const int32_t floor = to_i32(static_cast<extended>(reference) * factor);

    health.latest_user_soh = std::min(std::max(target, floor), health.latest_user_soh);
}

}  // namespace

void update_soh_estimates(ServiceState& state, const SysfsParams& snapshot, const Policy& policy) {
    update_raw_soh(state.health, snapshot);
    state.health.latest_filtered_soh = state.usage.soh;
    update_predicted_soh(state.health, state.ageing);
    update_user_soh(state.health, state.usage, state.levels.soft_charge_mode, policy);
}

void update_user_charge_full(HealthState& health, const SysfsParams& snapshot) {
    const int64_t design_uah = param_integer(snapshot, PARAM_BATTERY_CHARGE_FULL_DESIGN);
    health.user_charge_full = low_i32(design_uah * health.latest_user_soh / FULL_SOH);
}

}  // namespace cellwarden
