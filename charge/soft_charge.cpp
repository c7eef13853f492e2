#include "charge/soft_charge.h"

#include <algorithm>

#include "charge/ageing_models.h"
#include "platform/sysfs_io.h"
#include "product/attribute_texts.h"

namespace cellwarden {
namespace {

constexpr uint8_t override_kind(uint8_t override_byte) {
    return override_byte >> 4;
}

bool is_served(const LevelState& levels, const SysfsParams& snapshot) {
    return override_kind(levels.soft_charge_override) != OVERRIDE_SUSPEND &&
           param_integer(snapshot, PARAM_BATTERY_MODEL_NAME) == SERVED_MODEL;
}

// If the driver does not accept a level, the next cycle writes it again.
void hand_level_to_driver(const Device& device, const LevelState& levels,
                          const SysfsParams& snapshot) {
    const int32_t target = override_kind(levels.soft_charge_override) == OVERRIDE_LEVEL
                               ? levels.soft_charge_override & 0xF
                               : levels.soft_charge_mode;
    if (param_integer(snapshot, PARAM_BATT_AGING_LEVEL) != target) {
        (void)write_sysfs_integer(device, PARAM_BATT_AGING_LEVEL, target);
    }
}

void judge_battery(const Device& device, ServiceState& state, const SysfsParams& snapshot,
                   const Policy& policy) {
    update_usage_tables(device, state, snapshot, policy.bins);
    state.levels.soft_charge1_level = soft_charge1_level_of(state.usage.total_cycle_count, policy);
    update_arrhenius(state, snapshot, policy);
    const int32_t arrhenius_level =
        decide_arrhenius_level(device, state.levels, state.ageing, state.usage.online_time, policy);
    int32_t full_stay_level = 0;
    if (state.usage.soh != NOT_KNOWN) {
        update_full_stay_degradation(state, snapshot, policy);
        full_stay_level = decide_full_stay_level(state.levels, state.ageing, state.usage, policy);
    }
    update_cycle_degradation(state, snapshot, policy);
    update_soh_estimates(state, snapshot, policy);  // with the level of the previous cycle
    state.levels.soft_charge_mode =
        std::max({state.levels.soft_charge1_level, arrhenius_level, full_stay_level});
    update_user_charge_full(state.health, snapshot);
    hand_level_to_driver(device, state.levels, snapshot);
}

}  // namespace

void control_soft_charge(const Device& device, ServiceState& state, const SysfsParams& snapshot,
                         const Policy& policy) {
    if (state.levels.soft_charge_mode == NOT_KNOWN) {
        state.levels.soft_charge_mode = param_integer(snapshot, PARAM_BATT_AGING_LEVEL);
    }
    update_online_time(state.usage, state.clock, state.soft_charge);
    update_soh(state.usage, snapshot);
    if (is_served(state.levels, snapshot)) {
        judge_battery(device, state, snapshot, policy);
    }
    state.soft_charge.last_soft_charge_boot_time = state.clock.cycle_boot_time;
}

}  // namespace cellwarden
