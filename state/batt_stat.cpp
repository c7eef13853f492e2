#include "state/batt_stat.h"

#include <algorithm>

#include "platform/log.h"
#include "platform/unit_store.h"
#include "state/elapsed.h"

namespace cellwarden {
namespace {

constexpr int32_t SHUTDOWN_PHASE = 4;
constexpr int64_t LAST_SECOND_OF_A_DAY = 86'399;

// Millionths of a per cent to per cent.
extended to_percent(uint32_t millionths) {
    return static_cast<extended>(millionths) / 1'000'000;
}

// Half units to 0.001 %.
int32_t from_half_units(uint16_t half_units) {
    return 2 * half_units;
}

int32_t leading_non_zero(const std::array<uint64_t, 5>& times) {
    const auto* const end = std::find(times.begin(), times.end(), 0U);
    return static_cast<int32_t>(end - times.begin());
}

void seed_user_soh_reference(ServiceState& state, const BattStat& stat) {
    if (state.online_time < PERIOD_S) {
        return;
    }
    const int32_t previous_period = state.online_time / PERIOD_S - 1;
    if (previous_period < PERIOD_COUNT) {
        state.prev_soh_bucket_index = previous_period;
        state.prev_bucket_user_soh =
            from_half_units(stat.user_soh_per_10days[static_cast<size_t>(previous_period)]);
    }
}

// Whether a capacity-learning event has come since the one that was seen first.
bool learning_time_changed(StatSaveMemory& memory, uint64_t last_learning_time) {
    const uint64_t remembered = memory.remembered_learning_time;
    memory.remembered_learning_time = last_learning_time;
    return remembered != 0 && remembered != last_learning_time;
}

}  // namespace

void seed_service_state(ServiceState& state, const BattStat& stat) {
    state.soft_charge_override = stat.soft_charge_override;
    state.soft_charge_mode = low_i32(stat.soft_charge_mode);
    state.online_time = low_i32(stat.online_time);
    state.soh = from_half_units(stat.latest_filtered_soh);
    state.vt_cet_table = stat.vt_cet_table;
    state.ct_charge_table = stat.ct_charge_table;
    state.total_cycle_count = stat.total_cycle_count;
    state.soft_charge1_level = leading_non_zero(stat.soft_charge1_onlinetime);
    state.total_arrhenius = static_cast<extended>(stat.total_arrhenius);
    state.arrhenius_lv = stat.arrhenius_lv;
    state.soc_full_total_time = low_i32(static_cast<int64_t>(stat.soc_full_total_time));
    state.total_full_stay_cap_degradation = to_percent(stat.total_full_stay_cap_degradation);
    state.full_stay_capacity_degradation_aging_lv = stat.full_stay_capacity_degradation_aging_lv;
    state.total_cycle_degradation = to_percent(stat.total_cycle_degradation);
    for (size_t i = 0; i < PERIOD_COUNT; i++) {
        state.arrhenius_per_10days[i] = static_cast<extended>(stat.arrhenius_per_10days[i]);
        state.full_stay_capacity_degradation_per_10days[i] =
            to_percent(stat.full_stay_capacity_degradation_per_10days[i]);
        state.cycle_degradation_per_10days[i] = to_percent(stat.cycle_degradation_per_10days[i]);
    }
    state.changed_periods = ALL_PERIODS;
    state.latest_raw_soh = from_half_units(stat.latest_raw_soh);
    state.latest_filtered_soh = from_half_units(stat.latest_filtered_soh);
    state.latest_predicted_soh = from_half_units(stat.latest_predicted_soh);
    state.latest_user_soh = from_half_units(stat.latest_user_soh);
    seed_user_soh_reference(state, stat);
}

void init_batt_stat(const Device& device, ServiceState& state, BattStat& stat) {
    uint32_t size = sizeof stat;
    const bool read = tessera_read_unit(device, UNIT_BATT_STAT, &stat, &size) == 0 && size != 0;
    const bool erased = read && stat.initialize == BATT_STAT_ERASED;
    const BattStatVerdict verdict =
        read ? judge_batt_stat(reinterpret_cast<const uint8_t*>(&stat), size)
             : BattStatVerdict::TOO_SHORT;
    if (verdict == BattStatVerdict::UPGRADED) {
        stat.version = BATT_STAT_VERSION;
        state.production_date_fix_pending = true;
    } else if (verdict != BattStatVerdict::ACCEPTED) {
        reset_batt_stat(stat);
    }
    seed_service_state(state, stat);
    if (erased) {
        state.restore_capacity_mah = 0;
    } else {
        state.restore_capacity_mah = stat.fcc_mah[0] != 0 ? stat.fcc_mah[0] : -1;
    }
}

void save_batt_stat_if_is_timing(const Device& device, ServiceState& state,
                                 const SysfsParams& snapshot, const BattStat& stat) {
    const bool due =
        param_integer(snapshot, PARAM_BOOTUP_SHUTDOWN_PHASE) == SHUTDOWN_PHASE ||
        elapsed_s(state.cycle_boot_time, state.last_stat_save_time) > LAST_SECOND_OF_A_DAY;
    const bool learned = learning_time_changed(state.stat_save, stat.last_learning_time);
    if (!learned && !due) {
        return;
    }
    if (tessera_write_unit(device, UNIT_BATT_STAT, &stat, sizeof stat) != 0) {
        log_line(device, "<3>cellwarden: Failed to save battery statistics");
    }
    state.last_stat_save_time = state.cycle_boot_time;
}

}  // namespace cellwarden
