#include "charge/soft_charge.h"

#include <algorithm>

#include "charge/ageing_models.h"
#include "charge/soft_charge_levels.h"
#include "charge/soh_estimates.h"
#include "charge/usage_accounting.h"
#include "platform/sysfs_io.h"

namespace cellwarden {
namespace {

constexpr int32_t SERVED_MODEL = 5;

// High nibble of the override byte; the low nibble is the level that OVERRIDE_LEVEL writes.
constexpr uint8_t OVERRIDE_SUSPEND = 0xE;
constexpr uint8_t OVERRIDE_LEVEL = 0xD;

constexpr uint8_t override_kind(uint8_t override_byte) {
    return override_byte >> 4;
}

bool is_served(const ServiceState& state, const SysfsParams& snapshot) {
    return override_kind(state.soft_charge_override) != OVERRIDE_SUSPEND &&
           param_integer(snapshot, PARAM_BATTERY_MODEL_NAME) == SERVED_MODEL;
}

// A level that the driver did not take is written again in the next cycle.
void hand_level_to_driver(const Device& device, const ServiceState& state,
                          const SysfsParams& snapshot) {
    const int32_t target = override_kind(state.soft_charge_override) == OVERRIDE_LEVEL
                               ? state.soft_charge_override & 0xF
                               : state.soft_charge_mode;
    if (param_integer(snapshot, PARAM_BATT_AGING_LEVEL) != target) {
        (void)write_sysfs_integer(device, PARAM_BATT_AGING_LEVEL, target);
    }
}

void judge_battery(const Device& device, ServiceState& state, const SysfsParams& snapshot) {
    constexpr int32_t SOH_NOT_KNOWN = -1;

    update_usage_tables(device, state, snapshot);
    state.soft_charge1_level = soft_charge1_level_of(state.total_cycle_count);
    update_arrhenius(state, snapshot);
    const int32_t arrhenius_level = decide_arrhenius_level(device, state);
    int32_t full_stay_level = 0;
    if (state.soh != SOH_NOT_KNOWN) {
        update_full_stay_degradation(state, snapshot);
        full_stay_level = decide_full_stay_level(state);
    }
    update_cycle_degradation(state, snapshot);
    update_soh_estimates(state, snapshot);  // with the level of the previous cycle
    state.soft_charge_mode = std::max({state.soft_charge1_level, arrhenius_level, full_stay_level});
    update_user_charge_full(state, snapshot);
    hand_level_to_driver(device, state, snapshot);
}

}  // namespace

void control_soft_charge(const Device& device, ServiceState& state, const SysfsParams& snapshot) {
    constexpr int32_t MODE_NOT_KNOWN = -1;

    if (state.soft_charge_mode == MODE_NOT_KNOWN) {
        state.soft_charge_mode = param_integer(snapshot, PARAM_BATT_AGING_LEVEL);
    }
    update_online_time(state);
    update_soh(state, snapshot);
    if (is_served(state, snapshot)) {
        judge_battery(device, state, snapshot);
    }
    state.soft_charge.last_soft_charge_boot_time = state.cycle_boot_time;
}

}  // namespace cellwarden
