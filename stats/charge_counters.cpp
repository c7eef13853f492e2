#include <algorithm>

#include "platform/log.h"
#include "product/attribute_texts.h"
#include "state/elapsed.h"
#include "state/wrapping.h"
#include "stats/batt_stat_update.h"

namespace cellwarden {
namespace {

constexpr int32_t SMART_CHARGE_ACTIVE = 1;

// Returns the seconds since `start`, or 0 if `start` is 0 because the condition did not hold in the
// previous call. Starts the next interval if the condition holds in this call.
uint64_t end_interval(int64_t& start, const CycleClock& clock, bool condition_holds) {
    const uint64_t seconds = start != 0 ? elapsed_u64(clock.cycle_boot_time, start) : 0;
    start = condition_holds ? clock.cycle_boot_time : 0;
    return seconds;
}

// Returns the current in uA at `tenths` tenths of C. The product keeps its low 32 bits.
int32_t current_of_rate(int32_t design_uah, int32_t tenths) {
    return low_i32(int64_t{design_uah} * tenths) / 10;
}

// Adds `amount` to the counter of the highest rate that both currents reach, if any.
void add_by_rate(int32_t design_uah, int32_t current_before_ua, int32_t current_ua, int32_t amount,
                 uint32_t& over_08c, uint32_t& over_06c) {
    const int32_t reached_ua = std::min(current_before_ua, current_ua);
    if (reached_ua >= current_of_rate(design_uah, OVER_08C_TENTHS)) {
        wrapping_count(over_08c, static_cast<uint32_t>(amount));
    } else if (reached_ua >= current_of_rate(design_uah, OVER_06C_TENTHS)) {
        wrapping_count(over_06c, static_cast<uint32_t>(amount));
    }
}

}  // namespace

void update_charging_time(const StatStep& step) {
    const auto& [device, state, snapshot, memory, stat] = step;
    const int32_t status = param_integer(snapshot, PARAM_BATTERY_STATUS);
    const uint64_t seconds = end_interval(memory.charge_start_time, state.clock,
                                          status == STATUS_CHARGING || status == STATUS_FULL);
    if (memory.prev_charge_phase == PHASE_OFF_CHARGE) {
        wrapping_count(stat.off_charge_total_time, seconds);
    } else if (memory.prev_charge_phase == PHASE_ON) {
        wrapping_count(stat.on_charge_total_time, seconds);
    }
    memory.prev_charge_phase = param_integer(snapshot, PARAM_BOOTUP_SHUTDOWN_PHASE);
}

void update_smart_charge_time(const StatStep& step) {
    const int32_t status = param_integer(step.snapshot, PARAM_SMART_CHARGING_STATUS);
    wrapping_count(step.stat.smart_charge_mode_total_time,
                   end_interval(step.memory.smart_charge_start_time, step.state.clock,
                                status == SMART_CHARGE_ACTIVE));
}

void update_warm_time(const StatStep& step) {
    const int32_t health = param_integer(step.snapshot, PARAM_BATTERY_HEALTH);
    wrapping_count(step.stat.jeita_warm_total_time,
                   held_u32(end_interval(step.memory.warm_start_time, step.state.clock,
                                         health == HEALTH_WARM)));
}

void update_fast_charge_time(const StatStep& step) {
    const auto& [device, state, snapshot, memory, stat] = step;
    const int32_t current_ua = param_integer(snapshot, PARAM_BATTERY_CURRENT_NOW);
    const int32_t seconds = elapsed_i32(state.clock.cycle_boot_time, memory.rate_sample_time);
    if (memory.rate_sample_time != 0 && seconds >= 1) {
        add_by_rate(param_integer(snapshot, PARAM_BATTERY_CHARGE_FULL_DESIGN),
                    memory.prev_rate_current_ua, current_ua, seconds, stat.over_08c_total_time,
                    stat.over_06c_total_time);
    }
    memory.prev_rate_current_ua = current_ua;
    memory.rate_sample_time = state.clock.cycle_boot_time;
}

void update_fast_charge_soc(const StatStep& step) {
    const auto& [device, state, snapshot, memory, stat] = step;
    const int32_t soc = param_integer(snapshot, PARAM_BATT_SOC);
    if (!soc_is_valid(soc)) {
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

void update_shutdown_count(const StatStep& step) {
    int32_t& previous = step.memory.prev_shutdown_phase;
    const int32_t phase = param_integer(step.snapshot, PARAM_BOOTUP_SHUTDOWN_PHASE);
    if (phase == PHASE_SHUTDOWN && previous != PHASE_SHUTDOWN &&
        param_integer(step.snapshot, PARAM_BATTERY_CAPACITY) <= 0) {
        wrapping_count(step.stat.soc0_shutdown_cnt);
    }
    previous = phase;
}

void update_shutdown_capacity(const StatStep& step) {
    if (param_integer(step.snapshot, PARAM_BOOTUP_SHUTDOWN_PHASE) == PHASE_SHUTDOWN) {
        const int32_t capacity = param_integer(step.snapshot, PARAM_BATTERY_CAPACITY);
        step.stat.shutdown_capacity = static_cast<uint8_t>(capacity);
    }
}

}  // namespace cellwarden
