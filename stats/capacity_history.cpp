#include <algorithm>
#include <cstring>

#include "state/facts.h"
#include "state/wrapping.h"
#include "stats/batt_stat_update.h"

namespace cellwarden {
namespace {

constexpr uint32_t ESTABLISHED_FROM_CYCLE_COUNT = 3000;  // 0.01 %

template <typename T, size_t N>
void push_front(std::array<T, N>& history, T newest) {
    std::move_backward(history.begin(), history.end() - 1, history.end());
    history[0] = newest;
}

void shift_histories(const StatStep& step) {
    const int32_t learned_mah = param_integer(step.snapshot, PARAM_LEARNED_CAPACITY);
    const int32_t full_uah = param_integer(step.snapshot, PARAM_QCOM_CHARGE_FULL);
    push_front(step.stat.fcc_mah_raw, static_cast<uint16_t>(learned_mah));
    push_front(step.stat.fcc_mah, static_cast<uint16_t>(full_uah / UAH_PER_MAH));
}

}  // namespace

void update_established_time(const StatStep& step) {
    const auto& [boot_time, wall_time] = step.state.clock;
    BattStat& stat = step.stat;
    if (stat.initialized_time == 0 && wall_clock_is_set(wall_time) &&
        stat.total_cycle_count >= ESTABLISHED_FROM_CYCLE_COUNT) {
        stat.initialized_time =
            wrapping_sub(static_cast<uint64_t>(wall_time), static_cast<uint64_t>(boot_time));
    }
}

void update_model_name(const StatStep& step) {
    auto& name = step.stat.battery_model_name;
    if (name[0] == '\0') {
        const char* const text = step.snapshot[PARAM_BATTERY_MODEL_NAME].text;
        name.fill('\0');
        memcpy(name.data(), text, strnlen(text, name.size() - 1));
    }
}

void update_capacity_history(const StatStep& step) {
    const auto& [device, state, snapshot, memory, stat] = step;
    const int32_t counter = param_integer(snapshot, PARAM_LEARNING_COUNTER);
    if (counter != memory.prev_learning_counter) {
        stat.last_learning_time = static_cast<uint64_t>(state.clock.cycle_wall_time);
        const int64_t learned = int64_t{counter} - memory.prev_learning_counter;
        wrapping_count(stat.learning_total_count, static_cast<uint16_t>(learned));
        shift_histories(step);
    } else if (memory.prev_soft_charge_mode != NOT_KNOWN &&
               state.levels.soft_charge_mode != memory.prev_soft_charge_mode) {
        shift_histories(step);
    }
    memory.prev_learning_counter = counter;
    memory.prev_soft_charge_mode = state.levels.soft_charge_mode;
}

}  // namespace cellwarden
