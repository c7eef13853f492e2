#include "charge/device_modes.h"

#include <array>

#include "platform/sysfs_io.h"

namespace cellwarden {
namespace {

// The capacity relative to the limits, from above the upper limit to below the lower limit.
enum Zone : uint8_t { ABOVE = 0, AT_UPPER = 1, BETWEEN = 2, AT_LOWER = 3, BELOW = 4 };

constexpr std::array<std::array<LrcState, 5>, 4> NEXT_STATE = {{
    //  above         at upper      between       at lower      below
    {{LRC_DRAINING, LRC_HOLDING, LRC_CHARGING, LRC_CHARGING, LRC_CHARGING}},   // charging
    {{LRC_DRAINING, LRC_HOLDING, LRC_HOLDING, LRC_CHARGING, LRC_CHARGING}},    // holding
    {{LRC_DRAINING, LRC_HOLDING, LRC_HOLDING, LRC_HOLDING, LRC_CHARGING}},     // draining
    {{LRC_DRAINING, LRC_CHARGING, LRC_CHARGING, LRC_CHARGING, LRC_CHARGING}},  // any other value
}};

Zone zone_of(int32_t capacity, int32_t upper, int32_t lower) {
    if (capacity >= upper) {
        return capacity > upper ? ABOVE : AT_UPPER;
    }
    if (capacity <= lower) {
        return capacity < lower ? BELOW : AT_LOWER;
    }
    return BETWEEN;
}

void set_switch(const Device& device, const SysfsParams& snapshot, SysfsParamId id, int32_t value) {
    if (param_integer(snapshot, id) != value) {
        (void)write_sysfs_integer(device, id, value);
    }
}

}  // namespace

int32_t next_lrc_state(int32_t state, int32_t capacity, int32_t upper, int32_t lower) {
    constexpr size_t ANY_OTHER = NEXT_STATE.size() - 1;
    const bool known = state >= LRC_CHARGING && state <= LRC_DRAINING;
    return NEXT_STATE[known ? static_cast<size_t>(state) : ANY_OTHER]
                     [zone_of(capacity, upper, lower)];
}

void control_lrc_mode(const Device& device, ServiceState& state, const SysfsParams& snapshot) {
    HoldState& hold = state.hold;
    hold.lrc_state = next_lrc_state(hold.lrc_state, param_integer(snapshot, PARAM_BATTERY_CAPACITY),
                                    hold.lrc_upper_soc, hold.lrc_lower_soc);
    set_switch(device, snapshot, PARAM_LRC_CHARGE_DISABLE, hold.lrc_state == LRC_HOLDING ? 1 : 0);
    set_switch(device, snapshot, PARAM_LRC_INPUT_SUSPEND, hold.lrc_state == LRC_DRAINING ? 1 : 0);
}

}  // namespace cellwarden
