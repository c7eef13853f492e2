#include "charge/soh_estimates.h"

#include <algorithm>

#include "state/wrapping.h"

namespace cellwarden {
namespace {

void update_raw_soh(ServiceState& state, const SysfsParams& snapshot) {
    const int64_t learned_mah = param_integer(snapshot, PARAM_LEARNED_CAPACITY);
    const int64_t design_uah = param_integer(snapshot, PARAM_BATTERY_CHARGE_FULL_DESIGN);
    if (learned_mah != 0 && design_uah != 0) {
        state.latest_raw_soh = low_i32(learned_mah * UAH_PER_MAH * FULL_SOH / design_uah);
    }
}

void update_predicted_soh(ServiceState& state) {
    const extended lost = state.total_full_stay_cap_degradation + state.total_cycle_degradation;
    state.latest_predicted_soh = to_i32((100 - lost) * 1000);
}

// The reference moves once per ten-day period.
void move_reference(ServiceState& state) {
    const int32_t previous_period = state.online_time / PERIOD_S - 1;
    if (state.prev_soh_bucket_index != previous_period) {
        state.prev_bucket_user_soh = state.latest_user_soh;
        state.prev_soh_bucket_index = previous_period;
    }
}

void update_user_soh(ServiceState& state, const Policy& policy) {
    if (state.latest_user_soh == 0 || state.total_cycle_count < policy.smoothing_from_cycle_count) {
        state.latest_user_soh = FULL_SOH;
        return;
    }
    if (state.soh == 0 || state.latest_predicted_soh == 0) {
        return;
    }
    const auto level = static_cast<size_t>(std::clamp(state.soft_charge_mode, 0, MAX_LEVEL));
    const int32_t target = to_i32(static_cast<extended>(state.soh) * policy.level_factors[level]);

    move_reference(state);
    const int32_t reference = state.prev_bucket_user_soh;
    const extended factor =
        reference / 1000 >= policy.low_soh_percent ? policy.step_factor : policy.step_factor_low;
    const int32_t floor = to_i32(static_cast<extended>(reference) * factor);

    state.latest_user_soh = std::min(std::max(target, floor), state.latest_user_soh);
}

}  // namespace

void update_soh_estimates(ServiceState& state, const SysfsParams& snapshot, const Policy& policy) {
    update_raw_soh(state, snapshot);
    state.latest_filtered_soh = state.soh;
    update_predicted_soh(state);
    update_user_soh(state, policy);
}

void update_user_charge_full(ServiceState& state, const SysfsParams& snapshot) {
    const int64_t design_uah = param_integer(snapshot, PARAM_BATTERY_CHARGE_FULL_DESIGN);
    state.user_charge_full = low_i32(design_uah * state.latest_user_soh / FULL_SOH);
}

}  // namespace cellwarden
