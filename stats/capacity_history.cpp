#include "stats/capacity_history.h"

#include <algorithm>
#include <cstring>

#include "state/facts.h"
#include "state/wrapping.h"

namespace cellwarden {
namespace {

constexpr uint32_t ESTABLISHED_FROM_CYCLE_COUNT = 3000;  // 0.01 %

template <typename T, size_t N>
void push_front(std::array<T, N>& history, T newest) {
    std::move_backward(history.begin(), history.end() - 1, history.end());
    history[0] = newest;
}

void shift_histories(BattStat& stat, const SysfsParams& snapshot) {
    push_front(stat.fcc_mah_raw,
               static_cast<uint16_t>(param_integer(snapshot, PARAM_LEARNED_CAPACITY)));
    push_front(stat.fcc_mah, static_cast<uint16_t>(param_integer(snapshot, PARAM_QCOM_CHARGE_FULL) /
                                                   UAH_PER_MAH));
}

}  // namespace

void update_established_time(const CycleClock& clock, BattStat& stat) {
    if (stat.initialized_time == 0 && wall_clock_is_set(clock.cycle_wall_time) &&
        stat.total_cycle_count >= ESTABLISHED_FROM_CYCLE_COUNT) {
        stat.initialized_time = wrapping_sub(static_cast<uint64_t>(clock.cycle_wall_time),
                                             static_cast<uint64_t>(clock.cycle_boot_time));
    }
}

void update_model_name(BattStat& stat, const SysfsParams& snapshot) {
    if (stat.battery_model_name[0] != '\0') {
        return;
    }
    const char* text = snapshot[PARAM_BATTERY_MODEL_NAME].text;
    stat.battery_model_name.fill('\0');
    memcpy(stat.battery_model_name.data(), text, strnlen(text, stat.battery_model_name.size() - 1));
}

void update_capacity_history(const ServiceState& state, StatUpdateMemory& memory, BattStat& stat,
                             const SysfsParams& snapshot) {
    const int32_t counter = param_integer(snapshot, PARAM_LEARNING_COUNTER);
    if (counter != memory.prev_learning_counter) {
        stat.last_learning_time = static_cast<uint64_t>(state.clock.cycle_wall_time);
        const int64_t learned = int64_t{counter} - memory.prev_learning_counter;
        wrapping_count(stat.learning_total_count, static_cast<uint16_t>(learned));
        shift_histories(stat, snapshot);
    } else if (memory.prev_soft_charge_mode != NOT_KNOWN &&
               state.levels.soft_charge_mode != memory.prev_soft_charge_mode) {
        shift_histories(stat, snapshot);
    }
    memory.prev_learning_counter = counter;
    memory.prev_soft_charge_mode = state.levels.soft_charge_mode;
}

}  // namespace cellwarden
