#include "stats/charge_counters.h"

#include "platform/log.h"
#include "state/elapsed.h"

namespace cellwarden {
namespace {

constexpr int32_t STATUS_CHARGING = 1;
constexpr int32_t STATUS_FULL = 2;
constexpr int32_t HEALTH_WARM = 1;
constexpr int32_t PHASE_OFF_CHARGE = 1;
constexpr int32_t PHASE_ON = 3;
constexpr int32_t PHASE_SHUTDOWN = 4;
constexpr int32_t SMART_CHARGE_ACTIVE = 1;
constexpr uint32_t FIRST_INVALID_SOC = 11'001;

// The current of `tenths` tenths of C, in uA (the design capacity is in uAh). The product keeps its
// low 32 bits.
int32_t current_of_rate(int32_t design_uah, int32_t tenths) {
    return low_i32(int64_t{design_uah} * tenths) / 10;
}

// Adds `amount` to the counter of the rate that both currents reach, if any.
void add_by_rate(int32_t design_uah, int32_t current_before_ua, int32_t current_ua, int32_t amount,
                 uint32_t& over_08c, uint32_t& over_06c) {
    const auto both_reach = [&](int32_t threshold_ua) {
        return current_before_ua >= threshold_ua && current_ua >= threshold_ua;
    };
    if (both_reach(current_of_rate(design_uah, 8))) {
        over_08c += static_cast<uint32_t>(amount);
    } else if (both_reach(current_of_rate(design_uah, 6))) {
        over_06c += static_cast<uint32_t>(amount);
    }
}

}  // namespace

void update_charging_time(ServiceState& state, BattStat& stat, const SysfsParams& snapshot) {
    StatUpdateMemory& memory = state.stat_update;
    if (memory.charge_start_time != 0) {
        const uint64_t seconds = elapsed_u64(state.cycle_boot_time, memory.charge_start_time);
        if (memory.prev_charge_phase == PHASE_OFF_CHARGE) {
            stat.off_charge_total_time += seconds;
        } else if (memory.prev_charge_phase == PHASE_ON) {
            stat.on_charge_total_time += seconds;
        }
        memory.charge_start_time = 0;
    }
    const int32_t status = param_integer(snapshot, PARAM_BATTERY_STATUS);
    if (status == STATUS_CHARGING || status == STATUS_FULL) {
        memory.charge_start_time = state.cycle_boot_time;
    }
    memory.prev_charge_phase = param_integer(snapshot, PARAM_BOOTUP_SHUTDOWN_PHASE);
}

void update_smart_charge_time(ServiceState& state, BattStat& stat, const SysfsParams& snapshot) {
    int64_t& start = state.stat_update.smart_charge_start_time;
    if (start != 0) {
        stat.smart_charge_mode_total_time += elapsed_u64(state.cycle_boot_time, start);
        start = 0;
    }
    if (param_integer(snapshot, PARAM_SMART_CHARGING_STATUS) == SMART_CHARGE_ACTIVE) {
        start = state.cycle_boot_time;
    }
}

void update_warm_time(ServiceState& state, BattStat& stat, const SysfsParams& snapshot) {
    int64_t& start = state.stat_update.warm_start_time;
    if (start != 0) {
        stat.jeita_warm_total_time += elapsed_u32(state.cycle_boot_time, start);
        start = 0;
    }
    if (param_integer(snapshot, PARAM_BATTERY_HEALTH) == HEALTH_WARM) {
        start = state.cycle_boot_time;
    }
}

void update_fast_charge_time(ServiceState& state, BattStat& stat, const SysfsParams& snapshot) {
    StatUpdateMemory& memory = state.stat_update;
    const int32_t current_ua = param_integer(snapshot, PARAM_BATTERY_CURRENT_NOW);
    if (memory.rate_sample_time != 0) {
        const int32_t seconds = elapsed_i32(state.cycle_boot_time, memory.rate_sample_time);
        if (seconds >= 1) {
            add_by_rate(param_integer(snapshot, PARAM_BATTERY_CHARGE_FULL_DESIGN),
                        memory.prev_rate_current_ua, current_ua, seconds, stat.over_08c_total_time,
                        stat.over_06c_total_time);
        }
    }
    memory.prev_rate_current_ua = current_ua;
    memory.rate_sample_time = state.cycle_boot_time;
}

void update_fast_charge_soc(const Device& device, ServiceState& state, BattStat& stat,
                            const SysfsParams& snapshot) {
    StatUpdateMemory& memory = state.stat_update;
    const int32_t soc = param_integer(snapshot, PARAM_BATT_SOC);
    if (static_cast<uint32_t>(soc) >= FIRST_INVALID_SOC) {
        log_line(device,
                 "<3>cellwarden: batt_soc is not valid (%d), rapid_charge_count is not updated\n",
                 soc);
        return;
    }
    const int32_t current_ua = param_integer(snapshot, PARAM_BATTERY_CURRENT_NOW);
    const int32_t gain = soc - memory.prev_soc;
    if (gain >= 1) {
        add_by_rate(param_integer(snapshot, PARAM_BATTERY_CHARGE_FULL_DESIGN),
                    memory.prev_soc_current_ua, current_ua, gain, stat.over_08c_charge_count,
                    stat.over_06c_charge_count);
    }
    memory.prev_soc_current_ua = current_ua;
    memory.prev_soc = soc;
}

void update_shutdown_count(ServiceState& state, BattStat& stat, const SysfsParams& snapshot) {
    int32_t& previous = state.stat_update.prev_shutdown_phase;
    const int32_t phase = param_integer(snapshot, PARAM_BOOTUP_SHUTDOWN_PHASE);
    if (phase == PHASE_SHUTDOWN && previous != PHASE_SHUTDOWN &&
        param_integer(snapshot, PARAM_BATTERY_CAPACITY) <= 0) {
        stat.soc0_shutdown_cnt++;
    }
    previous = phase;
}

void update_shutdown_capacity(BattStat& stat, const SysfsParams& snapshot) {
    if (param_integer(snapshot, PARAM_BOOTUP_SHUTDOWN_PHASE) == PHASE_SHUTDOWN) {
        stat.shutdown_capacity =
            static_cast<uint8_t>(param_integer(snapshot, PARAM_BATTERY_CAPACITY));
    }
}

}  // namespace cellwarden
